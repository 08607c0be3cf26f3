// The twin is looked for by names alone, so any module that follows the pattern is understood.
#include "store/reading/applied_value.h"

#include <string_view>

namespace nexa::store {
namespace {

constexpr std::string_view kStateName = "state";
constexpr char kConfigName[] = "config";

}  // namespace

bool is_applied_value(const lysc_node* leaf) {
  const lysc_node* const state = lysc_data_parent(leaf);
  if (state == nullptr || state->nodetype != LYS_CONTAINER || kStateName != state->name) {
    return false;
  }
  const lysc_node* const around = lysc_data_parent(state);
  const lysc_node* const config =
      lys_find_child(around, state->module, kConfigName, 0, LYS_CONTAINER, 0);
  return config != nullptr &&
         lys_find_child(config, leaf->module, leaf->name, 0, LYS_LEAF | LYS_LEAFLIST, 0) != nullptr;
}

}  // namespace nexa::store
