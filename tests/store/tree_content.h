// Data trees as the tests compare and copy them.
#ifndef TESTS_STORE_TREE_CONTENT_H_
#define TESTS_STORE_TREE_CONTENT_H_

#include <string>

#include "store/node_tools.h"

namespace nexa_test {

// A copy of all top-level nodes; default flags are kept. Null for none, and after a failure of
// libyang: `ok` tells.
inline nexa::store::TreePtr copy_tree(const lyd_node* top, bool& ok) {
  lyd_node* copy = nullptr;
  ok = top == nullptr ||
       lyd_dup_siblings(top, nullptr, LYD_DUP_RECURSIVE | LYD_DUP_NO_META | LYD_DUP_WITH_FLAGS,
                        &copy) == LY_SUCCESS;
  return nexa::store::TreePtr(copy);
}

// A copy with everything below it, linked nowhere; default flags are kept.
inline lyd_node* copy_subtree(const lyd_node* node) {
  lyd_node* copy = nullptr;
  lyd_dup_single(node, nullptr, LYD_DUP_RECURSIVE | LYD_DUP_NO_META | LYD_DUP_WITH_FLAGS, &copy);
  return copy;
}

inline const lyd_node* next_instance(const lyd_node* node) {
  const lyd_node* const next = node->next;
  return next != nullptr && next->schema == node->schema ? next : nullptr;
}

// Whether two trees hold the same nodes and values. The order of instances counts where the user
// gives it, nowhere else; `defaults`: the default flags count too.
inline bool same_content(const lyd_node* left, const lyd_node* right, bool defaults = false) {
  for (const lyd_node* node = left; node != nullptr; node = node->next) {
    const lyd_node* const match = nexa::store::find_match(right, node);
    if (match == nullptr) return false;
    if (defaults && (node->flags & LYD_DEFAULT) != (match->flags & LYD_DEFAULT)) return false;
    const bool is_equal = (node->schema->nodetype & LYD_NODE_INNER) != 0
                              ? same_content(lyd_child(node), lyd_child(match), defaults)
                              : lyd_compare_single(node, match, 0) == LY_SUCCESS;
    if (!is_equal) return false;
    if (!lysc_is_userordered(node->schema)) continue;
    const lyd_node* const next = next_instance(node);
    const lyd_node* const next_match = next_instance(match);
    if ((next == nullptr) != (next_match == nullptr)) return false;
    if (next != nullptr && lyd_compare_single(next, next_match, 0) != LY_SUCCESS) return false;
  }
  for (; left != nullptr && right != nullptr; left = left->next) right = right->next;
  return left == nullptr && right == nullptr;
}

// Whether a container without presence holds anything that was configured.
inline bool has_explicit_content(const lyd_node* node) {
  for (const lyd_node* child = lyd_child(node); child != nullptr; child = child->next) {
    if (lysc_is_np_cont(child->schema) ? has_explicit_content(child)
                                       : (child->flags & LYD_DEFAULT) == 0) {
      return true;
    }
  }
  return false;
}

// XML of all siblings without defaults, in one line, below no element. False on failure.
inline bool print_siblings(const lyd_node* top, std::string& xml) {
  if (top == nullptr) return true;
  char* text = nullptr;
  const LY_ERR done = lyd_print_mem(&text, top, LYD_XML, LYD_PRINT_WITHSIBLINGS | LYD_PRINT_SHRINK);
  const nexa::store::TextPtr owner(text);
  if (done != LY_SUCCESS) return false;
  if (text != nullptr) xml.append(text);
  return true;
}

}  // namespace nexa_test

#endif  // TESTS_STORE_TREE_CONTENT_H_
