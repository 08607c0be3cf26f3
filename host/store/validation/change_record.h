// What did validation itself change? Builds a libyang diff out of single creations and deletions.
#ifndef HOST_STORE_VALIDATION_CHANGE_RECORD_H_
#define HOST_STORE_VALIDATION_CHANGE_RECORD_H_

#include <unordered_map>

#include "store/tree.h"

namespace nexa::host {

class ChangeRecord {
 public:
  // Notes a node that stands in the tree now; its parents before its children.
  bool add_created(const lyd_node* node);

  // Notes a node with all below it that is about to leave the tree. False for a node that earlier
  // changes went below, since a diff cannot say both, and where user-ordered nodes go: libyang
  // cannot reverse the diff then.
  bool add_deleted(const lyd_node* node);

  // The diff; the record is empty afterwards.
  TreePtr take();

 private:
  lyd_node* copy_of(const lyd_node* node);
  lyd_node* add_copy(const lyd_node* node, std::uint32_t options, const char* operation);
  bool add_anchor(const lyd_node* node, lyd_node* copy);

  TreePtr diff_;
  std::unordered_map<const lyd_node*, lyd_node*> copies_;
  std::unordered_map<const lyd_node*, bool> is_created_;
};

}  // namespace nexa::host

#endif  // HOST_STORE_VALIDATION_CHANGE_RECORD_H_
