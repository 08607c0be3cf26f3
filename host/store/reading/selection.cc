// The data half. One walk over the images with the set of steps that may match next, so that a node
// is met once however many ways "..." has to reach it.
#include "store/reading/selection.h"

#include <algorithm>
#include <map>
#include <utility>

#include "store/node_pairs.h"
#include "store/reading/entry_match.h"

namespace nexa::store {
namespace {

using model::Target;
using model::TargetNode;
using model::TargetStep;
using Positions = std::vector<std::size_t>;  // indices of steps, rising

class DataWalk {
 public:
  // One node that is met, with those above it.
  struct Met {
    const ImageNode* node;    // an entry, or the group of a whole leaf-list
    const TargetStep* step;   // whose name and keys it was met by; null for wildcards
    const TargetNode* meant;  // what that step means; null with it
    bool by_keys;             // whether a step that it was met by has keys
  };
  using Sink = std::function<void(const NodePair& node, const std::vector<Met>& way)>;

  // What the two trees of a pair are to each other.
  enum class Trees : std::uint8_t {
    kBeside,  // configuration and operational data
    kBefore,  // the same data at two moments: what they share is passed over
  };

  DataWalk(const Target& target, LeafLists leaf_lists, Trees trees, const Sink& found)
      : target_(target),
        steps_(target.steps),
        leaf_lists_(leaf_lists),
        trees_(trees),
        found_(found) {}

  // The entry of a group (null: none) by its key, or null.
  static const ImageNode* find(const ImageNode* group, std::string_view key) {
    const GroupEntry* const entry = group == nullptr ? nullptr : group->group().find(key);
    return entry == nullptr ? nullptr : entry->node.get();
  }

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
      if (steps_[open[i]].kind != TargetStep::Kind::kDeep) continue;
      if (std::find(open.begin(), open.end(), next) == open.end()) open.push_back(next);
    }
    std::sort(open.begin(), open.end());
  }

  void below(const lysc_node* parent, const PairLevel& level, const Positions& open) {
    if (open.size() == 1 && steps_[open.front()].kind == TargetStep::Kind::kName) {
      const auto [first, end] = steps_[open.front()].below(parent);
      for (const TargetNode* meant = first; meant != end; ++meant) {
        with_child(level, meant->schema, [&](const NodePair& node) { instances(node, open); });
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

  bool may_mean(std::size_t i, const lysc_node* parent, const lysc_node* schema) const {
    const TargetStep& step = steps_[i];
    if (step.kind != TargetStep::Kind::kDeep && !step.unlimited) {
      return step.find(parent, schema) != nullptr;
    }
    return parent != nullptr || target_.may_begin_with(schema);
  }

  // `node` is all that there is of one schema node on a level: one node, or groups.
  void instances(const NodePair& node, const Positions& matching) {
    if (node.any() == nullptr || is_shared(node)) return;
    const lysc_node* const schema = node.any()->schema();
    if (is_whole_leaf_list(schema, matching)) {
      const TargetStep* const step = step_of(matching);
      met_.push_back({node.any(), step, meant_by(step, schema), false});
      found_(node, met_);
      met_.pop_back();
      return;
    }
    Matches matches;
    for (const std::size_t i : matching) matches.push_back(&match(i, schema));
    if (node.any()->kind() != ImageKind::kGroup) return enter(node, matching, matches);
    const std::string* const only = matching.size() == 1 ? matches.front()->only_entry() : nullptr;
    if (only == nullptr) {
      each_entry_of(node, [&](const NodePair& entry) { enter(entry, matching, matches); });
      return;
    }
    const NodePair entry = {find(node.config, *only), find(node.state, *only), node.mirror};
    if (entry.any() != nullptr && !is_shared(entry)) enter(entry, matching, matches);
  }

  bool is_shared(const NodePair& node) const {
    return trees_ == Trees::kBefore && node.config == node.state;
  }

  template <typename Take>
  void each_entry_of(const NodePair& groups, Take&& take) const {
    if (trees_ == Trees::kBeside) {
      each_entry(groups, take);
    } else {
      each_differing_entry(groups, take);
    }
  }

  static const TargetNode* meant_by(const TargetStep* step, const lysc_node* schema) {
    return step == nullptr ? nullptr : step->find(lysc_data_parent(schema), schema);
  }

  // Made once for a node of a step, not once for each entry around it.
  const EntryMatch& match(std::size_t i, const lysc_node* schema) {
    const TargetNode* const meant = meant_by(&steps_[i], schema);
    if (meant == nullptr || meant->keys.empty()) return any_entry_;
    const auto place = matches_.find(meant);
    if (place != matches_.end()) return place->second;
    return matches_.try_emplace(meant, meant).first->second;
  }

  bool has_keys(std::size_t i, const lysc_node* schema) const {
    const TargetNode* const meant = meant_by(&steps_[i], schema);
    return meant != nullptr && !meant->keys.empty();
  }

  bool is_whole_leaf_list(const lysc_node* schema, const Positions& matching) const {
    if (schema->nodetype != LYS_LEAFLIST || leaf_lists_ != LeafLists::kWhole) return false;
    return std::any_of(matching.begin(), matching.end(), [&](std::size_t i) {
      return i + 1 == steps_.size() && !has_keys(i, schema);
    });
  }

  // The step whose spelling the path of a node takes over.
  const TargetStep* step_of(const Positions& matching) const {
    for (const std::size_t i : matching) {
      if (steps_[i].kind == TargetStep::Kind::kName) return &steps_[i];
    }
    return nullptr;
  }

  void enter(const NodePair& node, const Positions& matching, const Matches& matches) {
    Positions open;
    const lysc_node* const schema = node.any()->schema();
    const TargetStep* named = nullptr;
    bool by_keys = false;
    for (std::size_t m = 0; m < matching.size(); ++m) {
      const std::size_t i = matching[m];
      if (steps_[i].kind == TargetStep::Kind::kDeep) {
        open.push_back(i);
      } else if (matches[m]->matches(*node.any())) {
        open.push_back(i + 1);
        by_keys = by_keys || has_keys(i, schema);
        if (steps_[i].kind == TargetStep::Kind::kName) named = &steps_[i];
      }
    }
    if (open.empty()) return;
    std::sort(open.begin(), open.end());
    open.erase(std::unique(open.begin(), open.end()), open.end());
    const bool is_end = open.back() == steps_.size();
    if (is_end) open.pop_back();
    met_.push_back({node.any(), named, meant_by(named, schema), by_keys});
    if (is_end) found_(node, met_);
    if (!open.empty() && node.any()->kind() == ImageKind::kInner) {
      close(open);
      below(node.any()->schema(), PairLevel::below(node), open);
    }
    met_.pop_back();
  }

  const Target& target_;
  const std::vector<TargetStep>& steps_;
  const LeafLists leaf_lists_;
  const Trees trees_;
  const Sink& found_;
  std::vector<Met> met_;
  const EntryMatch any_entry_{nullptr};
  std::map<const TargetNode*, EntryMatch> matches_;
};

// Writes the way to a node as a path: wildcards and keys filled in, the rest as it was asked for.
class PathNamer {
 public:
  explicit PathNamer(const Target& target) : target_(target), qualify_(target.qualifies_names()) {}

  gnmi::Path name(const std::vector<DataWalk::Met>& way) {
    gnmi::Path concrete;
    concrete.set_origin(target_.path.origin());
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
      const model::Schema& model = *target_.model;
      const lysc_node* const parent = lysc_data_parent(schema);
      const auto meant =
          model.names().meanings(parent != nullptr ? model.record(parent) : nullptr, schema->name,
                                 model::NameRules::kTolerant, target_.scope);
      entry->second = meant.size() != 1 || meant.front() != model.record(schema);
    }
    return entry->second;
  }

  void write_name(const DataWalk::Met& met, bool module_changes, gnmi::PathElem& element) {
    if (met.step != nullptr) {
      element.set_name(target_.path.elem(met.step->element).name());
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
      if (is_entry && met.by_keys) write_key(met, node, ".", element);
      return;
    }
    if (node.schema()->nodetype != LYS_LIST) return;
    for (const ImageSlot& key : node.inner().children()) {
      if (!lysc_is_key(key->schema())) return;
      write_key(met, *key, key->schema()->name, element);
    }
  }

  // As the path wrote it, if it did.
  static void write_key(const DataWalk::Met& met, const ImageNode& leaf, const char* name,
                        gnmi::PathElem& element) {
    const model::TargetKey* written = nullptr;
    if (met.meant != nullptr) {
      for (const model::TargetKey& key : met.meant->keys) {
        if (key.schema == leaf.schema()) written = &key;
      }
    }
    const bool has_value = written != nullptr && !written->any;
    (*element.mutable_key())[written != nullptr ? written->name : name] =
        has_value ? written->sent : std::string(leaf.leaf().text());
  }

  const Target& target_;
  const bool qualify_;
  std::map<const lysc_node*, bool> needs_module_;
};

// A path without wildcards, whose steps mean one node each: where they name one entry each, a step
// is one look-up.
class StraightWay {
 public:
  StraightWay(const Target& target, LeafLists leaf_lists) : target_(target) {
    entries_.reserve(target.steps.size());
    for (const TargetStep& step : target.steps) {
      const TargetNode& meant = step.nodes.front();
      const EntryMatch& entry = entries_.emplace_back(&meant);
      const bool is_whole = meant.schema->nodetype == LYS_LEAFLIST && meant.keys.empty() &&
                            leaf_lists == LeafLists::kWhole;
      const bool has_entries = (meant.schema->nodetype & (LYS_LIST | LYS_LEAFLIST)) != 0;
      if (has_entries && !is_whole && entry.only_entry() == nullptr) return;
    }
    is_straight_ = true;
  }

  bool is_straight() const { return is_straight_; }

  void run(const PairLevel& top, const NodeSink& found) const { below(top, 0, found); }

 private:
  void below(const PairLevel& level, std::size_t at, const NodeSink& found) const {
    with_child(level, target_.steps[at].nodes.front().schema, [&](const NodePair& child) {
      const NodePair node = instance(child, entries_[at]);
      if (node.any() == nullptr) return;
      if (at + 1 < target_.steps.size()) {
        if (node.any()->kind() == ImageKind::kInner) below(PairLevel::below(node), at + 1, found);
        return;
      }
      gnmi::Path concrete = target_.path;
      found(node, concrete);
    });
  }

  static NodePair instance(const NodePair& child, const EntryMatch& entry) {
    if (child.any() == nullptr || child.any()->kind() != ImageKind::kGroup) return child;
    const std::string* const key = entry.only_entry();
    if (key == nullptr) return child;
    return {DataWalk::find(child.config, *key), DataWalk::find(child.state, *key), child.mirror};
  }

  const Target& target_;
  std::vector<EntryMatch> entries_;
  bool is_straight_ = false;
};

}  // namespace

void select_nodes(const Target& target, const ImageInner* config, const ImageInner* state,
                  const NodeSink& found, LeafLists leaf_lists, const model::StateMirror* mirror) {
  if (!target.wild && !target.is_root()) {
    const StraightWay way(target, leaf_lists);
    if (way.is_straight()) return way.run({config, state, mirror}, found);
  }
  PathNamer namer(target);
  const DataWalk::Sink sink = [&](const NodePair& node, const std::vector<DataWalk::Met>& way) {
    gnmi::Path concrete = namer.name(way);
    found(node, concrete);
  };
  if (target.is_root()) {
    sink({}, {});
  } else {
    DataWalk(target, leaf_lists, DataWalk::Trees::kBeside, sink).run({config, state, mirror});
  }
}

void select_chains(const Target& target, const ImageInner& root, const ChainSink& found) {
  ImageChain chain;
  const DataWalk::Sink sink = [&](const NodePair&, const std::vector<DataWalk::Met>& way) {
    chain.clear();
    for (const DataWalk::Met& met : way) chain.push_back(met.node);
    found(chain);
  };
  if (target.is_root()) {
    sink({}, {});
  } else {
    DataWalk(target, LeafLists::kEntries, DataWalk::Trees::kBeside, sink).run({&root, nullptr});
  }
}

void select_differing(const Target& target, const ImageInner* before, const ImageInner* after,
                      const DifferingNodeSink& found) {
  PathNamer namer(target);
  ImageChain chain;
  const DataWalk::Sink sink = [&](const NodePair& node, const std::vector<DataWalk::Met>& way) {
    chain.clear();
    for (const DataWalk::Met& met : way) chain.push_back(met.node);
    gnmi::Path concrete = namer.name(way);
    found(node, concrete, chain);
  };
  if (before == after) return;
  if (target.is_root()) {
    sink({}, {});
  } else {
    DataWalk(target, LeafLists::kWhole, DataWalk::Trees::kBefore, sink).run({before, after});
  }
}

}  // namespace nexa::store
