// libyang frees a table only together with its node, so a table that has to go is given to a node
// made for that.
#include "store/child_table.h"

#include <cstdint>
#include <cstdlib>
#include <new>

namespace nexa::store {
namespace {

// How the table begins in libyang 2.1.
struct TableHead {
  std::uint32_t used;
  std::uint32_t size;
  std::uint32_t removed;
};

// A list entry takes two slots where it is the first of its list.
constexpr std::uint32_t kFreeSlots = 3;

bool has_table(const lyd_node* node) {
  return node != nullptr && node->schema != nullptr &&
         (node->schema->nodetype & LYD_NODE_INNER) != 0 &&
         reinterpret_cast<const lyd_node_inner*>(node)->children_ht != nullptr;
}

}  // namespace

void drop_child_table(lyd_node* parent) {
  if (!has_table(parent)) return;
  auto* const inner = reinterpret_cast<lyd_node_inner*>(parent);
  // libyang frees it with free().
  auto* const husk = static_cast<lyd_node_inner*>(std::calloc(1, sizeof(lyd_node_inner)));
  if (husk == nullptr) throw std::bad_alloc();
  husk->schema = parent->schema;
  husk->prev = &husk->node;
  husk->children_ht = inner->children_ht;
  inner->children_ht = nullptr;
  lyd_free_tree(&husk->node);
}

void make_room(lyd_node* parent) {
#if NEXA_LIBYANG_KEEPS_REMOVED_SLOTS
  if (!has_table(parent)) return;
  const auto* const table = reinterpret_cast<const TableHead*>(
      reinterpret_cast<const lyd_node_inner*>(parent)->children_ht);
  if (table->removed == 0 || table->used + table->removed + kFreeSlots <= table->size) return;
  drop_child_table(parent);
#else
  static_cast<void>(parent);
#endif
}

void make_room_everywhere(lyd_node* first) {
  for (lyd_node* node = first; node != nullptr; node = node->next) {
    lyd_node* const child = lyd_child(node);
    if (child == nullptr) continue;
    make_room(node);
    make_room_everywhere(child);
  }
}

}  // namespace nexa::store
