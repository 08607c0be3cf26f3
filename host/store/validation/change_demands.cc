// Which constraints may have another verdict after a change? Those that the index names for the
// node, at every instance within the reach of their expressions.
#include "store/validation/change_check.h"

namespace nexa::store {

void ChangeCheck::fire(const lysc_node* schema, lyd_node* start, Event event,
                       const char* old_value) {
  const NodeRules& rules = index_.rules(schema);
  if (rules.in_unique) touch_uniques(start);
  for (const Constraint* const constraint : rules.watchers) {
    const bool is_when = constraint->kind == Constraint::Kind::kWhen;
    const bool is_reference = constraint->kind == Constraint::Kind::kReference;
    // That the node goes is its own condition's verdict.
    if (is_when && constraint->node == schema && schema == refused_) continue;
    if (is_reference && event == Event::kCreated) continue;
    if (constraint->target != nullptr && constraint->target != schema) continue;
    lyd_node* reach = nullptr;
    if (constraint->reach != nullptr) {
      reach = NodeStates::climb(start, constraint->reach);
      if (reach == nullptr) continue;
      // All below a new node is asked anyway, except conditions that were judged before the event.
      if (NodeStates::is_created(reach) && (is_reading_ || !is_when)) continue;
    }
    if (constraint->target != nullptr) {
      if (old_value != nullptr) lost_[{constraint, reach}].insert(old_value);
    } else if (is_when) {
      unknown_ |= is_dropping_ && !judges_whole_ && may_exist(constraint->node);
      whens_[constraint->rank].fired.insert({constraint, reach});
    } else if (fired_.insert({constraint, reach}).second) {
      expand(*constraint, reach);
    }
  }
}

void ChangeCheck::fire_deleted(lyd_node* root, lyd_node* parent) {
  any_gone_ = true;
  each_node(root, [this, parent](lyd_node* node) {
    if (unknown_ || !enter(node->schema)) return;
    const bool is_term = (node->schema->nodetype & LYD_NODE_TERM) != 0;
    fire(node->schema, parent, Event::kDeleted, is_term ? lyd_get_value(node) : nullptr);
  });
}

void ChangeCheck::expand(const Constraint& constraint, lyd_node* reach) {
  if (reach != nullptr && NodeStates::is_gone(reach)) return;
  if (may_exist(constraint.node)) {
    each_instance(tree_, reach, constraint.node, [this, &constraint](lyd_node* node) {
      ++nodes_;
      demand(constraint, node);
    });
    unknown_ |= most_nodes_ != 0 && nodes_ > most_nodes_;
  }
  if (constraint.kind != Constraint::Kind::kWhen || !constraint.absent_matters) return;
  const lysc_node* const parent = constraint.absent_parent;
  const auto retry = [this, &constraint](lyd_node* above) {
    unknown_ |= !judges_whole_ && schema_.unsure->has(constraint);
    Level& level = level_of(above, constraint.node);
    if (!contains(level.retry, constraint.node)) level.retry.push_back(constraint.node);
    level.refused.erase(std::remove(level.refused.begin(), level.refused.end(), constraint.node),
                        level.refused.end());
    make_dirty(level);
  };
  if (parent == nullptr) {
    retry(nullptr);
  } else if (stands_below(parent, constraint.reach)) {
    each_instance(tree_, reach, parent, retry);
  }
}

void ChangeCheck::demand(const Constraint& constraint, lyd_node* node) {
  switch (constraint.kind) {
    case Constraint::Kind::kWhen:
      unknown_ |= !judges_whole_ && schema_.unsure->has(constraint);
      demand_when(constraint, node);
      break;
    case Constraint::Kind::kReference:
      references_.emplace_back(&constraint, node);
      break;
    case Constraint::Kind::kMust:
      musts_.emplace_back(&constraint, node);
      break;
  }
}

// What libyang may die of is not asked where an outer condition takes the node out.
void ChangeCheck::demand_when(const Constraint& constraint, lyd_node* node) {
  WhenQueue& queue = whens_[constraint.rank];
  (constraint.hazard.empty() ? queue.nodes : queue.risky).emplace_back(&constraint, node);
}

void ChangeCheck::demand_own(lyd_node* node) {
  for (const Constraint* const constraint : index_.rules(node->schema).own) {
    demand(*constraint, node);
  }
}

void ChangeCheck::demand_whole() {
  for (const Constraint* const constraint : index_.whole()) {
    if (constraint->kind == Constraint::Kind::kWhen) continue;
    expand(*constraint, nullptr);
  }
}

// `start`: the node itself or, when it is gone, its parent.
void ChangeCheck::touch_uniques(lyd_node* start) {
  for (lyd_node* node = start; node != nullptr; node = NodeStates::parent_of(node)) {
    if (node->schema->nodetype != LYS_LIST) continue;
    const auto* const list = reinterpret_cast<const lysc_node_list*>(node->schema);
    if (list->uniques != nullptr) uniques_.insert({lyd_parent(node), list});
  }
}

}  // namespace nexa::store
