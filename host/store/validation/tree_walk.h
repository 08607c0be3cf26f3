// Finding instances in the writer's tree by schema node. The tree must have no other reader:
// libyang's search for the first instance changes a hash table while it runs.
#ifndef HOST_STORE_VALIDATION_TREE_WALK_H_
#define HOST_STORE_VALIDATION_TREE_WALK_H_

#include <algorithm>
#include <vector>

#include "store/tree.h"

namespace nexa::store {

// The first instance among siblings, null when there is none; the others follow it.
lyd_node* find_among(const lyd_node* siblings, const lysc_node* schema);

// The schema nodes on the way from below `top` (null: the root) down to `node`, both ends included.
std::vector<const lysc_node*> way_down(const lysc_node* top, const lysc_node* node);

// Calls `visit` for each node that the rest of `way`, from its place `at`, leads to.
template <typename Visit>
void visit_way(const lyd_node* siblings, const std::vector<const lysc_node*>& way, std::size_t at,
               const Visit& visit) {
  lyd_node* node = find_among(siblings, way[at]);
  for (; node != nullptr && node->schema == way[at]; node = node->next) {
    if (at + 1 == way.size()) {
      visit(node);
    } else {
      visit_way(lyd_child(node), way, at + 1, visit);
    }
  }
}

// Calls `visit` for each instance of `schema` at or below `top`; null is the whole `tree`.
template <typename Visit>
void each_instance(lyd_node* tree, lyd_node* top, const lysc_node* schema, const Visit& visit) {
  if (top != nullptr && top->schema == schema) return visit(top);
  const std::vector<const lysc_node*> way =
      way_down(top != nullptr ? top->schema : nullptr, schema);
  if (!way.empty()) visit_way(top != nullptr ? lyd_child(top) : tree, way, 0, visit);
}

// Calls `visit` for a node and all below it, parents first.
template <typename Visit>
void each_node(lyd_node* root, const Visit& visit) {
  visit(root);
  for (lyd_node* child = lyd_child(root); child != nullptr; child = child->next) {
    each_node(child, visit);
  }
}

inline bool contains(const std::vector<const lysc_node*>& nodes, const lysc_node* node) {
  return std::find(nodes.begin(), nodes.end(), node) != nodes.end();
}

inline bool is_default(const lyd_node* node) { return (node->flags & LYD_DEFAULT) != 0; }

// Whether a node stands in a case of a choice.
inline bool in_case(const lysc_node* schema) {
  return schema->parent != nullptr && schema->parent->nodetype == LYS_CASE;
}

// The module that a top-level node belongs to: of the choice that it stands in, if it does.
inline const lys_module* owner_module(const lysc_node* schema) {
  while (schema->parent != nullptr) schema = schema->parent;
  return schema->module;
}

// Whether a node holds anything that somebody gave: a container without presence, and a node that
// is a default, do not by themselves.
bool holds_given(const lyd_node* node);

}  // namespace nexa::store

#endif  // HOST_STORE_VALIDATION_TREE_WALK_H_
