// The data half. One walk over the data with the set of steps that may match next, so that a node
// is met once however many ways "..." has to reach it.
#include "store/reading/selection.h"

#include <algorithm>
#include <map>
#include <utility>

#include "store/node_pairs.h"
#include "store/reading/canonical_text.h"
#include "store/reading/entry_match.h"
#include "store/reading/selection_schema.h"

namespace nexa::host {
namespace {

using Positions = std::vector<std::size_t>;  // indices of steps, rising

class DataWalk {
 public:
  DataWalk(const gnmi::Path& path, const std::vector<SelectionStep>& steps, LeafLists leaf_lists,
           const NodeSink& found)
      : path_(path),
        steps_(steps),
        leaf_lists_(leaf_lists),
        found_(found),
        qualify_(names_modules(steps)) {}

  void run(const PairLevel& top) {
    Positions open = {0};
    close(open);
    below(nullptr, top, open);
  }

 private:
  struct Met {
    const lyd_node* node;
    const SelectionStep* step;  // whose name and keys it was met by; null for wildcards
    bool by_keys;               // whether a step that it was met by has keys
  };

  // "..." may take no level at all.
  void close(Positions& open) const {
    for (std::size_t i = 0; i < open.size(); ++i) {
      const std::size_t next = open[i] + 1;
      if (steps_[open[i]].kind != SelectionStep::Kind::kDeep) continue;
      if (std::find(open.begin(), open.end(), next) == open.end()) open.push_back(next);
    }
    std::sort(open.begin(), open.end());
  }

  void below(const lysc_node* parent, const PairLevel& level, const Positions& open) {
    if (open.size() == 1 && steps_[open.front()].kind == SelectionStep::Kind::kName) {
      for (const lysc_node* schema : targets(open.front(), parent)) {
        instances(level, schema, open);
      }
      return;
    }
    each_schema(level, [&](const lysc_node* schema) {
      Positions matching;
      for (const std::size_t i : open) {
        if (may_mean(i, parent, schema)) matching.push_back(i);
      }
      if (!matching.empty()) instances(level, schema, matching);
    });
  }

  bool may_mean(std::size_t i, const lysc_node* parent, const lysc_node* schema) {
    if (steps_[i].kind == SelectionStep::Kind::kDeep) return true;
    const auto& nodes = targets(i, parent);
    return std::find(nodes.begin(), nodes.end(), schema) != nodes.end();
  }

  // What a step means below a schema node is asked once, not once for each entry of a list.
  const std::vector<const lysc_node*>& targets(std::size_t i, const lysc_node* parent) {
    const auto [entry, is_new] = targets_.try_emplace({i, parent});
    if (is_new) entry->second = step_targets(steps_[i], parent);
    return entry->second;
  }

  void instances(const PairLevel& level, const lysc_node* schema, const Positions& matching) {
    const lyd_node* example = some_instance(level.config, schema);
    if (example == nullptr) example = some_instance(level.state, schema);
    if (example == nullptr) return;
    if (is_whole_leaf_list(schema, matching)) {
      met_.push_back({example, step_of(matching), false});
      emit({first_instance(level.config, schema), first_instance(level.state, schema), true});
      met_.pop_back();
      return;
    }
    std::vector<EntryMatch> matches;
    matches.reserve(matching.size());
    for (const std::size_t i : matching) matches.emplace_back(steps_[i], example);
    const auto visit = [&](const NodePair& node) {
      enter(node, matching, matches);
      return true;
    };
    const lyd_node* only = matching.size() == 1 ? matches.front().only_entry() : nullptr;
    if (only == nullptr || !matches.front().is_possible()) {
      each_instance(level, schema, visit);
      return;
    }
    const NodePair node = {EntryFinder(level.config, schema).find(only),
                           EntryFinder(level.state, schema).find(only), false};
    if (node.any() != nullptr) visit(node);
  }

  bool is_whole_leaf_list(const lysc_node* schema, const Positions& matching) const {
    if (schema->nodetype != LYS_LEAFLIST || leaf_lists_ != LeafLists::kWhole) return false;
    return std::any_of(matching.begin(), matching.end(), [&](std::size_t i) {
      return i + 1 == steps_.size() && steps_[i].keys.empty();
    });
  }

  // The step whose spelling the path of a node takes over.
  const SelectionStep* step_of(const Positions& matching) const {
    for (const std::size_t i : matching) {
      if (steps_[i].kind == SelectionStep::Kind::kName) return &steps_[i];
    }
    return nullptr;
  }

  void enter(const NodePair& node, const Positions& matching,
             const std::vector<EntryMatch>& matches) {
    Positions open;
    const SelectionStep* named = nullptr;
    bool by_keys = false;
    for (std::size_t m = 0; m < matching.size(); ++m) {
      const std::size_t i = matching[m];
      if (steps_[i].kind == SelectionStep::Kind::kDeep) {
        open.push_back(i);
      } else if (matches[m].matches(node.any())) {
        open.push_back(i + 1);
        by_keys = by_keys || !steps_[i].keys.empty();
        if (steps_[i].kind == SelectionStep::Kind::kName) named = &steps_[i];
      }
    }
    if (open.empty()) return;
    std::sort(open.begin(), open.end());
    open.erase(std::unique(open.begin(), open.end()), open.end());
    const bool is_end = open.back() == steps_.size();
    if (is_end) open.pop_back();
    met_.push_back({node.any(), named, by_keys});
    if (is_end) emit(node);
    const lysc_node* schema = node.any()->schema;
    if (!open.empty() && (schema->nodetype & (LYS_CONTAINER | LYS_LIST)) != 0) {
      close(open);
      below(schema, PairLevel::below(node), open);
    }
    met_.pop_back();
  }

  // Whether the node's bare name would not be taken for it: another module has the same name there.
  bool needs_module(const lysc_node* schema) {
    const auto [entry, is_new] = needs_module_.try_emplace(schema);
    if (is_new) {
      SelectionStep bare;
      bare.name.name = schema->name;
      const auto meant = step_targets(bare, lysc_data_parent(schema));
      entry->second = meant.size() != 1 || meant.front() != schema;
    }
    return entry->second;
  }

  void emit(const NodePair& node) {
    gnmi::Path concrete;
    concrete.set_origin(path_.origin());
    if (!path_.target().empty()) concrete.set_target(path_.target());
    const lys_module* module = nullptr;
    for (const Met& met : met_) {
      gnmi::PathElem& element = *concrete.add_elem();
      const lysc_node* schema = met.node->schema;
      write_name(met, schema->module != module, element);
      module = schema->module;
      write_keys(met, element);
    }
    found_(node, concrete);
  }

  void write_name(const Met& met, bool module_changes, gnmi::PathElem& element) {
    if (met.step != nullptr) {
      element.set_name(met.step->element->name());
    } else if (module_changes && (qualify_ || needs_module(met.node->schema))) {
      element.set_name(std::string(met.node->schema->module->name) + ":" + met.node->schema->name);
    } else {
      element.set_name(met.node->schema->name);
    }
  }

  static void write_keys(const Met& met, gnmi::PathElem& element) {
    const lysc_node* schema = met.node->schema;
    if (schema->nodetype == LYS_LEAFLIST) {
      if (met.by_keys) (*element.mutable_key())["."] = CanonicalText(met.node).view();
      return;
    }
    if (schema->nodetype != LYS_LIST) return;
    for (const lyd_node* key = lyd_child(met.node);
         key != nullptr && key->schema != nullptr && lysc_is_key(key->schema); key = key->next) {
      std::string name = key->schema->name;
      for (const SelectionKey& written :
           met.step == nullptr ? std::vector<SelectionKey>() : met.step->keys) {
        if (key_leaf(written, schema) == key->schema) name = *written.written;
      }
      (*element.mutable_key())[name] = CanonicalText(key).view();
    }
  }

  const gnmi::Path& path_;
  const std::vector<SelectionStep>& steps_;
  const LeafLists leaf_lists_;
  const NodeSink& found_;
  const bool qualify_;
  std::vector<Met> met_;
  std::map<const lysc_node*, bool> needs_module_;
  std::map<std::pair<std::size_t, const lysc_node*>, std::vector<const lysc_node*>> targets_;
};

}  // namespace

grpc::Status select_nodes(const gnmi::Path& path, const lyd_node* config, const lyd_node* state,
                          const NodeSink& found, LeafLists leaf_lists) {
  std::vector<SelectionStep> steps;
  grpc::Status split = split_path(path, steps);
  if (!split.ok()) return split;
  if (steps.empty()) {
    gnmi::Path concrete;
    concrete.set_origin(path.origin());
    if (!path.target().empty()) concrete.set_target(path.target());
    found({}, concrete);
    return grpc::Status::OK;
  }
  std::vector<const lysc_node*> last;
  grpc::Status status = walk_schema(steps, false, last);
  if (!status.ok()) return status;
  DataWalk(path, steps, leaf_lists, found).run({config, state});
  return grpc::Status::OK;
}

}  // namespace nexa::host
