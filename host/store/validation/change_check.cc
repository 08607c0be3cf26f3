// The order of a judgement, and what it leaves behind in the tree.
#include "store/validation/change_check.h"

namespace nexa::store {

ChangeCheck::Verdict ChangeCheck::judge(std::size_t most_nodes) {
  most_nodes_ = most_nodes;
  unknown_ = index_.whole_everywhere();
  read();
  leave_modules();
  return conclude();
}

ChangeCheck::Verdict ChangeCheck::judge_chains(const std::vector<lyd_node*>& given) {
  judges_whole_ = true;
  for (lyd_node* const node : given) states_.of(node).is_changed = true;
  for (const Constraint* const constraint : index_.whens()) {
    if (constraint->rank < 2) continue;
    whens_[constraint->rank].fired.insert({constraint, nullptr});
  }
  return conclude();
}

ChangeCheck::Verdict ChangeCheck::judge_everything() {
  judges_whole_ = true;
  for (lyd_node* top = tree_; top != nullptr; top = top->next) changes_.emplace_back().node = top;
  read();
  reached_whole_ = false;
  return conclude();
}

ChangeCheck::Verdict ChangeCheck::conclude() {
  if (!stopped()) judge_whens();
  for (const auto& [module, level] : top_levels_) unknown_ |= !judges_whole_ && is_left(module);
  if (!stopped() && judges_whole_ && reached_whole_) demand_whole();
  if (!stopped()) judge_references();
  if (!stopped()) judge_musts();
  if (!stopped()) judge_levels();
  if (!stopped()) judge_uniques();
  if (!stopped()) settle_default_flags();
  if (unknown_) return Verdict::kUnknown;
  return violation_.has_value() ? Verdict::kInvalid : Verdict::kValid;
}

// Without configured data of its own, a module keeps its defaults only when they stand alone.
void ChangeCheck::leave_modules() {
  std::vector<lyd_node*> nodes;
  for (const auto& [module, level] : top_levels_) {
    if (stopped() || !is_left(module)) continue;
    for (lyd_node* node = tree_; node != nullptr; node = node->next) {
      if (node->schema != nullptr && owner_module(node->schema) == module) nodes.push_back(node);
    }
  }
  for (lyd_node* const node : nodes) drop(node);
}

// Whether only defaults are left of a module that do not stand alone.
bool ChangeCheck::is_left(const lys_module* module) const {
  if (schema_.has_standing_defaults(module)) return false;
  bool has_any = false;
  for (const lyd_node* node = tree_; node != nullptr; node = node->next) {
    if (node->schema == nullptr || owner_module(node->schema) != module) continue;
    if (holds_given(node)) return false;
    has_any = true;
  }
  return has_any;
}

// libyang looks only at modules that have data.
bool ChangeCheck::has_data(const lys_module* module) const {
  const lyd_node* node = tree_;
  while (node != nullptr && (node->schema == nullptr || owner_module(node->schema) != module)) {
    node = node->next;
  }
  return node != nullptr;
}

void ChangeCheck::fail(Violation violation) {
  if (!violation_) violation_ = std::move(violation);
}

}  // namespace nexa::store
