// Do two cases of a choice have data? As libyang settles it: the case that the change brought wins
// over the one that was there, and what only defaults are left of goes.
#include "store/validation/change_check.h"
#include "store/validation/violation_text.h"

namespace nexa::host {
namespace {

bool has_choice(const lysc_node* branch) {
  const lysc_node* child = lysc_node_child(branch);
  for (; child != nullptr; child = child->next) {
    if (child->nodetype == LYS_CHOICE) return true;
  }
  return false;
}

// Whether default entries of a leaf-list stand among explicit ones.
bool has_defaults_beside(const lyd_node* node) {
  const auto* const list = reinterpret_cast<const lysc_node_leaflist*>(node->schema);
  if (list->dflts == nullptr) return false;
  const lyd_node* entry = find_among(node, node->schema);
  for (; entry != nullptr && entry->schema == node->schema; entry = entry->next) {
    if ((entry->flags & LYD_DEFAULT) != (node->flags & LYD_DEFAULT)) return true;
  }
  return false;
}

}  // namespace

void ChangeCheck::settle_choices(Level& level) {
  const lysc_node* const schema = level.parent != nullptr ? level.parent->schema : nullptr;
  if (schema != nullptr && !index_.rules(schema).structured) return;
  const lysc_module* const module = schema == nullptr ? level.module->compiled : nullptr;
  const lysc_node* node = nullptr;
  while (!stopped() &&
         (node = lys_getnext(node, schema, module, LYS_GETNEXT_WITHCHOICE)) != nullptr) {
    if (node->nodetype != LYS_CHOICE || (node->flags & LYS_CONFIG_R) != 0) continue;
    settle_choice(level, reinterpret_cast<const lysc_node_choice*>(node));
  }
}

CaseData ChangeCheck::data_of(const Level& level, const lysc_node* branch) const {
  CaseData data;
  const lysc_node* node = nullptr;
  while ((node = lys_getnext(node, branch, nullptr, 0)) != nullptr) {
    const lyd_node* instance = find_among(first_of(level), node);
    for (; instance != nullptr && instance->schema == node; instance = instance->next) {
      data.any = true;
      data.any_new |= created_.count(instance) != 0;
      data.any_explicit |= (instance->flags & LYD_DEFAULT) == 0;
    }
  }
  return data;
}

void ChangeCheck::settle_choice(Level& level, const lysc_node_choice* choice) {
  const lysc_node* old_case = nullptr;
  const lysc_node* new_case = nullptr;
  for (const lysc_node_case* branch = choice->cases; branch != nullptr;
       branch = reinterpret_cast<const lysc_node_case*>(branch->next)) {
    const auto* const node = reinterpret_cast<const lysc_node*>(branch);
    const CaseData data = data_of(level, node);
    if (!data.any) continue;
    // Choices inside of cases: libyang settles them.
    if (has_choice(node)) {
      unknown_ = true;
      return;
    }
    const lysc_node*& slot = data.any_new ? new_case : old_case;
    if (slot != nullptr) {
      return fail(both_cases_violation(instance_path(level.parent), slot->name, node->name));
    }
    slot = node;
  }
  if (old_case != nullptr && new_case != nullptr) drop_case(level, old_case);
  const lysc_node* const present = new_case != nullptr ? new_case : old_case;
  if (present == nullptr || reinterpret_cast<const lysc_node*>(choice->dflt) == present) return;
  if (!data_of(level, present).any_explicit) drop_case(level, present);
}

void ChangeCheck::drop_case(Level& level, const lysc_node* branch) {
  const lysc_node* node = nullptr;
  while ((node = lys_getnext(node, branch, nullptr, 0)) != nullptr) {
    lyd_node* instance = find_among(first_of(level), node);
    while (instance != nullptr && instance->schema == node) {
      lyd_node* const next = instance->next;
      drop(instance);
      instance = next;
    }
  }
}

// Two instances where there may be one. A default that stands beside what replaced it is left to
// libyang, which takes it out.
void ChangeCheck::check_duplicates(Level& level) {
  if (level.parent != nullptr && level.fresh) {
    for (const lyd_node* node = first_of(level); node != nullptr; node = node->next) {
      if (!is_single(node)) return;
    }
    return;
  }
  for (const lyd_node* const node : level.arrivals) {
    if (!is_gone(node) && !is_single(node)) return;
  }
}

bool ChangeCheck::is_single(const lyd_node* node) {
  const lysc_node* const schema = node->schema;
  const bool is_many = (schema->nodetype & (LYS_LIST | LYS_LEAFLIST)) != 0;
  const lyd_node* const before = node->prev->next != nullptr ? node->prev : nullptr;
  const bool beside = (node->next != nullptr && node->next->schema == schema) ||
                      (before != nullptr && before->schema == schema);
  if (!beside) return true;
  if (!is_many) {
    unknown_ = true;
    return false;
  }
  if (schema->nodetype == LYS_LEAFLIST && has_defaults_beside(node)) {
    unknown_ = true;
    return false;
  }
  ly_set* found = nullptr;
  lyd_find_sibling_dup_inst_set(node, node, &found);
  const SetPtr same(found);
  if (same == nullptr || same->count < 2) return true;
  unknown_ = true;
  return false;
}

}  // namespace nexa::host
