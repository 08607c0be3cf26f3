// The instances of one schema node in two trees at once: the same entry in both is one pair.
#ifndef HOST_STORE_NODE_PAIRS_H_
#define HOST_STORE_NODE_PAIRS_H_

#include <vector>

#include "store/reading/selection.h"
#include "store/siblings.h"

namespace nexa::host {

// The first siblings of one level in each tree, null where the tree has nothing there.
struct PairLevel {
  const lyd_node* config = nullptr;
  const lyd_node* state = nullptr;

  static PairLevel below(const NodePair& node) {
    return {first_below(node.config), first_below(node.state)};
  }
};

// The schema nodes that have an instance on the level: those of `config` in its order, then those
// that only `state` has. Opaque nodes have none.
template <typename Take>
void each_schema(const PairLevel& level, Take&& take) {
  for (const lyd_node* node = skip_opaque(level.config); node != nullptr;) {
    const lysc_node* schema = node->schema;
    take(schema);
    while (node != nullptr && node->schema == schema) node = node->next;
    node = skip_opaque(node);
  }
  for (const lyd_node* node = skip_opaque(level.state); node != nullptr;) {
    const lysc_node* schema = node->schema;
    if (some_instance(level.config, schema) == nullptr) take(schema);
    while (node != nullptr && node->schema == schema) node = node->next;
    node = skip_opaque(node);
  }
}

// The instances of `schema`: those of `config` in its order with their likes in `state`, then those
// that only `state` has. Instances that may repeat are never alike. `take` returns whether to go
// on.
template <typename Take>
void each_instance(const PairLevel& level, const lysc_node* schema, Take&& take) {
  const bool has_entries = (schema->nodetype & (LYS_LIST | LYS_LEAFLIST)) != 0;
  const lyd_node* const config = first_instance(level.config, schema);
  const lyd_node* const state = first_instance(level.state, schema);
  if (!has_entries) {
    if (config != nullptr || state != nullptr) take(NodePair{config, state, false});
    return;
  }
  const bool alike = !may_repeat(schema) && config != nullptr && state != nullptr;
  EntryFinder in_state(alike ? state : nullptr, schema);
  for (const lyd_node* node = config; node != nullptr; node = instance_after(node)) {
    if (!take(NodePair{node, alike ? in_state.find(node) : nullptr, false})) return;
  }
  EntryFinder in_config(alike ? config : nullptr, schema);
  for (const lyd_node* node = state; node != nullptr; node = instance_after(node)) {
    if (alike && in_config.find(node) != nullptr) continue;
    if (!take(NodePair{nullptr, node, false})) return;
  }
}

}  // namespace nexa::host

#endif  // HOST_STORE_NODE_PAIRS_H_
