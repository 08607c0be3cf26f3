// libyang does not hand out its own record of the plugin, but all that is in it.
#include "inner_unions.h"

#include <libyang/plugins_types.h>

#include <cstdint>

namespace kestrel {
namespace {

lyplg_type* leafref_plugin() {
  static lyplg_type plugin = [] {
    lyplg_type made{};
    made.id = "libyang 2 - leafref, version 1";
    made.store = lyplg_type_store_leafref;
    made.validate = lyplg_type_validate_leafref;
    made.compare = lyplg_type_compare_leafref;
    made.print = lyplg_type_print_leafref;
    made.duplicate = lyplg_type_dup_leafref;
    made.free = lyplg_type_free_leafref;
    made.lyb_data_len = -1;
    return made;
  }();
  return &plugin;
}

void complete(const lysc_type* type) {
  if (type->basetype != LY_TYPE_UNION) return;
  const auto* const choice = reinterpret_cast<const lysc_type_union*>(type);
  LY_ARRAY_COUNT_TYPE i = 0;
  LY_ARRAY_FOR(choice->types, i) {
    lysc_type* const member = choice->types[i];
    if (member->plugin == nullptr && member->basetype == LY_TYPE_LEAFREF) {
      member->plugin = leafref_plugin();
    }
  }
}

LY_ERR complete_node(lysc_node* node, void* /*data*/, ly_bool* /*skip*/) {
  if (node->nodetype == LYS_LEAF) complete(reinterpret_cast<lysc_node_leaf*>(node)->type);
  if (node->nodetype == LYS_LEAFLIST) complete(reinterpret_cast<lysc_node_leaflist*>(node)->type);
  return LY_SUCCESS;
}

}  // namespace

void complete_inner_unions(const ly_ctx* context) {
  std::uint32_t at = 0;
  while (const lys_module* const module = ly_ctx_get_module_iter(context, &at)) {
    if (module->implemented != 0 && module->compiled != nullptr) {
      lysc_module_dfs_full(module, complete_node, nullptr);
    }
  }
}

}  // namespace kestrel
