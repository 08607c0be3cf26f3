// Which nodes does a transaction touch? A sparse tree of them, with the list keys above, from which
// the state before and after is copied, and by which one tree is made equal to another at the price
// of the change. Knows nothing of requests, validation or the log.
#ifndef HOST_STORE_TOUCHED_H_
#define HOST_STORE_TOUCHED_H_

#include <set>
#include <string_view>
#include <utility>

#include "store/tree.h"

namespace nexa::host {

// What a node of a libyang diff stands for: "create", "delete", "replace" or "none"; `inherited`
// from the node above when it does not say.
std::string_view diff_operation(const lyd_node* node, std::string_view inherited);

class Touched {
 public:
  // Who touches from now on: the index of an edit.
  void set_edit(int edit) { edit_ = edit; }

  // `node`, in any tree, and all below it may be different, or come or go. A user-ordered list or
  // leaf-list whose instance comes or goes is also given to mark_order.
  void mark(const lyd_node* node);

  // The order of the instances of `node`'s schema node, or which there are, may be different.
  void mark_order(const lyd_node* node);

  // Everything that a libyang diff names.
  void mark_diff(const lyd_node* diff);

  bool empty() const { return tree_ == nullptr; }

  // The touched nodes as they stand in `source`, with their ancestors and keys; of a list whose
  // order is touched every instance, with its keys only unless touched itself.
  TreePtr copy_from(const lyd_node* source) const;

  // Makes the touched nodes of `target` equal to those of `source`, flags included; the trees were
  // equal before these were touched. False when libyang fails: `target` is undefined then.
  bool make_equal(const lyd_node* source, lyd_node*& target) const;

  // Makes the texts of the touched nodes' values in `tree`.
  void settle(const lyd_node* tree) const;

  // The edit to blame for a node at fault (instance identifier): the one that touched it, something
  // above it, or alone something below it. -1 when there is none.
  int edit_at(std::string_view path) const;

 private:
  using Order =
      std::pair<const lyd_node*, const lysc_node*>;  // parent in tree_, or null; instances

  struct Copy;
  struct Equal;
  struct Blame;

  lyd_node* place(const lyd_node* node);
  bool order_touched(const lyd_node* parent, const lysc_node* schema) const;

  TreePtr tree_;
  std::set<Order> orders_;
  int edit_ = -1;
};

}  // namespace nexa::host

#endif  // HOST_STORE_TOUCHED_H_
