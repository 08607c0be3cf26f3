// Walks down from each conditional node as far as nodes come by themselves.
#include "store/validation/unsure_conditions.h"

#include <algorithm>

#include "store/validation/level_plans.h"
#include "store/validation/tree_walk.h"

namespace nexa::store {
namespace {

// Whether libyang may judge one of them before it looks at the condition: it takes one module after
// the other.
bool any_of_other_module(const std::vector<const Constraint*>& constraints,
                         const Constraint& when) {
  const lys_module* const module = owner_module(when.node);
  return std::any_of(
      constraints.begin(), constraints.end(),
      [module](const Constraint* constraint) { return owner_module(constraint->node) != module; });
}

}  // namespace

UnsureConditions::UnsureConditions(const ConstraintIndex& index) {
  may_wait_ = index.has_when_chains();
  for (const Constraint* const when : index.whens()) {
    add_watchers(index, when->node, when->node);
    const std::vector<const Constraint*>& watchers = index.rules(when->node).watchers;
    may_wait_ |= any_of_other_module(watchers, *when) || any_of_other_module(index.whole(), *when);
    may_wait_ |=
        !when->whole.empty() || std::find(watchers.begin(), watchers.end(), when) != watchers.end();
  }
}

void UnsureConditions::add_watchers(const ConstraintIndex& index, const lysc_node* top,
                                    const lysc_node* node) {
  if (!comes_by_itself(node)) return;
  const NodeRules& rules = index.rules(node);
  for (const std::vector<const Constraint*>* const watchers : {&rules.watchers, &rules.whole}) {
    for (const Constraint* const watcher : *watchers) {
      const bool is_when = watcher->kind == Constraint::Kind::kWhen;
      if (is_when && !stands_below(watcher->node, top)) unsure_.insert(watcher);
    }
  }
  if (node->nodetype != LYS_CONTAINER) return;
  const lysc_node* child = nullptr;
  while ((child = lys_getnext(child, node, nullptr, 0)) != nullptr) {
    add_watchers(index, top, child);
  }
}

}  // namespace nexa::store
