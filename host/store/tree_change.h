// One change to the writer's libyang tree: what brings the tree in step with a new image, what a
// judgement adds to it, and what takes both back. Every change of the tree goes through a list of
// these, so undoing a commit costs what the commit cost.
#ifndef HOST_STORE_TREE_CHANGE_H_
#define HOST_STORE_TREE_CHANGE_H_

#include <cstdint>
#include <string>
#include <vector>

#include "store/tree.h"

namespace nexa::store {

struct TreeChange {
  enum class Kind : std::uint8_t {
    kCreated,  // `node`, with all below it, came into the tree
    kDeleted,  // `node`, with all below it, went; `subtree` owns it
    kValue,    // the leaf `node` has another value; `old_value` is the canonical text before
    kFlag,     // only the default flag of `node` changed
    kMoved,    // `node`, an entry, has another place, where it stands if the user orders it
  };
  Kind kind = Kind::kCreated;
  lyd_node* node = nullptr;
  // kDeleted: where the node stood; null at the top level. Also the node's parent otherwise.
  lyd_node* parent = nullptr;
  TreePtr subtree;               // kDeleted
  std::string old_value;         // kValue
  std::uint32_t old_flags = 0;   // of `node` before, kValue and kFlag
  lyd_node* old_next = nullptr;  // kDeleted and kMoved, user-ordered: the instance that followed
  bool is_implicit = false;      // a judgement made the change, no edit asked for it
};

// In the order in which they were made. A kDeleted node may be the parent of earlier changes, never
// of later ones.
using TreeChanges = std::vector<TreeChange>;

// Takes `changes` back, the last first, and leaves the list empty. `tree` stays the first top-level
// node. Instances that the system orders may come back in another place among the other instances
// of their list; those that the user orders stand exactly where they stood. False when libyang
// fails (no memory): the tree is then to be thrown away.
bool undo_changes(lyd_node*& tree, TreeChanges& changes);

}  // namespace nexa::store

#endif  // HOST_STORE_TREE_CHANGE_H_
