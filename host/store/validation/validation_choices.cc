// Do two cases of a choice have data? As libyang settles it: the case that the change brought wins
// over the one that was there, and what only defaults are left of goes.
#include "store/validation/change_check.h"
#include "store/validation/violation_text.h"

namespace nexa::store {
namespace {

bool has_choice(const lysc_node* branch) {
  const lysc_node* child = lysc_node_child(branch);
  for (; child != nullptr; child = child->next) {
    if (child->nodetype == LYS_CHOICE) return true;
  }
  return false;
}

bool is_inside(const lysc_node* node, const lysc_node* above) {
  while (node != nullptr && node != above) node = node->parent;
  return node != nullptr;
}

}  // namespace

// `schema_parent`: what the choices stand in, which may be a case.
void ChangeCheck::settle_choices(Level& level, const lysc_node* schema_parent) {
  for (const lysc_node* const choice : schema_.plans->plan(schema_parent, level.module).choices) {
    if (stopped()) return;
    if (level.fresh || is_touched(level, choice)) {
      settle_choice(level, reinterpret_cast<const lysc_node_choice*>(choice));
    }
  }
}

// Whether a node of the choice came, went or changed: else the same case stands as before.
bool ChangeCheck::is_touched(const Level& level, const lysc_node* choice) const {
  const auto is_in = [choice](const lysc_node* node) { return is_inside(node, choice); };
  return std::any_of(level.touched.begin(), level.touched.end(), is_in) ||
         std::any_of(level.retry.begin(), level.retry.end(), is_in);
}

bool ChangeCheck::has_arrival(const Level& level, const lysc_node* branch) const {
  if (judges_whole_) return has_new(level, branch);
  if (level.fresh && level.parent != nullptr) return true;
  return std::any_of(level.arrivals.begin(), level.arrivals.end(), [branch](const lyd_node* node) {
    return is_inside(node->schema, branch) && !NodeStates::is_gone(node) && holds_given(node);
  });
}

// The same where a whole tree is read as a change.
bool ChangeCheck::has_new(const Level& level, const lysc_node* branch) const {
  for (const lysc_node* const node : schema_.plans->members(branch)) {
    const lyd_node* entry = find_among(first_of(level), node);
    for (; entry != nullptr && entry->schema == node; entry = entry->next) {
      const NodeState* const state = NodeStates::find(entry);
      const bool has_stood = state != nullptr && (state->has_stood || state->is_implicit);
      if (!has_stood && NodeStates::is_created(entry)) return true;
    }
  }
  return false;
}

// Any node of the case, null when it has none.
const lyd_node* ChangeCheck::data_of(const Level& level, const lysc_node* branch) {
  for (const lysc_node* const node : schema_.plans->members(branch)) {
    const lyd_node* const instance = find_among(first_of(level), node);
    if (instance != nullptr) return instance;
  }
  return nullptr;
}

// Of a list or leaf-list all instances are given or none is.
bool ChangeCheck::holds_explicit(const Level& level, const lysc_node* branch) {
  for (const lysc_node* const node : schema_.plans->members(branch)) {
    const lyd_node* const instance = find_among(first_of(level), node);
    if (instance != nullptr && !is_default(instance)) return true;
  }
  return false;
}

void ChangeCheck::settle_choice(Level& level, const lysc_node_choice* choice) {
  const lysc_node* old_case = nullptr;
  const lysc_node* new_case = nullptr;
  for (const lysc_node_case* branch = choice->cases; branch != nullptr;
       branch = reinterpret_cast<const lysc_node_case*>(branch->next)) {
    const auto* const node = reinterpret_cast<const lysc_node*>(branch);
    if (data_of(level, node) == nullptr) continue;
    // Choices inside of cases: libyang settles them, unless it judged the tree before.
    if (has_choice(node) && !judges_whole_) {
      unknown_ = true;
      return;
    }
    const lysc_node*& slot = has_arrival(level, node) ? new_case : old_case;
    if (slot != nullptr) {
      return fail(both_cases_violation(instance_path(level.parent), slot->name, node->name));
    }
    slot = node;
  }
  if (old_case != nullptr && new_case != nullptr) drop_case(level, old_case);
  const lysc_node* const present = new_case != nullptr ? new_case : old_case;
  if (present == nullptr) return;
  if (reinterpret_cast<const lysc_node*>(choice->dflt) != present &&
      !holds_explicit(level, present)) {
    return drop_case(level, present);
  }
  if (!stopped()) settle_choices(level, present);
}

void ChangeCheck::drop_case(Level& level, const lysc_node* branch) {
  for (const lysc_node* const node : schema_.plans->members(branch)) {
    lyd_node* instance = find_among(first_of(level), node);
    while (instance != nullptr && instance->schema == node) {
      lyd_node* const next = instance->next;
      drop(instance);
      instance = next;
    }
  }
}

// Default entries of a leaf-list beside explicit ones: libyang takes them out.
void ChangeCheck::check_mixed_defaults(Level& level) {
  for (const lysc_node* const node : level.touched) {
    if (node->nodetype != LYS_LEAFLIST) continue;
    if (reinterpret_cast<const lysc_node_leaflist*>(node)->dflts == nullptr) continue;
    const lyd_node* const first = find_among(first_of(level), node);
    for (const lyd_node* entry = first; entry != nullptr && entry->schema == node;
         entry = entry->next) {
      unknown_ |= is_default(entry) != is_default(first);
    }
  }
}

}  // namespace nexa::store
