// Edits that a store makes, at random: a value set, with the nodes around it; a subtree deleted; an
// entry moved.
#ifndef TESTS_STORE_RANDOM_EDIT_H_
#define TESTS_STORE_RANDOM_EDIT_H_

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "store/random_module.h"
#include "store/validation_fixture.h"

namespace nexa::store {

inline const std::vector<const char*> kValues = {"a",    "b",          "1",          "2",
                                                 "true", "/m:n0/m:n1", "/m:n0/m:n2", "false"};

inline void collect_nodes(const lysc_node* parent, const lysc_module* module,
                          std::vector<const lysc_node*>& nodes) {
  const lysc_node* node = nullptr;
  while ((node = lys_getnext(node, parent, module, 0)) != nullptr) {
    if (!lysc_is_key(node)) nodes.push_back(node);
    if ((node->nodetype & (LYS_CONTAINER | LYS_LIST)) != 0) collect_nodes(node, nullptr, nodes);
  }
}

inline std::string path_to(RandomSource& random, const lysc_node* node) {
  const lysc_node* const parent = lysc_data_parent(node);
  std::string path = parent != nullptr ? path_to(random, parent) : "";
  path += "/" + std::string(parent == nullptr ? "m:" : "") + node->name;
  if (node->nodetype == LYS_LIST) path += "[k='" + std::to_string(1 + random.below(3)) + "']";
  return path;
}

// Explicit entries take the place of default ones.
inline void drop_defaults(TreePtr& tree, const lysc_node* schema, lyd_node* made) {
  if (made == nullptr || schema->nodetype != LYS_LEAFLIST) return;
  while (made->schema != schema) made = lyd_child(made)->prev;
  lyd_node* node = lyd_first_sibling(made);
  while (node != nullptr) {
    lyd_node* const next = node->next;
    if (node->schema == schema && (node->flags & LYD_DEFAULT) != 0) {
      if (node == tree.get()) {
        static_cast<void>(tree.release());
        tree.reset(next);
      }
      lyd_unlink_tree(node);
      lyd_free_tree(node);
    }
    node = next;
  }
}

inline void set_value(RandomSource& random, TreePtr& tree) {
  std::vector<const lysc_node*> nodes;
  collect_nodes(nullptr, ly_ctx_get_module_implemented(kestrel::context(), "m")->compiled, nodes);
  const lysc_node* const node = random.pick(nodes);
  const std::string path = path_to(random, node);
  for (int attempt = 0; attempt < 8; ++attempt) {
    lyd_node* made = nullptr;
    const bool is_term = (node->nodetype & LYD_NODE_TERM) != 0;
    const LY_ERR status =
        lyd_new_path(tree.get(), kestrel::context(), path.c_str(),
                     is_term ? random.pick(kValues) : nullptr, LYD_NEW_PATH_UPDATE, &made);
    if (status != LY_SUCCESS) continue;
    lyd_node* first = tree.get() != nullptr ? tree.release() : made;
    while (first != nullptr && first->parent != nullptr) first = lyd_parent(first);
    if (first != nullptr) tree.reset(lyd_first_sibling(first));
    drop_defaults(tree, node, made);
    return;
  }
}

inline void each_explicit(lyd_node* siblings, std::vector<lyd_node*>& nodes) {
  for (lyd_node* node = siblings; node != nullptr; node = node->next) {
    if ((node->flags & LYD_DEFAULT) == 0 && !lysc_is_key(node->schema)) nodes.push_back(node);
    each_explicit(lyd_child(node), nodes);
  }
}

inline void remove_node(RandomSource& random, TreePtr& tree) {
  std::vector<lyd_node*> nodes;
  each_explicit(tree.get(), nodes);
  if (nodes.empty()) return;
  lyd_node* const node = random.pick(nodes);
  if (node == tree.get()) {
    lyd_node* const rest = node->next;
    static_cast<void>(tree.release());
    tree.reset(rest);
  }
  lyd_unlink_tree(node);
  lyd_free_tree(node);
}

inline void move_entry(RandomSource& random, const TreePtr& tree) {
  std::vector<lyd_node*> nodes;
  std::vector<lyd_node*> movable;
  each_explicit(tree.get(), nodes);
  for (lyd_node* const node : nodes) {
    const bool is_many = (node->schema->nodetype & (LYS_LIST | LYS_LEAFLIST)) != 0;
    const bool by_user = (node->schema->flags & LYS_ORDBY_USER) != 0;
    if (is_many && by_user && node->next != nullptr && node->next->schema == node->schema) {
      movable.push_back(node);
    }
  }
  if (movable.empty()) return;
  lyd_node* const node = random.pick(movable);
  lyd_insert_after(node->next, node);
}

// One to three random edits of the data of `module m`.
inline void edit_at_random(RandomSource& random, TreePtr& tree) {
  const std::size_t count = 1 + random.below(3);
  for (std::size_t i = 0; i < count; ++i) {
    const std::size_t kind = random.below(10);
    if (kind < 6) {
      set_value(random, tree);
    } else if (kind < 9) {
      remove_node(random, tree);
    } else if (tree != nullptr && tree->parent == nullptr) {
      move_entry(random, tree);
    }
  }
}

// Calls `check(random, before, after)` for changes in a row, each to what the one before it left,
// over as many modules as libyang takes of `modules`. Stops at the first failure.
template <typename Check>
void each_random_change(std::uint32_t modules, int changes, const Check& check) {
  for (std::uint32_t seed = 1; seed <= modules; ++seed) {
    RandomSource random(seed);
    const std::string text = RandomModule(random, true).text();
    if (!nexa_test::load_module("m", text).empty()) continue;
    number_schema();
    SCOPED_TRACE("seed " + std::to_string(seed) + "\n" + text);
    TreePtr tree;
    for (int i = 0; i < changes && !testing::Test::HasFailure(); ++i) {
      TreePtr edited = copy(tree.get());
      edit_at_random(random, edited);
      check(random, tree.get(), edited);
      tree = std::move(edited);
    }
  }
}

}  // namespace nexa::store

#endif  // TESTS_STORE_RANDOM_EDIT_H_
