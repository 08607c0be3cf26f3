// Each kind of change is taken back by its opposite. libyang clears the default flags above an
// explicit node that it links and sets them above the last one that it unlinks; where a change was
// to flags or values alone, the same is done here.
#include "store/tree_change.h"

#include <cstring>

#include "store/child_table.h"
#include "store/node_tools.h"

namespace nexa::store {
namespace {

// Makes the flags of the containers above `node` fit to it.
void settle_flags_above(const lyd_node* node) {
  lyd_node* parent = lyd_parent(node);
  if ((node->flags & LYD_DEFAULT) != 0) return settle_container_flags(parent);
  for (; parent != nullptr && (parent->flags & LYD_DEFAULT) != 0; parent = lyd_parent(parent)) {
    parent->flags &= ~static_cast<std::uint32_t>(LYD_DEFAULT);
  }
}

void unlink(lyd_node*& tree, lyd_node* node) {
  if (node == tree) tree = node->next;
  lyd_unlink_tree(node);
}

// Links a node where the user ordered it, or behind its likes.
bool link(lyd_node*& tree, lyd_node* parent, lyd_node* node, lyd_node* next) {
  if (next == nullptr) return insert_node(tree, parent, node);
  make_room(parent);
  if (lyd_insert_before(next, node) != LY_SUCCESS) {
    lyd_free_tree(node);
    return false;
  }
  if (next == tree) tree = node;
  return true;
}

bool undo(lyd_node*& tree, TreeChange& change) {
  lyd_node* const node = change.node;
  switch (change.kind) {
    case TreeChange::Kind::kCreated:
      unlink(tree, node);
      lyd_free_tree(node);
      return true;
    case TreeChange::Kind::kDeleted: {
      // libyang leaves the flags alone, except those above.
      return link(tree, change.parent, change.subtree.release(), change.old_next);
    }
    case TreeChange::Kind::kValue: {
      const LY_ERR done = change_canonical_term(node, change.old_value.c_str());
      if (done != LY_SUCCESS && done != LY_EEXIST && done != LY_ENOT) return false;
      node->flags = change.old_flags;
      settle_flags_above(node);
      return true;
    }
    case TreeChange::Kind::kFlag:
      node->flags = change.old_flags;
      if ((node->schema->nodetype & LYD_NODE_TERM) != 0) settle_flags_above(node);
      return true;
    case TreeChange::Kind::kMoved:
      if (!lysc_is_userordered(node->schema)) return true;
      unlink(tree, node);
      return link(tree, change.parent, node, change.old_next);
  }
  return false;
}

}  // namespace

bool undo_changes(lyd_node*& tree, TreeChanges& changes) {
  bool ok = true;
  while (ok && !changes.empty()) {
    ok = undo(tree, changes.back());
    changes.pop_back();
  }
  changes.clear();
  return ok;
}

}  // namespace nexa::store
