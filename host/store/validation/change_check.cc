// The order of a judgement, and what it leaves behind in the tree.
#include "store/validation/change_check.h"

namespace nexa::host {

ChangeCheck::Verdict ChangeCheck::judge(const lyd_node* diff) {
  read(diff, {}, nullptr);
  for (const Constraint* const constraint : index_.always()) {
    each_instance(tree_, nullptr, constraint->node,
                  [&](lyd_node* node) { demand(*constraint, node); });
  }
  return conclude();
}

ChangeCheck::Verdict ChangeCheck::judge_all_whens() {
  is_all_new_ = true;
  for (const Constraint* const constraint : index_.whens()) {
    each_instance(tree_, nullptr, constraint->node,
                  [&](lyd_node* node) { demand(*constraint, node); });
  }
  return conclude();
}

ChangeCheck::Verdict ChangeCheck::conclude() {
  if (!stopped()) judge_whens();
  if (!stopped()) judge_references();
  if (!stopped()) judge_musts();
  for (std::size_t i = 0; i < levels_.size() && !stopped(); ++i) {
    Level& level = levels_[i];
    const lysc_node* const schema =
        level.parent != nullptr && !level.gone ? level.parent->schema : nullptr;
    if (level.gone || (schema != nullptr && !index_.rules(schema).structured)) continue;
    if (schema != nullptr || has_data(level.module)) judge_structure(level, schema);
  }
  if (!stopped()) judge_uniques();
  settle_default_flags();
  if (violation_.has_value() && !unknown_) return Verdict::kInvalid;
  if (unknown_) return Verdict::kUnknown;
  for (const lyd_node* const node : created_) mark(const_cast<lyd_node*>(node), false);
  for (const lyd_node* const node : changed_) mark(const_cast<lyd_node*>(node), false);
  return Verdict::kValid;
}

// libyang looks only at modules that have data.
bool ChangeCheck::has_data(const lys_module* module) const {
  const lyd_node* node = tree_;
  while (node != nullptr && (node->schema == nullptr || node->schema->module != module)) {
    node = node->next;
  }
  return node != nullptr;
}

// Whether the change itself asked for the node or its value, so that it may not go silently.
bool ChangeCheck::is_from_change(const lyd_node* node) const {
  if (changed_.count(node) != 0) return true;
  return created_.count(node) != 0 && implicit_.count(node) == 0;
}

void ChangeCheck::mark(lyd_node* node, bool is_new) {
  if (node->schema == nullptr) return;
  const bool is_judged = !is_new && index_.rules(node->schema).conditional;
  node->flags &= ~static_cast<std::uint32_t>(LYD_NEW | LYD_WHEN_TRUE);
  if (is_new) node->flags |= LYD_NEW;
  if (is_judged) node->flags |= LYD_WHEN_TRUE;
}

void ChangeCheck::mark_nodes() {
  for (lyd_node* top = tree_; top != nullptr; top = top->next) {
    each_node(top, [this](lyd_node* node) {
      mark(node, created_.count(node) != 0 && implicit_.count(node) == 0);
      if (changed_.count(node) != 0) node->flags &= ~static_cast<std::uint32_t>(LYD_WHEN_TRUE);
    });
  }
}

TreePtr ChangeCheck::take_changes() {
  for (const lyd_node* const node : made_) {
    if (is_gone(node)) continue;
    if (!record_.add_created(node)) unknown_ = true;
  }
  made_.clear();
  return record_.take();
}

void ChangeCheck::fail(Violation violation) {
  if (!violation_) violation_ = std::move(violation);
}

}  // namespace nexa::host
