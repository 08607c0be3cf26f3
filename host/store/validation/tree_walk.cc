// libyang keeps the instances of a schema node together, and finds the first one by hash where a
// parent has four children or more.
#include "store/validation/tree_walk.h"

namespace nexa::store {

lyd_node* find_among(const lyd_node* siblings, const lysc_node* schema) {
  lyd_node* found = nullptr;
  lyd_find_sibling_val(siblings, schema, nullptr, 0, &found);
  return found;
}

std::vector<const lysc_node*> way_down(const lysc_node* top, const lysc_node* node) {
  std::vector<const lysc_node*> way;
  for (; node != nullptr && node != top; node = lysc_data_parent(node)) way.push_back(node);
  if (node != top) way.clear();
  std::reverse(way.begin(), way.end());
  return way;
}

bool holds_given(const lyd_node* node) {
  if (!lysc_is_np_cont(node->schema)) return !is_default(node);
  for (const lyd_node* child = lyd_child(node); child != nullptr; child = child->next) {
    if (child->schema != nullptr && holds_given(child)) return true;
  }
  return false;
}

}  // namespace nexa::store
