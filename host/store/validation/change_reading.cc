// Reads the list of changes against the tree that they were made to, and notes what is to be
// judged.
#include "store/validation/change_check.h"

namespace nexa::store {

void ChangeCheck::read() {
  is_reading_ = true;
  const std::size_t count = changes_.size();
  for (std::size_t i = 0; i < count; ++i) {
    const TreeChange& change = changes_[i];
    if (change.kind != TreeChange::Kind::kDeleted) continue;
    NodeState& state = states_.of(change.node);
    state.is_gone = true;
    state.above = change.parent;
  }
  for (std::size_t i = 0; i < count && !unknown_; ++i) {
    const TreeChange& change = changes_[i];
    if (change.node->schema == nullptr) {
      unknown_ = true;
      break;
    }
    if (change.kind == TreeChange::Kind::kDeleted) {
      note_deleted(change.node, change.parent);
      continue;
    }
    if (NodeStates::is_gone(change.node)) continue;
    switch (change.kind) {
      case TreeChange::Kind::kCreated:
        note_created(change.node);
        break;
      case TreeChange::Kind::kValue:
        note_value(change);
        break;
      case TreeChange::Kind::kFlag:
        note_flag(change.node);
        break;
      case TreeChange::Kind::kMoved:
        note_moved(change.node);
        break;
      case TreeChange::Kind::kDeleted:
        break;
    }
  }
  is_reading_ = false;
}

// Counts a node of this schema among those that the change touches. False when it is more than the
// check of a change can or should judge.
bool ChangeCheck::enter(const lysc_node* schema) {
  ++nodes_;
  if (schema == nullptr) {
    unknown_ = true;
    return false;
  }
  const NodeRules& rules = index_.rules(schema);
  // What the index has seen is what was there before a tree that is judged whole.
  if (!rules.whole.empty() && (judges_whole_ || index_.reaches_whole(schema))) reach_whole();
  unknown_ |= most_nodes_ != 0 && nodes_ > most_nodes_;
  unknown_ |= (rules.foreign && !judges_whole_) || (schema->flags & LYS_CONFIG_R) != 0;
  return !unknown_;
}

void ChangeCheck::reach_whole() {
  reached_whole_ = true;
  unknown_ |= !judges_whole_;
}

void ChangeCheck::note_created(lyd_node* root) {
  states_.of(root).is_created = true;
  each_node(root, [this](lyd_node* node) {
    if (unknown_ || node->schema == nullptr) return;
    const NodeRules& rules = index_.rules(node->schema);
    rules.seen = true;
    if (!enter(node->schema)) return;
    if (judges_whole_ && (node->flags & LYD_NEW) == 0) {
      states_.of(node).has_stood = true;
      states_.of(node).is_old = rules.conditional && (node->flags & LYD_WHEN_TRUE) != 0;
    }
    // As after a validation: a violation undoes the creation.
    node->flags &= ~static_cast<std::uint32_t>(LYD_NEW | LYD_WHEN_TRUE);
    if (rules.conditional) node->flags |= LYD_WHEN_TRUE;
    if ((node->schema->nodetype & LYD_NODE_INNER) == 0) return;
    states_.of(node).is_created = true;
    Level& below = level_of(node, nullptr);
    below.fresh = true;
    make_dirty(below);
  });
  if (unknown_) return;
  lyd_node* const parent = lyd_parent(root);
  Level& level = touch(parent, root->schema);
  make_dirty(level);
  if (!level.fresh || parent == nullptr) level.arrivals.push_back(root);
  each_node(root, [this](lyd_node* node) {
    demand_own(node);
    fire(node->schema, node, Event::kCreated, nullptr);
  });
}

void ChangeCheck::note_deleted(lyd_node* root, lyd_node* parent) {
  fire_deleted(root, parent);
  if (parent != nullptr && NodeStates::is_gone(parent)) return;
  make_dirty(touch(parent, root->schema));
  note_emptied(parent);
}

// A container without presence that holds nothing explicit any more may not keep its case alive.
void ChangeCheck::note_emptied(lyd_node* node) {
  for (; node != nullptr && is_default(node); node = lyd_parent(node)) {
    if (node->schema->nodetype != LYS_CONTAINER) return;
    make_dirty(touch(lyd_parent(node), node->schema));
  }
}

void ChangeCheck::note_value(const TreeChange& change) {
  lyd_node* const node = change.node;
  any_gone_ = true;
  if (!enter(node->schema)) return;
  states_.of(node).is_changed = !is_default(node);
  if (index_.rules(node->schema).conditional) node->flags |= LYD_WHEN_TRUE;
  node->flags &= ~static_cast<std::uint32_t>(LYD_NEW);
  demand_own(node);
  fire(node->schema, node, Event::kChanged, change.old_value.c_str());
  if (((node->flags ^ change.old_flags) & LYD_DEFAULT) != 0) note_flag(node);
}

// What is given and what is a default tells which case of a choice stands.
void ChangeCheck::note_flag(lyd_node* node) {
  if (!enter(node->schema)) return;
  if ((node->schema->nodetype & LYD_NODE_TERM) != 0) {
    states_.of(node).is_changed = !is_default(node);
    if (index_.rules(node->schema).conditional) node->flags |= LYD_WHEN_TRUE;
    node->flags &= ~static_cast<std::uint32_t>(LYD_NEW);
    demand_own(node);
  }
  make_dirty(touch(lyd_parent(node), node->schema));
  if (is_default(node)) note_emptied(lyd_parent(node));
}

void ChangeCheck::note_moved(lyd_node* node) {
  if (index_.place_reaches_whole(node->schema)) reach_whole();
  if (!enter(node->schema)) return;
  demand_own(node);
  fire(node->schema, node, Event::kChanged, nullptr);
}

Level& ChangeCheck::level_of(lyd_node* parent, const lysc_node* child) {
  Level** place = nullptr;
  if (parent != nullptr) {
    place = &states_.of(parent).level;
  } else {
    place = &top_levels_[owner_module(child)];
  }
  if (*place == nullptr) {
    *place = &levels_.emplace_back();
    Level& level = **place;
    level.number = levels_.size() - 1;
    level.parent = parent;
    if (parent == nullptr) level.module = owner_module(child);
    level.fresh = parent == nullptr;
    for (const lyd_node* above = parent; above != nullptr; above = lyd_parent(above)) ++level.depth;
  }
  return **place;
}

Level& ChangeCheck::touch(lyd_node* parent, const lysc_node* child) {
  Level& level = level_of(parent, child);
  if (!contains(level.touched, child)) level.touched.push_back(child);
  return level;
}

void ChangeCheck::make_dirty(Level& level) {
  if (level.dirty) return;
  level.dirty = true;
  dirty_.emplace(level.depth, level.number);
}

}  // namespace nexa::store
