// Top-level nodes come with their choices looked through, so one of another module than the one
// that is asked was added to a choice.
#include "store/schema_support.h"

#include "store/tree.h"

namespace nexa::host {
namespace {

bool has_default(const lysc_node* node) {
  if (node->nodetype == LYS_LEAF) {
    return reinterpret_cast<const lysc_node_leaf*>(node)->dflt != nullptr;
  }
  if (node->nodetype == LYS_LEAFLIST) {
    return reinterpret_cast<const lysc_node_leaflist*>(node)->dflts != nullptr;
  }
  return lysc_is_np_cont(node);
}

}  // namespace

std::string unsupported_schema() {
  std::uint32_t at = 0;
  while (const lys_module* const module = ly_ctx_get_module_iter(kestrel::context(), &at)) {
    if (module->implemented == 0 || module->compiled == nullptr) continue;
    const lysc_node* node = nullptr;
    while ((node = lys_getnext(node, nullptr, module->compiled, 0)) != nullptr) {
      if (node->module == module || (node->flags & LYS_CONFIG_R) != 0 || !has_default(node)) {
        continue;
      }
      return std::string("module ") + node->module->name + " adds \"" + node->name +
             "\", which has a default, to a choice at the top level of module " + module->name +
             ": libyang cannot complete it; take the default or the augment out";
    }
  }
  return {};
}

}  // namespace nexa::host
