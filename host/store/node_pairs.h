// The nodes of two trees at once, in the order of the schema: the same node in both is one pair.
#ifndef HOST_STORE_NODE_PAIRS_H_
#define HOST_STORE_NODE_PAIRS_H_

#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "store/reading/mirrored_state.h"
#include "store/reading/selection.h"

namespace nexa::store {

// Whether equal instances may stand side by side: lists without keys, leaf-lists of state.
inline bool may_repeat(const lysc_node* schema) { return lysc_is_dup_inst_list(schema); }

// The nodes around one level, null where the tree has nothing there.
struct PairLevel {
  const ImageInner* config = nullptr;
  const ImageInner* state = nullptr;
  const model::StateMirror* mirror = nullptr;  // as in NodePair

  // `node` is a pair of containers or entries.
  static PairLevel below(const NodePair& node) {
    return {static_cast<const ImageInner*>(node.config), static_cast<const ImageInner*>(node.state),
            node.mirror};
  }

  // The containers "state" of the level that the configuration may fill.
  std::span<const model::MirroredContainer> mirrored() const {
    if (mirror == nullptr || config == nullptr) return {};
    return mirror->below(config->schema());
  }
};

// The children that stand in the two trees.
template <typename Take>
void each_stored_child(const PairLevel& level, Take&& take) {
  using Children = std::span<const ImageSlot>;
  const Children config = level.config != nullptr ? level.config->children() : Children();
  const Children state = level.state != nullptr ? level.state->children() : Children();
  std::size_t i = 0;
  std::size_t j = 0;
  while (i < config.size() && j < state.size()) {
    const ImageNode* const left = config[i].get();
    const ImageNode* const right = state[j].get();
    const std::uint32_t left_number = schema_number(left->schema());
    const std::uint32_t right_number = schema_number(right->schema());
    if (left_number <= right_number) ++i;
    if (right_number <= left_number) ++j;
    take(NodePair{left_number <= right_number ? left : nullptr,
                  right_number <= left_number ? right : nullptr, level.mirror});
  }
  for (; i < config.size(); ++i) take(NodePair{config[i].get(), nullptr, level.mirror});
  for (; j < state.size(); ++j) take(NodePair{nullptr, state[j].get(), level.mirror});
}

// The children of the level; those of a list or leaf-list are one pair of groups. A container
// "state" that the mirror fills is made for the time of the call.
template <typename Take>
void each_child(const PairLevel& level, Take&& take) {
  if (level.config == nullptr) return each_stored_child(level, take);
  std::vector<ImageSlot> made;
  for (const model::MirroredContainer& pair : level.mirrored()) {
    if (ImageSlot node = mirrored_state(pair, *level.config, level.state)) {
      made.push_back(std::move(node));
    }
  }
  if (made.empty()) return each_stored_child(level, take);
  auto next = made.cbegin();
  each_stored_child(level, [&](const NodePair& node) {
    const std::uint32_t number = schema_number(node.any()->schema());
    bool is_replaced = false;
    for (; next != made.cend() && schema_number((*next)->schema()) <= number; ++next) {
      is_replaced = schema_number((*next)->schema()) == number;
      take(NodePair{nullptr, next->get()});
    }
    if (!is_replaced) take(node);
  });
  for (; next != made.cend(); ++next) take(NodePair{nullptr, next->get()});
}

// The child of one schema node, as each_child() gives it; an empty pair where there is none.
template <typename Take>
void with_child(const PairLevel& level, const lysc_node* schema, Take&& take) {
  for (const model::MirroredContainer& pair : level.mirrored()) {
    if (level.config == nullptr || pair.state != schema) continue;
    const ImageSlot made = mirrored_state(pair, *level.config, level.state);
    if (made) return take(NodePair{nullptr, made.get()});
  }
  take(NodePair{level.config == nullptr ? nullptr : level.config->find(schema),
                level.state == nullptr ? nullptr : level.state->find(schema), level.mirror});
}

// What a group knows an entry by (image_key): the only key and a leaf-list's value are seen in
// place, several keys are put into `kept`.
inline std::string_view key_of(const ImageNode& entry, std::string& kept) {
  if (entry.kind() == ImageKind::kLeaf) return entry.leaf().text();
  const std::span<const ImageSlot> children = entry.inner().children();
  if (children.empty()) return {};
  const bool has_one_key = children.size() == 1 || !lysc_is_key(children[1]->schema());
  if (has_one_key) return children.front()->leaf().text();
  kept = image_key(entry);
  return kept;
}

// The entries of a pair of groups: those of `config` in its order with their likes in `state`, then
// those that only `state` has. Instances that may repeat are never alike.
template <typename Take>
void each_entry(const NodePair& groups, Take&& take) {
  const ImageGroup* const config = groups.config != nullptr ? &groups.config->group() : nullptr;
  const ImageGroup* const state = groups.state != nullptr ? &groups.state->group() : nullptr;
  std::string kept;
  const bool alike = config != nullptr && state != nullptr && !may_repeat(config->schema());
  std::size_t matched = 0;
  if (config != nullptr) {
    for (const GroupEntry* const entry : config->in_order()) {
      const GroupEntry* const like = alike ? state->find(key_of(*entry->node, kept)) : nullptr;
      if (like != nullptr) ++matched;
      take(
          NodePair{entry->node.get(), like != nullptr ? like->node.get() : nullptr, groups.mirror});
    }
  }
  if (state != nullptr && matched < state->size()) {
    for (const GroupEntry* const entry : state->in_order()) {
      if (alike && config->find(key_of(*entry->node, kept)) != nullptr) continue;
      take(NodePair{nullptr, entry->node.get(), groups.mirror});
    }
  }
}

// The entries of a pair of groups of two moments (`config`: before, `state`: after) that are not
// shared, in any order.
template <typename Take>
void each_differing_entry(const NodePair& groups, Take&& take) {
  if (groups.config == nullptr) {
    groups.state->group().each([&](const GroupEntry& entry) {
      take(NodePair{nullptr, entry.node.get()});
    });
  } else if (groups.state == nullptr) {
    groups.config->group().each([&](const GroupEntry& entry) {
      take(NodePair{entry.node.get(), nullptr});
    });
  } else {
    groups.config->group().each_difference(
        groups.state->group(), [&](const GroupEntry* before, const GroupEntry* after) {
          const NodePair pair = {before == nullptr ? nullptr : before->node.get(),
                                 after == nullptr ? nullptr : after->node.get()};
          if (pair.config != pair.state) take(pair);
        });
  }
}

}  // namespace nexa::store

#endif  // HOST_STORE_NODE_PAIRS_H_
