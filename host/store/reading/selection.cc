// The data half. One walk over the images with the set of steps that may match next, so that a node
// is met once however many ways "..." has to reach it.
#include "store/reading/selection.h"

#include <algorithm>
#include <map>
#include <utility>

#include "store/node_pairs.h"
#include "store/reading/entry_match.h"
#include "store/reading/selection_schema.h"

namespace nexa::host {
namespace {

using Positions = std::vector<std::size_t>;  // indices of steps, rising

class DataWalk {
 public:
  // One node that is met, with those above it.
  struct Met {
    const ImageNode* node;      // an entry, or the group of a whole leaf-list
    const SelectionStep* step;  // whose name and keys it was met by; null for wildcards
    bool by_keys;               // whether a step that it was met by has keys
  };
  using Sink = std::function<void(const NodePair& node, const std::vector<Met>& way)>;

  DataWalk(const std::vector<SelectionStep>& steps, StepTargets& targets, LeafLists leaf_lists,
           const Sink& found)
      : steps_(steps), targets_(targets), leaf_lists_(leaf_lists), found_(found) {}

  void run(const PairLevel& top) {
    Positions open = {0};
    close(open);
    below(nullptr, top, open);
  }

 private:
  using Matches = std::vector<const EntryMatch*>;

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
      for (const lysc_node* schema : targets_.below(parent, open.front())) {
        instances({child(level.config, schema), child(level.state, schema)}, open);
      }
      return;
    }
    each_child(level, [&](const NodePair& node) {
      Positions matching;
      for (const std::size_t i : open) {
        if (may_mean(i, parent, node.any()->schema())) matching.push_back(i);
      }
      if (!matching.empty()) instances(node, matching);
    });
  }

  static const ImageNode* child(const ImageInner* parent, const lysc_node* schema) {
    return parent == nullptr ? nullptr : parent->find(schema);
  }

  bool may_mean(std::size_t i, const lysc_node* parent, const lysc_node* schema) {
    if (steps_[i].kind == SelectionStep::Kind::kDeep) return true;
    const auto& nodes = targets_.below(parent, i);
    return std::find(nodes.begin(), nodes.end(), schema) != nodes.end();
  }

  // `node` is all that there is of one schema node on a level: one node, or groups.
  void instances(const NodePair& node, const Positions& matching) {
    if (node.any() == nullptr) return;
    const lysc_node* const schema = node.any()->schema();
    if (is_whole_leaf_list(schema, matching)) {
      met_.push_back({node.any(), step_of(matching), false});
      found_(node, met_);
      met_.pop_back();
      return;
    }
    Matches matches;
    for (const std::size_t i : matching) matches.push_back(&match(i, schema));
    if (node.any()->kind() != ImageKind::kGroup) return enter(node, matching, matches);
    if (matching.size() == 1 && !matches.front()->is_possible()) return;
    const std::string* const only = matching.size() == 1 ? matches.front()->only_entry() : nullptr;
    if (only == nullptr) {
      each_entry(node, [&](const NodePair& entry) { enter(entry, matching, matches); });
      return;
    }
    const NodePair entry = {find(node.config, *only), find(node.state, *only)};
    if (entry.any() != nullptr) enter(entry, matching, matches);
  }

  static const ImageNode* find(const ImageNode* group, std::string_view key) {
    const GroupEntry* const entry = group == nullptr ? nullptr : group->group().find(key);
    return entry == nullptr ? nullptr : entry->node.get();
  }

  // The keys of a step become canonical once for a schema node, not once for each entry around it.
  const EntryMatch& match(std::size_t i, const lysc_node* schema) {
    if (steps_[i].keys.empty()) return any_entry_;
    const auto place = matches_.find({i, schema});
    if (place != matches_.end()) return place->second;
    return matches_.try_emplace({i, schema}, steps_[i], schema).first->second;
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

  void enter(const NodePair& node, const Positions& matching, const Matches& matches) {
    Positions open;
    const SelectionStep* named = nullptr;
    bool by_keys = false;
    for (std::size_t m = 0; m < matching.size(); ++m) {
      const std::size_t i = matching[m];
      if (steps_[i].kind == SelectionStep::Kind::kDeep) {
        open.push_back(i);
      } else if (matches[m]->matches(*node.any())) {
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
    if (is_end) found_(node, met_);
    if (!open.empty() && node.any()->kind() == ImageKind::kInner) {
      close(open);
      below(node.any()->schema(), PairLevel::below(node), open);
    }
    met_.pop_back();
  }

  const std::vector<SelectionStep>& steps_;
  StepTargets& targets_;
  const LeafLists leaf_lists_;
  const Sink& found_;
  std::vector<Met> met_;
  const EntryMatch any_entry_{SelectionStep(), nullptr};
  std::map<std::pair<std::size_t, const lysc_node*>, EntryMatch> matches_;
};

// Writes the way to a node as a path: wildcards and keys filled in, the rest as it was asked for.
class PathNamer {
 public:
  PathNamer(const gnmi::Path& path, bool qualify) : path_(path), qualify_(qualify) {}

  gnmi::Path name(const std::vector<DataWalk::Met>& way) {
    gnmi::Path concrete;
    concrete.set_origin(path_.origin());
    if (!path_.target().empty()) concrete.set_target(path_.target());
    const lys_module* module = nullptr;
    for (const DataWalk::Met& met : way) {
      gnmi::PathElem& element = *concrete.add_elem();
      const lysc_node* schema = met.node->schema();
      write_name(met, schema->module != module, element);
      module = schema->module;
      write_keys(met, element);
    }
    return concrete;
  }

 private:
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

  void write_name(const DataWalk::Met& met, bool module_changes, gnmi::PathElem& element) {
    if (met.step != nullptr) {
      element.set_name(met.step->element->name());
    } else if (module_changes && (qualify_ || needs_module(met.node->schema()))) {
      element.set_name(std::string(met.node->schema()->module->name) + ":" +
                       met.node->schema()->name);
    } else {
      element.set_name(met.node->schema()->name);
    }
  }

  static void write_keys(const DataWalk::Met& met, gnmi::PathElem& element) {
    const ImageNode& node = *met.node;
    if (node.kind() == ImageKind::kLeaf) {
      const bool is_entry = node.schema()->nodetype == LYS_LEAFLIST;
      if (is_entry && met.by_keys) (*element.mutable_key())["."] = node.leaf().text();
      return;
    }
    if (node.schema()->nodetype != LYS_LIST) return;
    for (const ImageSlot& key : node.inner().children()) {
      if (!lysc_is_key(key->schema())) return;
      (*element.mutable_key())[key_name(met, key->schema())] = key->leaf().text();
    }
  }

  // As the path wrote it, if it did.
  static std::string key_name(const DataWalk::Met& met, const lysc_node* key) {
    if (met.step != nullptr) {
      for (const SelectionKey& written : met.step->keys) {
        if (key_leaf(written, met.node->schema()) == key) return *written.written;
      }
    }
    return key->name;
  }

  const gnmi::Path& path_;
  const bool qualify_;
  std::map<const lysc_node*, bool> needs_module_;
};

// The steps of a path, once the schema is known to have them.
grpc::Status resolve(const gnmi::Path& path, std::vector<SelectionStep>& steps,
                     StepTargets& targets) {
  grpc::Status split = split_path(path, steps);
  std::vector<const lysc_node*> last;
  return split.ok() ? walk_schema(steps, targets, false, last) : split;
}

}  // namespace

grpc::Status select_nodes(const gnmi::Path& path, const ImageInner* config, const ImageInner* state,
                          const NodeSink& found, LeafLists leaf_lists) {
  std::vector<SelectionStep> steps;
  StepTargets targets(steps);
  grpc::Status status = resolve(path, steps, targets);
  if (!status.ok()) return status;
  PathNamer namer(path, names_modules(steps));
  const DataWalk::Sink sink = [&](const NodePair& node, const std::vector<DataWalk::Met>& way) {
    gnmi::Path concrete = namer.name(way);
    found(node, concrete);
  };
  if (steps.empty()) {
    sink({}, {});
  } else {
    DataWalk(steps, targets, leaf_lists, sink).run({config, state});
  }
  return grpc::Status::OK;
}

grpc::Status select_chains(const gnmi::Path& path, const ImageInner& root, const ChainSink& found) {
  std::vector<SelectionStep> steps;
  StepTargets targets(steps);
  grpc::Status status = resolve(path, steps, targets);
  if (!status.ok()) return status;
  ImageChain chain;
  const DataWalk::Sink sink = [&](const NodePair&, const std::vector<DataWalk::Met>& way) {
    chain.clear();
    for (const DataWalk::Met& met : way) chain.push_back(met.node);
    found(chain);
  };
  if (steps.empty()) {
    sink({}, {});
  } else {
    DataWalk(steps, targets, LeafLists::kEntries, sink).run({&root, nullptr});
  }
  return grpc::Status::OK;
}

}  // namespace nexa::host
