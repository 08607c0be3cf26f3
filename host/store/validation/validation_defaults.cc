// Which implicit nodes come with a change? Completes the levels that it touched the way libyang
// completes every level: first choices, then defaults.
#include "store/validation/change_check.h"

#include "store/child_table.h"
#include "store/node_tools.h"

namespace nexa::store {

// The highest levels first: what settles there may take lower ones with it.
bool ChangeCheck::settle_dirty() {
  while (!stopped() && !dirty_.empty()) {
    Level& level = levels_[dirty_.top().second];
    dirty_.pop();
    if (!is_gone(level)) settle(level);
    level.dirty = false;
  }
  return !stopped();
}

void ChangeCheck::settle(Level& level) {
  if (level.parent == nullptr) {
    if (!has_data(level.module) && !schema_.has_standing_defaults(level.module)) return;
  }
  check_mixed_defaults(level);
  if (stopped()) return;
  const lysc_node* const schema = level.parent != nullptr ? level.parent->schema : nullptr;
  settle_choices(level, schema);
  if (stopped()) return;
  add_defaults(level, schema, false);
}

void ChangeCheck::add_defaults(Level& level, const lysc_node* schema_parent, bool in_choice) {
  for (const lysc_node* const node : schema_.plans->plan(schema_parent, level.module).implied) {
    if (stopped()) return;
    if (node->nodetype == LYS_CHOICE) {
      if (level.fresh || in_choice || is_touched(level, node)) add_choice_default(level, node);
      continue;
    }
    // An absent node was settled before, unless the change gives a reason to ask again.
    if (level.fresh || in_choice || contains(level.touched, node) || contains(level.retry, node)) {
      add_default(level, node);
    }
  }
}

void ChangeCheck::add_choice_default(Level& level, const lysc_node* choice) {
  const lyd_node* const present = data_of(level, choice);
  // As libyang does it: the innermost case of what is there, and none of the cases around that.
  if (present != nullptr) return add_defaults(level, present->schema->parent, true);
  const lysc_node_case* const usual = reinterpret_cast<const lysc_node_choice*>(choice)->dflt;
  if (usual != nullptr) add_defaults(level, reinterpret_cast<const lysc_node*>(usual), true);
}

void ChangeCheck::add_default(Level& level, const lysc_node* node) {
  if (find_among(first_of(level), node) != nullptr || contains(level.refused, node)) return;
  int rank = 0;
  if (index_.rules(node).conditional && can_wait(node, rank)) {
    whens_[rank].absent.emplace_back(node, &level);
    return;
  }
  make_default(level, node);
}

void ChangeCheck::make_default(Level& level, const lysc_node* node) {
  if (node->nodetype == LYS_CONTAINER) {
    make(level.parent, node, nullptr);
  } else if (node->nodetype == LYS_LEAF) {
    make(level.parent, node, reinterpret_cast<const lysc_node_leaf*>(node)->dflt);
  } else {
    lyd_value** const values = reinterpret_cast<const lysc_node_leaflist*>(node)->dflts;
    LY_ARRAY_COUNT_TYPE i = 0;
    LY_ARRAY_FOR(values, i) { make(level.parent, node, values[i]); }
  }
}

lyd_node* ChangeCheck::make(lyd_node* parent, const lysc_node* schema, const lyd_value* value) {
  const NodeRules& rules = index_.rules(schema);
  rules.seen = true;
  if (!enter(schema)) return nullptr;
  // libyang takes what it links for explicit, and its parents with it.
  std::vector<lyd_node*> defaults;
  for (lyd_node* above = parent; above != nullptr && is_default(above); above = lyd_parent(above)) {
    defaults.push_back(above);
  }
  lyd_node* node = nullptr;
  make_room(parent);
  const LY_ERR status =
      value == nullptr ? lyd_new_inner(parent, schema->module, schema->name, 0, &node)
                       : new_canonical_term(parent, schema,
                                            lyd_value_get_canonical(schema_.context, value), &node);
  if (status != LY_SUCCESS ||
      (parent == nullptr && lyd_insert_sibling(tree_, node, &tree_) != LY_SUCCESS)) {
    unknown_ = true;
    return nullptr;
  }
  for (lyd_node* const above : defaults) above->flags |= LYD_DEFAULT;
  node->flags = LYD_DEFAULT;
  if (rules.conditional) node->flags |= LYD_WHEN_TRUE;
  NodeState& state = states_.of(node);
  state.is_created = true;
  state.is_implicit = true;
  // What came below a default came with it.
  if (parent == nullptr || !NodeStates::is_implicit(parent)) {
    TreeChange& change = changes_.emplace_back();
    change.node = node;
    change.parent = parent;
    change.is_implicit = true;
  }

  touch(parent, schema);
  demand_own(node);
  fire(schema, node, Event::kCreated, nullptr);
  if (value != nullptr) return node;
  Level& level = level_of(node, nullptr);
  level.fresh = true;
  add_defaults(level, schema, false);
  return node;
}

// Takes a node out of the tree that validation does not leave there.
void ChangeCheck::drop(lyd_node* node) {
  if (stopped()) return;
  lyd_node* const parent = lyd_parent(node);
  std::vector<std::pair<lyd_node*, std::uint32_t>> containers;
  for (lyd_node* above = parent;
       above != nullptr && !is_default(above) && lysc_is_np_cont(above->schema);
       above = lyd_parent(above)) {
    containers.emplace_back(above, above->flags);
  }
  TreeChange change;
  change.kind = TreeChange::Kind::kDeleted;
  change.node = node;
  change.parent = parent;
  change.is_implicit = true;
  const lyd_node* const next = node->next;
  if (lysc_is_userordered(node->schema) && next != nullptr && next->schema == node->schema) {
    change.old_next = node->next;
  }
  NodeState& state = states_.of(node);
  state.is_gone = true;
  state.above = parent;
  const bool is_own = state.is_implicit;
  const bool is_recorded = !is_own || parent == nullptr || !NodeStates::is_implicit(parent);
  if (node == tree_) tree_ = node->next;
  lyd_unlink_tree(node);
  if (is_recorded) {
    change.subtree.reset(node);
    changes_.push_back(std::move(change));
  } else {
    dropped_.emplace_back(node);
  }
  for (const auto& [container, flags] : containers) {
    if (!is_default(container)) break;
    TreeChange& flag = changes_.emplace_back();
    flag.kind = TreeChange::Kind::kFlag;
    flag.node = container;
    flag.parent = lyd_parent(container);
    flag.old_flags = flags;
    flag.is_implicit = true;
  }
  Level& level = touch(parent, node->schema);
  if (!is_own && in_case(node->schema)) make_dirty(level);
  note_emptied(parent);
  fire_deleted(node, parent);
}

// A container without presence is a default while all that it holds is.
void ChangeCheck::settle_default_flags() {
  const auto is_explicit = [](const lyd_node* node) { return !is_default(node); };
  for (const Level& level : levels_) {
    if (is_gone(level)) continue;
    for (lyd_node* node = level.parent; node != nullptr; node = lyd_parent(node)) {
      if (!lysc_is_np_cont(node->schema)) break;
      const lyd_node* child = lyd_child(node);
      while (child != nullptr && !is_explicit(child)) child = child->next;
      if (child != nullptr) break;
      set_default(node);
    }
  }
}

void ChangeCheck::set_default(lyd_node* container) {
  if (is_default(container)) return;
  TreeChange& change = changes_.emplace_back();
  change.kind = TreeChange::Kind::kFlag;
  change.node = container;
  change.parent = lyd_parent(container);
  change.old_flags = container->flags;
  change.is_implicit = true;
  container->flags |= LYD_DEFAULT;
}

}  // namespace nexa::store
