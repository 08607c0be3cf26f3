// The nodes of two trees at once, in the order of the schema: the same node in both is one pair.
#ifndef HOST_STORE_NODE_PAIRS_H_
#define HOST_STORE_NODE_PAIRS_H_

#include <span>
#include <string>
#include <string_view>

#include "store/reading/selection.h"

namespace nexa::store {

// Whether equal instances may stand side by side: lists without keys, leaf-lists of state.
inline bool may_repeat(const lysc_node* schema) { return lysc_is_dup_inst_list(schema); }

// The nodes around one level, null where the tree has nothing there.
struct PairLevel {
  const ImageInner* config = nullptr;
  const ImageInner* state = nullptr;

  // `node` is a pair of containers or entries.
  static PairLevel below(const NodePair& node) {
    return {static_cast<const ImageInner*>(node.config),
            static_cast<const ImageInner*>(node.state)};
  }
};

// The children of the level; those of a list or leaf-list are one pair of groups.
template <typename Take>
void each_child(const PairLevel& level, Take&& take) {
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
                  right_number <= left_number ? right : nullptr});
  }
  for (; i < config.size(); ++i) take(NodePair{config[i].get(), nullptr});
  for (; j < state.size(); ++j) take(NodePair{nullptr, state[j].get()});
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
      take(NodePair{entry->node.get(), like != nullptr ? like->node.get() : nullptr});
    }
  }
  if (state != nullptr && matched < state->size()) {
    for (const GroupEntry* const entry : state->in_order()) {
      if (alike && config->find(key_of(*entry->node, kept)) != nullptr) continue;
      take(NodePair{nullptr, entry->node.get()});
    }
  }
}

}  // namespace nexa::store

#endif  // HOST_STORE_NODE_PAIRS_H_
