// Makes changes to one tree until it holds what another one does, and notes them: what a store does
// with the difference of two configurations.
#ifndef TESTS_STORE_TREE_SYNC_H_
#define TESTS_STORE_TREE_SYNC_H_

#include <gtest/gtest.h>

#include "store/node_tools.h"
#include "store/tree_change.h"

namespace nexa::store {

class TreeSync {
 public:
  TreeSync(lyd_node*& tree, TreeChanges& changes) : tree_(tree), changes_(changes) {}

  void run(const lyd_node* target) { level(nullptr, target); }

 private:
  const lyd_node* children(const lyd_node* parent) const {
    return parent != nullptr ? first_child(parent) : tree_;
  }

  static lyd_node* next_of(const lyd_node* node) {
    const bool is_ordered = lysc_is_userordered(node->schema);
    const lyd_node* const next = node->next;
    return is_ordered && next != nullptr && next->schema == node->schema ? node->next : nullptr;
  }

  TreeChange& note(TreeChange::Kind kind, lyd_node* node, lyd_node* parent) {
    TreeChange& change = changes_.emplace_back();
    change.kind = kind;
    change.node = node;
    change.parent = parent;
    return change;
  }

  void take_out(lyd_node* node) {
    if (node == tree_) tree_ = node->next;
    lyd_unlink_tree(node);
  }

  void level(lyd_node* parent, const lyd_node* target) {
    for (lyd_node* node = const_cast<lyd_node*>(children(parent)); node != nullptr;) {
      lyd_node* const next = node->next;
      if (!is_key(node) && find_match(target, node) == nullptr) {
        TreeChange& change = note(TreeChange::Kind::kDeleted, node, parent);
        change.old_next = next_of(node);
        take_out(node);
        change.subtree.reset(node);
      }
      node = next;
    }
    for (const lyd_node* node = target; node != nullptr; node = node->next) {
      if (!is_key(node)) one(parent, node);
    }
    for (const lyd_node* node = target; node != nullptr; node = node->next) {
      const bool is_first = node->prev->next == nullptr || node->prev->schema != node->schema;
      if (is_first && lysc_is_userordered(node->schema)) order(parent, node);
    }
  }

  void one(lyd_node* parent, const lyd_node* node) {
    lyd_node* const match = find_match(children(parent), node);
    if (match == nullptr) {
      lyd_node* copy = nullptr;
      ASSERT_EQ(lyd_dup_single(node, nullptr, LYD_DUP_RECURSIVE, &copy), LY_SUCCESS);
      copy->flags |= node->flags & LYD_DEFAULT;
      ASSERT_TRUE(insert_node(tree_, parent, copy));
      note(TreeChange::Kind::kCreated, copy, parent);
      return;
    }
    if ((node->schema->nodetype & LYD_NODE_TERM) == 0) return level(match, first_child(node));
    const std::uint32_t flags = match->flags;
    const std::string old_value = lyd_get_value(match);
    if (old_value != lyd_get_value(node)) {
      ASSERT_EQ(lyd_change_term_canon(match, lyd_get_value(node)), LY_SUCCESS);
      TreeChange& change = note(TreeChange::Kind::kValue, match, parent);
      change.old_value = old_value;
      change.old_flags = flags;
    } else if (((flags ^ node->flags) & LYD_DEFAULT) != 0) {
      match->flags ^= LYD_DEFAULT;
      for (lyd_node* above = parent; above != nullptr; above = lyd_parent(above)) {
        if ((match->flags & LYD_DEFAULT) == 0) above->flags &= ~std::uint32_t{LYD_DEFAULT};
      }
      note(TreeChange::Kind::kFlag, match, parent).old_flags = flags;
    }
  }

  // Puts the instances into the order of the target, whose first instance is `first`.
  void order(lyd_node* parent, const lyd_node* first) {
    lyd_node* place = find_instance(children(parent), first->schema);
    for (const lyd_node* node = first; node != nullptr && node->schema == first->schema;
         node = node->next) {
      lyd_node* const match = find_match(children(parent), node);
      if (match == place) {
        place = place->next;
        continue;
      }
      TreeChange& change = note(TreeChange::Kind::kMoved, match, parent);
      change.old_next = next_of(match);
      take_out(match);
      ASSERT_EQ(lyd_insert_before(place, match), LY_SUCCESS);
      if (place == tree_) tree_ = match;
    }
  }

  lyd_node*& tree_;
  TreeChanges& changes_;
};

// Brings `tree` in step with `target`; `changes` is what was done.
inline void bring_in_step(lyd_node*& tree, const lyd_node* target, TreeChanges& changes) {
  TreeSync(tree, changes).run(target);
}

}  // namespace nexa::store

#endif  // TESTS_STORE_TREE_SYNC_H_
