// Tells lost nodes by address, schema node and whether they are defaults: libyang creates nothing
// but defaults while it validates, so that an address used anew is not taken for the old node.
#include "store/validation/assumed_conditions.h"

#include <algorithm>
#include <unordered_map>

#include "store/validation/violation_text.h"

namespace nexa::host {
namespace {

bool is_default(const lyd_node* node) { return (node->flags & LYD_DEFAULT) != 0; }

// What another case of the same change may have driven out: the node or what it stands in. A
// container that holds nothing does not keep its case. Null: nothing.
const lyd_node* in_old_case(const lyd_node* node) {
  for (; node != nullptr; node = lyd_parent(node)) {
    const lysc_node* const parent = node->schema->parent;
    const bool in_case = parent != nullptr && parent->nodetype == LYS_CASE;
    if (in_case && ((node->flags & LYD_NEW) == 0 || is_default(node))) return node;
  }
  return nullptr;
}

using Standing = std::unordered_map<const lyd_node*, AssumedConditions::Seen>;

AssumedConditions::Seen seen(const lyd_node* node) {
  if (node == nullptr) return {};
  return {node, node->schema, is_default(node)};
}

void collect(const lyd_node* tree, Standing& standing) {
  for (; tree != nullptr; tree = tree->next) {
    if (tree->schema == nullptr) continue;
    standing.emplace(tree, seen(tree));
    collect(lyd_child(tree), standing);
  }
}

// A container that held nothing may hold something now.
bool stands(const Standing& standing, const AssumedConditions::Seen& wanted) {
  const auto found = standing.find(wanted.node);
  if (found == standing.end() || found->second.schema != wanted.schema) return false;
  return wanted.is_default || !found->second.is_default;
}

}  // namespace

AssumedConditions::AssumedConditions(const ConstraintIndex& index, lyd_node* tree) : index_(index) {
  mark(tree);
}

void AssumedConditions::mark(lyd_node* tree) {
  for (; tree != nullptr; tree = tree->next) {
    if (tree->schema == nullptr) continue;
    const NodeRules& rules = index_.rules(tree->schema);
    if (rules.conditional && (tree->flags & LYD_WHEN_TRUE) == 0) {
      tree->flags |= LYD_WHEN_TRUE;
      note(tree, rules);
    }
    mark(lyd_child(tree));
  }
}

void AssumedConditions::note(const lyd_node* node, const NodeRules& rules) {
  const auto when = std::find_if(rules.own.begin(), rules.own.end(), [](const Constraint* own) {
    return own->kind == Constraint::Kind::kWhen;
  });
  const lyd_node* const old = in_old_case(node);
  if (when == rules.own.end() || old == node) return;
  given_.push_back({seen(node), seen(old), when_violation(node, *(*when)->when)});
}

std::optional<Violation> AssumedConditions::first_lost(const lyd_node* tree) const {
  if (given_.empty()) return std::nullopt;
  Standing standing;
  collect(tree, standing);
  for (const Given& given : given_) {
    if (stands(standing, given.node)) continue;
    if (given.old.node == nullptr || stands(standing, given.old)) return given.violation;
  }
  return std::nullopt;
}

}  // namespace nexa::host
