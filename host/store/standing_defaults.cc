// Each module is tried alone, then all of them together: a must may forbid what two give.
#include "store/standing_defaults.h"

namespace nexa::host {
namespace {

bool add_module(const lys_module* module, TreePtr& tree) {
  lyd_node* top = tree.release();
  const LY_ERR done = lyd_new_implicit_module(&top, module, LYD_IMPLICIT_NO_STATE, nullptr);
  tree.reset(lyd_first_sibling(top));
  return done == LY_SUCCESS;
}

bool is_valid(TreePtr& tree, Validator& validator) {
  lyd_node* top = tree.release();
  const bool valid = !validator.validate_all(top).violation.has_value();
  tree.reset(top);
  return valid;
}

}  // namespace

StandingDefaults::StandingDefaults(Validator& validator) {
  std::uint32_t index = 0;
  while (const lys_module* const module = ly_ctx_get_module_iter(kestrel::context(), &index)) {
    TreePtr tree;
    if (!module->implemented || !add_module(module, tree) || tree == nullptr) continue;
    if (is_valid(tree, validator)) modules_.insert(module);
  }
  TreePtr together;
  if (!add_to(together) || !is_valid(together, validator)) modules_.clear();
}

bool StandingDefaults::add_to(TreePtr& tree) const {
  for (const lys_module* const module : modules_) {
    if (!add_module(module, tree)) return false;
  }
  return true;
}

}  // namespace nexa::host
