// One walk over the compiled schema. Leaves are a pair when they have name, module and kind in
// common, and types whose values are written alike, so that a value is shown as it stands.
#include "model/state_mirror.h"

#include <libyang/libyang.h>

#include <cstring>

#include "kestrel/loader.h"

namespace nexa::model {
namespace {

constexpr std::uint16_t kInner = LYS_CONTAINER | LYS_LIST;
constexpr std::uint16_t kLeaves = LYS_LEAF | LYS_LEAFLIST;

// Of the values: a leafref's are those of its target.
LY_DATA_TYPE value_type(const lysc_node* leaf) {
  const lysc_type* type = leaf->nodetype == LYS_LEAF
                              ? reinterpret_cast<const lysc_node_leaf*>(leaf)->type
                              : reinterpret_cast<const lysc_node_leaflist*>(leaf)->type;
  if (type->basetype == LY_TYPE_LEAFREF) {
    type = reinterpret_cast<const lysc_type_leafref*>(type)->realtype;
  }
  return type->basetype;
}

bool is_same_name(const lysc_node* left, const lysc_node* right) {
  return left->module == right->module && std::strcmp(left->name, right->name) == 0;
}

bool is_pair(const lysc_node* config, const lysc_node* state) {
  return config->nodetype == state->nodetype && is_same_name(config, state) &&
         value_type(config) == value_type(state);
}

// The child of these kinds that `fits`, choices looked through; or null.
template <typename Fits>
const lysc_node* find_child(const lysc_node* parent, Fits&& fits) {
  const lysc_node* child = nullptr;
  while ((child = lys_getnext(child, parent, nullptr, 0)) != nullptr) {
    if (fits(child)) return child;
  }
  return nullptr;
}

bool is_container(const lysc_node* node, const char* name, std::uint16_t config) {
  return node->nodetype == LYS_CONTAINER && (node->flags & config) != 0 &&
         std::strcmp(node->name, name) == 0;
}

}  // namespace

StateMirror::StateMirror() {
  if (kestrel::context() == nullptr) return;
  std::uint32_t at = 0;
  while (const lys_module* const module = ly_ctx_get_module_iter(kestrel::context(), &at)) {
    if (module->implemented == 0 || module->compiled == nullptr) continue;
    add_below(nullptr, module->compiled);
  }
}

// The depth of the recursion is that of the schema. Below operational data there is no
// configuration to show.
void StateMirror::add_below(const lysc_node* parent, const lysc_module* module) {
  std::vector<const lysc_node*> configs;
  std::vector<const lysc_node*> states;
  const lysc_node* child = nullptr;
  while ((child = lys_getnext(child, parent, module, 0)) != nullptr) {
    if (is_container(child, "config", LYS_CONFIG_W)) configs.push_back(child);
    if (is_container(child, "state", LYS_CONFIG_R)) states.push_back(child);
    const bool is_config = (child->flags & LYS_CONFIG_W) != 0;
    if (is_config && (child->nodetype & kInner) != 0) add_below(child, nullptr);
  }
  if (configs.empty() || states.empty()) return;
  std::vector<MirroredContainer> pairs;
  for (const lysc_node* const state : states) {
    for (const lysc_node* const config : configs) {
      if (config->module == state->module) add_pair(config, state, pairs);
    }
  }
  if (pairs.empty()) return;
  std::vector<MirroredContainer>& known = by_parent_[parent];
  known.insert(known.end(), pairs.begin(), pairs.end());
}

void StateMirror::add_pair(const lysc_node* config, const lysc_node* state,
                           std::vector<MirroredContainer>& pairs) {
  MirroredContainer pair{config, state, {}};
  const lysc_node* leaf = nullptr;
  while ((leaf = lys_getnext(leaf, state, nullptr, 0)) != nullptr) {
    if ((leaf->nodetype & kLeaves) == 0) continue;
    const lysc_node* const shown = find_child(config, [&](const lysc_node* other) {
      return (other->nodetype & kLeaves) != 0 && is_pair(other, leaf);
    });
    if (shown == nullptr) continue;
    pair.leaves.push_back({shown, leaf});
    state_leaves_.emplace(shown, leaf);
    showing_.insert(leaf);
  }
  if (!pair.leaves.empty()) pairs.push_back(std::move(pair));
}

std::span<const MirroredContainer> StateMirror::below(const lysc_node* parent) const {
  const auto found = by_parent_.find(parent);
  return found != by_parent_.end() ? std::span<const MirroredContainer>(found->second)
                                   : std::span<const MirroredContainer>();
}

const lysc_node* StateMirror::state_of(const lysc_node* config_leaf) const {
  const auto found = state_leaves_.find(config_leaf);
  return found != state_leaves_.end() ? found->second : nullptr;
}

}  // namespace nexa::model
