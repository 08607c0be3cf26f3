// Is anything missing, or too much? Mandatory nodes, counts and uniques of the levels that a change
// touched.
#include <unordered_map>

#include "store/validation/change_check.h"
#include "store/validation/violation_text.h"

namespace nexa::host {
namespace {

// The instance of a leaf that stands below a list entry; null when it is not there.
const lyd_node* leaf_below(const lyd_node* entry, const lysc_node* leaf) {
  const lyd_node* node = entry;
  for (const lysc_node* const step : way_down(entry->schema, leaf)) {
    node = find_among(lyd_child(node), step);
    if (node == nullptr) return nullptr;
  }
  return node;
}

// The values of one `unique`, each behind its length; empty when one of them is missing.
std::string values_of(const lyd_node* entry, const lysc_node_leaf* const* leafs,
                      const ly_ctx* context) {
  std::string values;
  LY_ARRAY_COUNT_TYPE i = 0;
  LY_ARRAY_FOR(leafs, i) {
    const lyd_node* const node = leaf_below(entry, &leafs[i]->node);
    if (node == nullptr && leafs[i]->dflt == nullptr) return {};
    const std::string_view value =
        node != nullptr ? lyd_get_value(node) : lyd_value_get_canonical(context, leafs[i]->dflt);
    values.append(std::to_string(value.size())).append(" ").append(value);
  }
  return values;
}

std::string names_of(const lysc_node_leaf* const* leafs, const lysc_node* list) {
  std::string names;
  LY_ARRAY_COUNT_TYPE i = 0;
  LY_ARRAY_FOR(leafs, i) {
    if (!names.empty()) names.append(" ");
    std::string path;
    for (const lysc_node* const step : way_down(list, &leafs[i]->node)) {
      if (!path.empty()) path.append("/");
      path.append(step->name);
    }
    names.append(path);
  }
  return names;
}

}  // namespace

void ChangeCheck::judge_structure(Level& level, const lysc_node* schema_parent) {
  const lysc_module* const module = schema_parent == nullptr ? level.module->compiled : nullptr;
  const lysc_node* node = nullptr;
  while (!stopped() &&
         (node = lys_getnext(node, schema_parent, module, LYS_GETNEXT_WITHCHOICE)) != nullptr) {
    if ((node->flags & LYS_CONFIG_R) != 0) continue;
    if (node->nodetype == LYS_LIST) {
      const auto* const list = reinterpret_cast<const lysc_node_list*>(node);
      judge_count(level, node, list->min, list->max);
    } else if (node->nodetype == LYS_LEAFLIST) {
      const auto* const list = reinterpret_cast<const lysc_node_leaflist*>(node);
      judge_count(level, node, list->min, list->max);
    } else if ((node->flags & LYS_MAND_TRUE) != 0) {
      judge_present(level, node);
    }
    if (node->nodetype == LYS_CHOICE) judge_case(level, node);
  }
}

// Of a choice, what the case that has data asks for.
void ChangeCheck::judge_case(Level& level, const lysc_node* choice) {
  for (const lysc_node* branch = lysc_node_child(choice); branch != nullptr;
       branch = branch->next) {
    const lysc_node* node = nullptr;
    while ((node = lys_getnext(node, branch, nullptr, 0)) != nullptr) {
      if (find_among(first_of(level), node) != nullptr) return judge_structure(level, branch);
    }
  }
}

void ChangeCheck::judge_present(Level& level, const lysc_node* node) {
  if (node->nodetype == LYS_CHOICE) {
    const lysc_node* child = nullptr;
    while ((child = lys_getnext(child, node, nullptr, 0)) != nullptr) {
      if (find_among(first_of(level), child) != nullptr) return;
    }
  } else if (find_among(first_of(level), node) != nullptr) {
    return;
  }
  if (is_excused(level, node) || stopped()) return;
  const bool is_choice = node->nodetype == LYS_CHOICE;
  fail(missing_violation(is_choice ? instance_path(level.parent) : path_below(level, node), node));
}

void ChangeCheck::judge_count(Level& level, const lysc_node* node, std::uint32_t min,
                              std::uint32_t max) {
  if (min == 0 && max == 0) return;
  if (!level.fresh && !contains(level.touched, node) && !contains(level.retry, node)) return;
  std::uint32_t count = 0;
  for (const lyd_node* entry = find_among(first_of(level), node);
       entry != nullptr && entry->schema == node; entry = entry->next) {
    ++count;
    if (max != 0 && count > max) return fail(many_violation(entry, max));
    if (max == 0 && count >= min) return;
  }
  if (count >= min || is_excused(level, node) || stopped()) return;
  fail(few_violation(path_below(level, node), node, min));
}

// Whether an absent node's conditions do not hold, so that it is not missed.
bool ChangeCheck::is_excused(Level& level, const lysc_node* node) {
  const lysc_node* owner = node;
  do {
    lysc_when* const* const whens = lysc_node_when(owner);
    LY_ARRAY_COUNT_TYPE i = 0;
    LY_ARRAY_FOR(whens, i) {
      if (!condition_holds(level, owner, *whens[i], node)) return true;
    }
    owner = owner->parent;
  } while (owner != nullptr && (owner->nodetype & (LYS_CHOICE | LYS_CASE)) != 0);
  return false;
}

bool ChangeCheck::condition_holds(Level& level, const lysc_node* owner, const lysc_when& when,
                                  const lysc_node* absent) {
  if (level.parent == nullptr) {
    unknown_ = true;
    return true;
  }
  if (when.context != owner) {
    return holds(level.parent, owner->module, when.cond, when.prefixes);
  }
  lyd_node* stand_in = nullptr;
  if (lyd_new_opaq(level.parent, context_, absent->name, nullptr, nullptr, absent->module->name,
                   &stand_in) != LY_SUCCESS) {
    unknown_ = true;
    return true;
  }
  const bool result = holds(stand_in, owner->module, when.cond, when.prefixes);
  lyd_unlink_tree(stand_in);
  lyd_free_tree(stand_in);
  return result;
}

std::string ChangeCheck::path_below(const Level& level, const lysc_node* node) const {
  std::string path = instance_path(level.parent);
  path.append("/");
  const bool is_same = level.parent != nullptr && level.parent->schema->module == node->module;
  if (!is_same) path.append(node->module->name).append(":");
  return path.append(node->name);
}

void ChangeCheck::judge_uniques() {
  for (const auto& [parent, list] : uniques_) {
    if (stopped()) return;
    if (is_gone(parent)) continue;
    const auto* const schema = reinterpret_cast<const lysc_node*>(list);
    const lyd_node* const siblings = parent != nullptr ? lyd_child(parent) : tree_;
    judge_unique(find_among(siblings, schema), list);
  }
}

void ChangeCheck::judge_unique(const lyd_node* first, const lysc_node_list* list) {
  const auto* const schema = reinterpret_cast<const lysc_node*>(list);
  LY_ARRAY_COUNT_TYPE i = 0;
  LY_ARRAY_FOR(list->uniques, i) {
    std::unordered_set<std::string> seen;
    for (const lyd_node* entry = first; entry != nullptr && entry->schema == schema;
         entry = entry->next) {
      std::string values = values_of(entry, list->uniques[i], context_);
      if (values.empty() || seen.insert(std::move(values)).second) continue;
      return fail(unique_violation(entry, names_of(list->uniques[i], schema)));
    }
  }
}

}  // namespace nexa::host
