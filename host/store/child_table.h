// Room in the hash table that libyang keeps of a node's children. Up to libyang 2.1.30 a removed
// child leaves a slot that counts as neither free nor taken. When the last free slot of a table is
// taken, the next child whose hash collides may be written to address 0: some twenty legal changes
// of one small container can end the process. So nothing is linked into a table that is nearly out
// of free slots; the table is made anew instead.
#ifndef HOST_STORE_CHILD_TABLE_H_
#define HOST_STORE_CHILD_TABLE_H_

#include "store/tree.h"

namespace nexa::store {

// Call before a child is linked below `parent`, which may be null. Drops the table if it is nearly
// out of free slots; libyang makes another one with the next child. Constant time otherwise.
void make_room(lyd_node* parent);

// Drops the table whatever its state. Children are then found one by one until the next is linked.
void drop_child_table(lyd_node* parent);

// make_room() at and below every node of `first` and its siblings, before libyang completes a tree
// that it has taken nodes out of.
void make_room_everywhere(lyd_node* first);

}  // namespace nexa::store

#endif  // HOST_STORE_CHILD_TABLE_H_
