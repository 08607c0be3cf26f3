// Do the references and musts hold that a change touches? They see the final tree.
#include <cstring>

#include "store/image/union_value.h"
#include "store/node_tools.h"
#include "store/validation/change_check.h"
#include "store/validation/violation_text.h"

namespace nexa::store {
namespace {

// Whether `list` is found by `leaf` alone.
bool is_only_key(const lysc_node* list, const lysc_node* leaf) {
  if (list->nodetype != LYS_LIST || !lysc_is_key(leaf)) return false;
  return lysc_node_child(list) == leaf && (leaf->next == nullptr || !lysc_is_key(leaf->next));
}

// Whether an entry among `siblings` has this only key. libyang makes an entry to look for where its
// list may stand, so below a copy of the parent.
bool has_entry(const lyd_node* siblings, const lysc_node* list, const char* key) {
  if (siblings == nullptr) return false;
  const lyd_node* const parent = lyd_parent(siblings);
  lyd_node* above = nullptr;
  if (parent != nullptr && lyd_dup_single(parent, nullptr, 0, &above) != LY_SUCCESS) return false;
  const TreePtr owner(above);
  lyd_node* made = nullptr;
  if (new_list_entry(above, list, {&key, 1}, &made) != LY_SUCCESS) return false;
  const TreePtr probe(above == nullptr ? made : nullptr);
  lyd_node* found = nullptr;
  return lyd_find_sibling_first(siblings, made, &found) == LY_SUCCESS;
}

// Whether some node on the way down has the value; `at` is where the way goes on.
bool leads_to(const lyd_node* siblings, const std::vector<const lysc_node*>& way, std::size_t at,
              const char* value) {
  const lysc_node* const schema = way[at];
  const bool is_last = at + 1 == way.size();
  lyd_node* node = nullptr;
  if (is_last && schema->nodetype == LYS_LEAFLIST) {
    return siblings != nullptr &&
           lyd_find_sibling_val(siblings, schema, value, std::strlen(value), &node) == LY_SUCCESS;
  }
  if (at + 2 == way.size() && is_only_key(schema, way[at + 1])) {
    return has_entry(siblings, schema, value);
  }
  for (node = find_among(siblings, schema); node != nullptr && node->schema == schema;
       node = node->next) {
    if (is_last ? std::strcmp(lyd_get_value(node), value) == 0
                : leads_to(lyd_child(node), way, at + 1, value)) {
      return true;
    }
  }
  return false;
}

}  // namespace

void ChangeCheck::judge_references() {
  for (const auto& [bound, values] : lost_) {
    const Constraint& constraint = *bound.first;
    if (!may_exist(constraint.node) ||
        (bound.second != nullptr && NodeStates::is_gone(bound.second)))
      continue;
    each_instance(tree_, bound.second, constraint.node, [&, &lost = values](lyd_node* node) {
      if (lost.count(lyd_get_value(node)) != 0) demand(constraint, node);
    });
  }
  if (any_gone_) {
    for (const Constraint* const constraint : index_.by_value()) {
      if (!may_exist(constraint->node)) continue;
      each_instance(tree_, nullptr, constraint->node,
                    [&](lyd_node* node) { demand(*constraint, node); });
    }
  }
  for (std::size_t i = references_.size(); i-- > 0 && !stopped();) {
    if (NodeStates::is_gone(references_[i].second)) continue;
    judge_reference(*references_[i].first, references_[i].second);
  }
}

void ChangeCheck::judge_reference(const Constraint& constraint, lyd_node* node) {
  const lysc_type* const type = type_of(node->schema);
  // libyang reads the text of the value as another one here.
  if (has_chosen_member(node)) {
    unknown_ = true;
    return;
  }
  if (type->basetype == LY_TYPE_UNION) return judge_union(constraint, node);
  if (target_exists({constraint.reach, constraint.target}, node)) return;
  const char* const value = lyd_get_value(node);
  const LY_ERR status = lyd_value_validate(schema_.context, node->schema, value, std::strlen(value),
                                           node, nullptr, nullptr);
  if (status == LY_SUCCESS) return;
  if (type->basetype == LY_TYPE_INST) return fail(instance_violation(node));
  const auto* const leafref = reinterpret_cast<const lysc_type_leafref*>(type);
  fail(leafref_violation(node, lyxp_get_expr(leafref->path)));
}

// libyang leaks when it judges the value of a union by itself, so that is left to its walk over the
// tree unless the value needs no instance, or finds one by a plain path.
void ChangeCheck::judge_union(const Constraint& constraint, const lyd_node* node) {
  const lyd_value& value = reinterpret_cast<const lyd_node_term*>(node)->value;
  const auto* const type = reinterpret_cast<const lysc_type_union*>(type_of(node->schema));
  LY_ARRAY_COUNT_TYPE i = 0;
  LY_ARRAY_FOR(type->types, i) {
    if (needs_instance(type->types[i]) || value.subvalue == nullptr) continue;
    if (value.subvalue->value.realtype == type->types[i]) return;
  }
  for (const PlainPath& member : constraint.members) {
    if (target_exists(member, node)) return;
  }
  unknown_ = true;
}

bool ChangeCheck::target_exists(const PlainPath& path, const lyd_node* node) const {
  if (path.target == nullptr) return false;
  const lyd_node* siblings = tree_;
  if (path.top != nullptr) {
    const lyd_node* const top = NodeStates::climb(const_cast<lyd_node*>(node), path.top);
    if (top == nullptr) return false;
    siblings = lyd_child(top);
  }
  const std::vector<const lysc_node*> way = way_down(path.top, path.target);
  return !way.empty() && leads_to(siblings, way, 0, lyd_get_value(node));
}

void ChangeCheck::judge_musts() {
  for (const auto& [constraint, node] : musts_) {
    if (stopped()) return;
    if (NodeStates::is_gone(node)) continue;
    const lysc_must& must = *constraint->must;
    if (!holds(node, node->schema->module, must.cond, must.prefixes) && !stopped()) {
      return fail(must_violation(node, must));
    }
  }
}

}  // namespace nexa::store
