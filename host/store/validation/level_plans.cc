// Plans are made on first use: most of a large schema never has data.
#include "store/validation/level_plans.h"

#include <limits>

namespace nexa::store {

// A minimum of elements makes a node mandatory for libyang.
bool is_counted(const lysc_node* node) {
  return (node->flags & LYS_MAND_TRUE) != 0 || limits_of(node).max != 0;
}

bool comes_by_itself(const lysc_node* node) {
  switch (node->nodetype) {
    case LYS_CONTAINER:
      return (node->flags & LYS_PRESENCE) == 0;
    case LYS_LEAF:
      return reinterpret_cast<const lysc_node_leaf*>(node)->dflt != nullptr;
    case LYS_LEAFLIST:
      return reinterpret_cast<const lysc_node_leaflist*>(node)->dflts != nullptr;
    default:
      return false;
  }
}

ElementLimits limits_of(const lysc_node* node) {
  ElementLimits limits;
  if (node->nodetype == LYS_LIST) {
    const auto* const list = reinterpret_cast<const lysc_node_list*>(node);
    limits = {list->min, list->max};
  } else if (node->nodetype == LYS_LEAFLIST) {
    const auto* const list = reinterpret_cast<const lysc_node_leaflist*>(node);
    limits = {list->min, list->max};
  }
  if (limits.max == std::numeric_limits<std::uint32_t>::max()) limits.max = 0;
  return limits;
}

const LevelPlan& LevelPlans::plan(const lysc_node* parent, const lys_module* module) {
  const void* const key = parent != nullptr ? static_cast<const void*>(parent) : module;
  const auto [found, is_new] = plans_.try_emplace(key);
  LevelPlan& plan = found->second;
  if (!is_new) return plan;
  const lysc_module* const compiled = parent == nullptr ? module->compiled : nullptr;
  const lysc_node* node = nullptr;
  while ((node = lys_getnext(node, parent, compiled, LYS_GETNEXT_WITHCHOICE)) != nullptr) {
    if ((node->flags & LYS_CONFIG_R) != 0) continue;
    if ((node->nodetype & (LYS_RPC | LYS_ACTION | LYS_NOTIF)) != 0) continue;
    const bool is_choice = node->nodetype == LYS_CHOICE;
    if (is_choice) plan.choices.push_back(node);
    if (is_choice || comes_by_itself(node)) plan.implied.push_back(node);
    if (is_choice || is_counted(node)) plan.counted.push_back(node);
  }
  return plan;
}

const std::vector<const lysc_node*>& LevelPlans::members(const lysc_node* branch) {
  const auto [found, is_new] = members_.try_emplace(branch);
  if (is_new) {
    const lysc_node* node = nullptr;
    while ((node = lys_getnext(node, branch, nullptr, 0)) != nullptr) {
      found->second.push_back(node);
    }
  }
  return found->second;
}

}  // namespace nexa::store
