// Which implicit nodes come with a change? Completes the levels that it touched the way libyang
// completes every level: first choices, then defaults; conditions are judged afterwards.
#include "store/validation/change_check.h"

namespace nexa::host {

// The first levels first: what settles there may matter to later ones. A level that makes itself
// dirty waits for another's turn. False when validation has to stop.
bool ChangeCheck::settle_dirty() {
  std::optional<std::size_t> last;
  while (!stopped()) {
    auto next = dirty_.begin();
    if (next != dirty_.end() && last == *next) ++next;
    if (next == dirty_.end()) break;
    last = *next;
    dirty_.erase(next);
    if (Level& level = levels_[*last]; !level.gone) settle(level);
  }
  return !stopped();
}

void ChangeCheck::settle(Level& level) {
  if (level.parent == nullptr && !has_data(level.module)) return;
  check_duplicates(level);
  if (stopped()) return;
  settle_choices(level);
  if (stopped()) return;
  add_defaults(level, level.parent != nullptr ? level.parent->schema : nullptr, false);
}

void ChangeCheck::add_defaults(Level& level, const lysc_node* schema_parent, bool in_choice) {
  const lysc_module* const module = level.module != nullptr ? level.module->compiled : nullptr;
  const lysc_node* node = nullptr;
  while ((node = lys_getnext(node, schema_parent, schema_parent == nullptr ? module : nullptr,
                             LYS_GETNEXT_WITHCHOICE)) != nullptr) {
    if ((node->flags & LYS_CONFIG_R) != 0) continue;
    if (node->nodetype == LYS_CHOICE) {
      add_choice_default(level, node);
      continue;
    }
    // An absent node was settled before, unless the change gives a reason to ask again.
    if (level.fresh || in_choice || contains(level.touched, node) || contains(level.retry, node)) {
      add_default(level, node);
    }
  }
}

void ChangeCheck::add_choice_default(Level& level, const lysc_node* choice) {
  const lyd_node* present = nullptr;
  const lysc_node* node = nullptr;
  while (present == nullptr && (node = lys_getnext(node, choice, nullptr, 0)) != nullptr) {
    present = find_among(first_of(level), node);
  }
  if (present != nullptr) return add_defaults(level, present->schema->parent, true);
  const lysc_node_case* const usual = reinterpret_cast<const lysc_node_choice*>(choice)->dflt;
  if (usual != nullptr) add_defaults(level, reinterpret_cast<const lysc_node*>(usual), true);
}

void ChangeCheck::add_default(Level& level, const lysc_node* node) {
  const bool is_container = node->nodetype == LYS_CONTAINER;
  if (is_container && (node->flags & LYS_PRESENCE) != 0) return;
  const lyd_value* value = nullptr;
  lyd_value** values = nullptr;
  if (node->nodetype == LYS_LEAF) {
    value = reinterpret_cast<const lysc_node_leaf*>(node)->dflt;
  } else if (node->nodetype == LYS_LEAFLIST) {
    values = reinterpret_cast<const lysc_node_leaflist*>(node)->dflts;
  }
  if (!is_container && value == nullptr && values == nullptr) return;
  if (find_among(first_of(level), node) != nullptr) return;
  if (values == nullptr) {
    make(level.parent, node, value);
    return;
  }
  LY_ARRAY_COUNT_TYPE i = 0;
  LY_ARRAY_FOR(values, i) { make(level.parent, node, values[i]); }
}

lyd_node* ChangeCheck::make(lyd_node* parent, const lysc_node* schema, const lyd_value* value) {
  // libyang takes what it links for explicit, and its parents with it.
  std::vector<lyd_node*> defaults;
  for (lyd_node* above = parent; above != nullptr && (above->flags & LYD_DEFAULT) != 0;
       above = lyd_parent(above)) {
    defaults.push_back(above);
  }
  lyd_node* node = nullptr;
  const LY_ERR status =
      value == nullptr ? lyd_new_inner(parent, schema->module, schema->name, 0, &node)
                       : lyd_new_term_canon(parent, schema->module, schema->name,
                                            lyd_value_get_canonical(context_, value), 0, &node);
  if (status != LY_SUCCESS ||
      (parent == nullptr && lyd_insert_sibling(tree_, node, &tree_) != LY_SUCCESS)) {
    unknown_ = true;
    return nullptr;
  }
  for (lyd_node* const above : defaults) above->flags |= LYD_DEFAULT;
  const NodeRules& rules = index_.rules(schema);
  rules.seen = true;
  node->flags = LYD_DEFAULT;
  if (rules.conditional) node->flags |= LYD_WHEN_TRUE;
  unknown_ |= rules.foreign;
  created_.insert(node);
  implicit_.insert(node);
  made_.push_back(node);

  touch(parent, schema);
  for (const Constraint* const constraint : rules.own) demand(*constraint, node);
  fire(schema, node, Event::kCreated, nullptr);
  if (value != nullptr) return node;
  Level& level = level_of(node, nullptr);
  level.fresh = true;
  add_defaults(level, schema, false);
  return node;
}

// A container without presence is a default while all that it holds is.
void ChangeCheck::settle_default_flags() {
  const auto is_explicit = [](const lyd_node* node) { return (node->flags & LYD_DEFAULT) == 0; };
  for (const Level& level : levels_) {
    if (level.gone) continue;
    for (lyd_node* node = level.parent; node != nullptr; node = lyd_parent(node)) {
      if (node->schema->nodetype != LYS_CONTAINER) break;
      if ((node->schema->flags & LYS_PRESENCE) != 0) break;
      const lyd_node* child = lyd_child(node);
      while (child != nullptr && !is_explicit(child)) child = child->next;
      if (child != nullptr) break;
      node->flags |= LYD_DEFAULT;
    }
  }
}

}  // namespace nexa::host
