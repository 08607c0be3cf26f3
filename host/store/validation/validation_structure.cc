// Is anything missing, or too much? Mandatory nodes, counts and uniques of the levels that a change
// touched. One entry whose unique leafs changed is compared with all entries of its list; a change
// of many entries does that once.
#include <unordered_set>

#include "store/validation/change_check.h"
#include "store/validation/violation_text.h"

namespace nexa::store {
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

void ChangeCheck::judge_levels() {
  for (std::size_t i = 0; i < levels_.size() && !stopped(); ++i) {
    Level& level = levels_[i];
    if (is_gone(level)) continue;
    if (level.parent == nullptr && !has_data(level.module)) continue;
    judge_structure(level, level.parent != nullptr ? level.parent->schema : nullptr, level.fresh);
  }
}

// `all`: nothing of it was judged before, else only counts of nodes that came or went.
void ChangeCheck::judge_structure(Level& level, const lysc_node* schema_parent, bool all) {
  for (const lysc_node* const node : schema_.plans->plan(schema_parent, level.module).counted) {
    if (stopped()) return;
    if ((node->nodetype & (LYS_LIST | LYS_LEAFLIST)) != 0) {
      if (all || contains(level.touched, node) || contains(level.retry, node)) {
        judge_count(level, node);
      }
    } else if ((node->flags & LYS_MAND_TRUE) != 0) {
      judge_present(level, node);
    }
    if (node->nodetype == LYS_CHOICE) judge_case(level, node, all || is_touched(level, node));
  }
}

// Of a choice, what the case that has data asks for. All of it, when the change may have made the
// case the one that has data.
void ChangeCheck::judge_case(Level& level, const lysc_node* choice, bool all) {
  for (const lysc_node* branch = lysc_node_child(choice); branch != nullptr;
       branch = branch->next) {
    if (data_of(level, branch) != nullptr) return judge_structure(level, branch, all);
  }
}

void ChangeCheck::judge_present(Level& level, const lysc_node* node) {
  const bool is_choice = node->nodetype == LYS_CHOICE;
  const lyd_node* const present =
      is_choice ? data_of(level, node) : find_among(first_of(level), node);
  if (present != nullptr || is_excused(level, node) || stopped()) return;
  fail(missing_violation(is_choice ? instance_path(level.parent) : path_below(level, node), node));
}

void ChangeCheck::judge_count(Level& level, const lysc_node* node) {
  const auto [min, max] = limits_of(node);
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
    if (parent != nullptr && NodeStates::is_gone(parent)) continue;
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
      std::string values = values_of(entry, list->uniques[i], schema_.context);
      if (values.empty() || seen.insert(std::move(values)).second) continue;
      return fail(unique_violation(entry, names_of(list->uniques[i], schema)));
    }
  }
}

}  // namespace nexa::store
