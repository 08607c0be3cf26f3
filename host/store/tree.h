// Owners of libyang's handles, and the context of the loaded schema. libyang stays in host/store.
#ifndef HOST_STORE_TREE_H_
#define HOST_STORE_TREE_H_

#include <libyang/libyang.h>

#include <cstdlib>
#include <memory>
#include <utility>

#include "kestrel/loader.h"

namespace nexa::store {

struct DeleteTree {
  void operator()(lyd_node* tree) const { lyd_free_all(tree); }
};
using TreePtr = std::unique_ptr<lyd_node, DeleteTree>;  // the first top-level sibling

// Owns a tree while others work on it, who may put another node first: they are given `top`.
struct TreeInWork {
  explicit TreeInWork(TreePtr tree) : top(tree.release()) {}
  ~TreeInWork() { lyd_free_all(top); }
  TreeInWork(const TreeInWork&) = delete;
  TreeInWork& operator=(const TreeInWork&) = delete;
  TreePtr take() { return TreePtr(std::exchange(top, nullptr)); }

  lyd_node* top;
};

struct DeleteText {
  void operator()(char* text) const { std::free(text); }
};
using TextPtr = std::unique_ptr<char, DeleteText>;

struct DeleteSet {
  void operator()(ly_set* set) const { ly_set_free(set, nullptr); }
};
using SetPtr = std::unique_ptr<ly_set, DeleteSet>;

// The type of a leaf or leaf-list; null for other nodes.
inline lysc_type* type_of(const lysc_node* node) {
  if (node->nodetype == LYS_LEAF) return reinterpret_cast<const lysc_node_leaf*>(node)->type;
  if (node->nodetype != LYS_LEAFLIST) return nullptr;
  return reinterpret_cast<const lysc_node_leaflist*>(node)->type;
}

// Lists and leaf-lists: a parent has as many of them as it likes.
inline bool is_many(const lysc_node* schema) {
  return (schema->nodetype & (LYS_LIST | LYS_LEAFLIST)) != 0;
}

}  // namespace nexa::store

#endif  // HOST_STORE_TREE_H_
