// Shared parts are passed over. A branch that went is named where it went; where the other tree has
// the same branch, the walk goes on below, for only this tree's part of it is gone.
#include "store/reading/change_walk.h"

#include <algorithm>
#include <optional>
#include <vector>

#include "store/image/schema_texts.h"
#include "store/node_pairs.h"
#include "store/reading/wanted.h"

namespace nexa::store {
namespace {

// Whether a follower has got anything of the node; `levels` of it are shown (Query::depth).
bool has_leaf(const ImageNode& node, std::uint32_t levels) {
  if (node.kind() != ImageKind::kInner) return true;  // no group is empty
  const auto children = node.inner().children();
  return std::any_of(children.begin(), children.end(), [levels](const ImageSlot& child) {
    const bool is_leaf = (child->schema()->nodetype & LYD_NODE_INNER) == 0;
    if (is_leaf || levels != 1) return has_leaf(*child, levels - (levels > 1));
    return false;
  });
}

// The texts of a leaf-list in its order.
std::vector<const ImageLeaf*> values_of(const ImageNode& leaf_list) {
  if (leaf_list.kind() != ImageKind::kGroup) return {&leaf_list.leaf()};
  std::vector<const ImageLeaf*> values;
  for (const GroupEntry* const entry : leaf_list.group().in_order()) {
    values.push_back(&entry->node->leaf());
  }
  return values;
}

// Whether a reader sees the same: whether a value is a default is not seen.
bool reads_same(const ImageNode& before, const ImageNode& after) {
  if (before.kind() == ImageKind::kAny) return same_image(before, after);
  const std::vector<const ImageLeaf*> left = values_of(before);
  const std::vector<const ImageLeaf*> right = values_of(after);
  return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                    [](const ImageLeaf* one, const ImageLeaf* other) {
                      return one->text() == other->text() && one->form() == other->form();
                    });
}

class ChangeWalk {
 public:
  ChangeWalk(gnmi::Path& path, ImageChain& way, const ChangeForm& form, const ChangeSink& sink)
      : texts_(SchemaTexts::current()),
        path_(path),
        way_(way),
        form_(form),
        filter_(json_form(form.value)),
        left_(form.value.depth),
        sink_(sink) {}

  void differing(const NodePair& node) {
    if (node.config == node.state) return;
    if (node.state == nullptr) {
      gone(*node.config);
    } else if (!texts_.of(node.any()->schema()).is_inner) {
      leaf(node);
    } else if (node.config == nullptr) {
      came(*node.state);
    } else {
      level(PairLevel::below(node));
    }
  }

  void level(const PairLevel& at) {
    each_child(at, [&](const NodePair& node) {
      if (node.config != node.state) child(node);
    });
  }

 private:
  bool changes_config() const { return form_.value.part == DataPart::kConfig; }

  NodePair in_tree(const ImageNode& node) const {
    return changes_config() ? NodePair{&node, nullptr} : NodePair{nullptr, &node};
  }

  void child(const NodePair& node) {
    const SchemaText& text = texts_.of(node.any()->schema());
    if (!may_hold_wanted(filter_, text, node.any()->schema())) return;
    if (text.is_inner && !left_.shows_inner()) return;
    std::optional<LevelsLeft::Descent> deeper;
    if (text.is_inner) deeper.emplace(left_);
    gnmi::PathElem& element = *path_.add_elem();
    const bool qualify = (form_.value.qualify_names && text.changes_module) || text.shares_name;
    const std::string_view name = text.path_name(qualify);
    element.set_name(name.data(), name.size());
    if (text.is_inner && node.any()->kind() == ImageKind::kGroup) {
      entries(node, element);
    } else {
      step(node);
    }
    path_.mutable_elem()->RemoveLast();
  }

  void entries(const NodePair& groups, gnmi::PathElem& element) {
    if (may_repeat(groups.any()->schema())) return all_entries(groups);
    each_differing_entry(groups, [&](const NodePair& entry) {
      if (!shows_keys(filter_, entry.any()->inner())) return;
      set_entry_keys(entry.any()->inner(), element);
      step(entry);
    });
  }

  // Entries without keys cannot be told apart: what is there is given again.
  void all_entries(const NodePair& groups) {
    if (groups.state == nullptr) return sink_gone();
    for (const GroupEntry* const entry : groups.state->group().in_order()) {
      step({nullptr, entry->node.get()});
    }
  }

  void step(const NodePair& node) {
    way_.push_back(node.any());
    differing(node);
    way_.pop_back();
  }

  void leaf(const NodePair& node) {
    if (node.config != nullptr && reads_same(*node.config, *node.state)) return;
    came(*node.state);
  }

  void came(const ImageNode& node) {
    ValueForm rest = form_.value;
    rest.depth = left_.count();
    for_each_leaf(in_tree(node), path_, rest, sink_.update);
  }

  void gone(const ImageNode& node) {
    const SchemaText& text = texts_.of(node.schema());
    if (!text.is_inner) {
      const bool is_mine = changes_config() == text.is_config;
      if (is_mine && is_wanted_leaf(form_.value, node.schema())) sink_gone();
    } else if (lives_on(text)) {
      level({static_cast<const ImageInner*>(&node), nullptr});
    } else if (has_leaf(node, left_.count())) {
      sink_gone();
    }
  }

  void sink_gone() {
    gnmi::Path path = path_;
    sink_.gone(path);
  }

  // Whether the node at the end of the way is in the other tree as well.
  bool lives_on(const SchemaText& text) {
    const bool may_be_in_both = text.is_config && text.holds_state;
    if (!may_be_in_both || !form_.other) return false;
    if (!other_) other_ = form_.other();
    const ImageInner* at = *other_;
    for (const ImageNode* const met : way_) {
      if (at == nullptr) return false;
      const ImageNode* next = at->find(met->schema());
      if (next != nullptr && next->kind() == ImageKind::kGroup) {
        const GroupEntry* const entry = next->group().find(image_key(*met));
        next = entry == nullptr ? nullptr : entry->node.get();
      }
      if (next == nullptr || next->kind() != ImageKind::kInner) return false;
      at = &next->inner();
    }
    return at != nullptr;
  }

  const SchemaTexts& texts_;
  gnmi::Path& path_;
  ImageChain& way_;
  const ChangeForm& form_;
  const JsonForm filter_;
  LevelsLeft left_;
  const ChangeSink& sink_;
  std::optional<const ImageInner*> other_;
};

}  // namespace

void for_each_change(const NodePair& node, gnmi::Path& path, ImageChain& way,
                     const ChangeForm& form, const ChangeSink& sink) {
  ChangeWalk(path, way, form, sink).differing(node);
}

void for_each_change_of_tree(const ImageInner* before, const ImageInner* after,
                             const ChangeForm& form, const ChangeSink& sink) {
  gnmi::Path path;
  ImageChain way;
  ChangeWalk(path, way, form, sink).level({before, after});
}

}  // namespace nexa::store
