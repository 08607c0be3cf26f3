// Each module is tried alone, then all of them together: a must may forbid what two give.
#include "store/validation/standing_defaults.h"

#include <set>

#include "store/node_tools.h"
#include "store/validation/child_judgement.h"
#include "store/validation/tree_walk.h"

namespace nexa::store {
namespace {

// Null when there are none, or libyang fails.
TreePtr make_defaults(const lys_module* module) {
  lyd_node* tree = nullptr;
  lyd_new_implicit_module(&tree, module, LYD_IMPLICIT_NO_STATE, nullptr);
  return TreePtr(lyd_first_sibling(tree));
}

// The same, and null where libyang would not survive it.
TreePtr defaults_of(const lys_module* module, bool is_risky) {
  if (is_risky) {
    const ChildOutcome outcome = run_in_child([module] {
      make_defaults(module);
      return std::string();
    });
    if (outcome.kind != ChildOutcome::Kind::kDone) return nullptr;
  }
  return make_defaults(module);
}

bool insert_copy(lyd_node*& tree, const lyd_node* node) {
  lyd_node* copy = nullptr;
  return lyd_dup_single(node, nullptr, LYD_DUP_RECURSIVE | LYD_DUP_WITH_FLAGS, &copy) ==
             LY_SUCCESS &&
         lyd_insert_sibling(tree, copy, &tree) == LY_SUCCESS;
}

}  // namespace

StandingDefaults::StandingDefaults(const ly_ctx* context, bool is_risky, const Judge& judge) {
  const auto is_valid = [&judge](TreePtr& tree) {
    lyd_node* top = tree.release();
    const bool valid = judge(top);
    tree.reset(top);
    return valid;
  };
  std::uint32_t at = 0;
  while (const lys_module* const module = ly_ctx_get_module_iter(context, &at)) {
    if (module->implemented == 0 || module->compiled == nullptr) continue;
    TreePtr tree = defaults_of(module, is_risky);
    if (tree != nullptr && is_valid(tree)) modules_[module] = make_defaults(module);
  }
  lyd_node* top = nullptr;
  const bool added = add_to(top);
  TreePtr together(top);
  if (!added || !is_valid(together)) modules_.clear();
}

bool StandingDefaults::add_to(lyd_node*& tree) const {
  std::set<const lys_module*> with_data;
  std::set<const lysc_node*> present;
  for (const lyd_node* node = tree; node != nullptr; node = node->next) {
    if (node->schema == nullptr) continue;
    with_data.insert(owner_module(node->schema));
    present.insert(node->schema);
  }
  for (const auto& [module, defaults] : modules_) {
    for (const lyd_node* node = defaults.get(); node != nullptr; node = node->next) {
      // Which case of a choice stands is libyang's to say where there is data.
      const bool is_free = node->schema->parent == nullptr || with_data.count(module) == 0;
      if (!is_free || present.count(node->schema) != 0) continue;
      if (!insert_copy(tree, node)) return false;
    }
  }
  return true;
}

bool StandingDefaults::remove_others(lyd_node*& tree) const {
  std::set<const lys_module*> configured;
  for (const lyd_node* node = tree; node != nullptr; node = node->next) {
    const lys_module* const module = node->schema != nullptr ? owner_module(node->schema) : nullptr;
    if (module == nullptr || configured.count(module) != 0) continue;
    if (has(module) || holds_given(node)) configured.insert(module);
  }
  bool removed = false;
  for (lyd_node* node = tree; node != nullptr;) {
    lyd_node* const next = node->next;
    if (node->schema != nullptr && configured.count(owner_module(node->schema)) == 0) {
      remove_node(tree, node);
      removed = true;
    }
    node = next;
  }
  return removed;
}

}  // namespace nexa::store
