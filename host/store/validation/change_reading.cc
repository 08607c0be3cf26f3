// Reads a libyang diff against the tree that it was applied to, and collects what is to be judged.
#include <algorithm>
#include <cstring>

#include "store/validation/change_check.h"

namespace nexa::host {
namespace {

constexpr std::string_view kNone = "none";
constexpr std::string_view kCreate = "create";
constexpr std::string_view kDelete = "delete";
constexpr std::string_view kReplace = "replace";
constexpr char kOperation[] = "operation";
constexpr char kOldValue[] = "orig-value";
constexpr char kOldDefault[] = "orig-default";

const char* meta_of(const lyd_node* node, const char* name) {
  for (const lyd_meta* meta = node->meta; meta != nullptr; meta = meta->next) {
    if (std::strcmp(meta->name, name) == 0) return lyd_get_meta_value(meta);
  }
  return nullptr;
}

// Whether it makes a difference to its parent that no instance is there.
bool matters_absent(const lysc_node* node) {
  if ((node->flags & LYS_MAND_TRUE) != 0) return true;
  if (node->parent != nullptr && node->parent->nodetype == LYS_CASE) return true;
  if (node->nodetype == LYS_CONTAINER) return (node->flags & LYS_PRESENCE) == 0;
  if (node->nodetype == LYS_LEAF) {
    return reinterpret_cast<const lysc_node_leaf*>(node)->dflt != nullptr;
  }
  if (node->nodetype == LYS_LEAFLIST) {
    const auto* const list = reinterpret_cast<const lysc_node_leaflist*>(node);
    return list->dflts != nullptr || list->min != 0;
  }
  return node->nodetype == LYS_LIST && reinterpret_cast<const lysc_node_list*>(node)->min != 0;
}

}  // namespace

lyd_node* find_among(const lyd_node* siblings, const lysc_node* schema) {
  lyd_node* found = nullptr;
  lyd_find_sibling_val(siblings, schema, nullptr, 0, &found);
  return found;
}

lyd_node* climb(lyd_node* node, const lysc_node* schema) {
  while (node != nullptr && node->schema != schema) node = lyd_parent(node);
  return node;
}

std::vector<const lysc_node*> way_down(const lysc_node* top, const lysc_node* node) {
  std::vector<const lysc_node*> way;
  for (; node != nullptr && node != top; node = lysc_data_parent(node)) way.push_back(node);
  if (node != top) way.clear();
  std::reverse(way.begin(), way.end());
  return way;
}

void ChangeCheck::read(const lyd_node* diff, std::string_view inherited, lyd_node* parent) {
  for (; diff != nullptr && !unknown_; diff = diff->next) {
    if (diff->schema == nullptr) {
      unknown_ = true;
      return;
    }
    if (lysc_is_key(diff->schema) && parent != nullptr) continue;
    const char* const own = meta_of(diff, kOperation);
    read_one(diff, own != nullptr ? std::string_view(own) : inherited, parent);
  }
}

void ChangeCheck::read_one(const lyd_node* diff, std::string_view operation, lyd_node* parent) {
  if (operation == kDelete) return note_deleted(diff, parent);
  const lyd_node* const siblings = parent != nullptr ? lyd_child(parent) : tree_;
  lyd_node* node = nullptr;
  if (siblings == nullptr || lyd_find_sibling_first(siblings, diff, &node) != LY_SUCCESS) {
    unknown_ = true;
    return;
  }
  if (operation == kCreate) return note_created(node);
  if (operation == kReplace) {
    const bool is_moved = (node->schema->nodetype & (LYS_LIST | LYS_LEAFLIST)) != 0;
    note_changed(node, is_moved ? nullptr : meta_of(diff, kOldValue));
  } else if (operation != kNone) {
    unknown_ = true;
    return;
  } else if (meta_of(diff, kOldDefault) != nullptr &&
             (node->schema->nodetype & LYD_NODE_TERM) != 0) {
    touch(parent, node->schema);
    dirty_.insert(level_of(parent, node->schema).number);
  }
  read(lyd_child(diff), operation == kReplace ? kNone : operation, node);
}

void ChangeCheck::note_created(lyd_node* root) {
  each_node(root, [this](lyd_node* node) {
    created_.insert(node);
    unknown_ |= node->schema == nullptr;
  });
  if (unknown_) return;
  touch(lyd_parent(root), root->schema);
  Level& level = level_of(lyd_parent(root), root->schema);
  dirty_.insert(level.number);
  level.arrivals.push_back(root);
  each_node(root, [this](lyd_node* node) {
    const NodeRules& rules = index_.rules(node->schema);
    rules.seen = true;
    unknown_ |= rules.foreign || (node->schema->flags & LYS_CONFIG_R) != 0;
    for (const Constraint* const constraint : rules.own) demand(*constraint, node);
    fire(node->schema, node, Event::kCreated, nullptr);
    if ((node->schema->nodetype & LYD_NODE_INNER) == 0) return;
    Level& below = level_of(node, nullptr);
    below.fresh = true;
    dirty_.insert(below.number);
  });
}

void ChangeCheck::note_deleted(const lyd_node* root, lyd_node* parent) {
  fire_deleted(root, parent);
  touch(parent, root->schema);
  dirty_.insert(level_of(parent, root->schema).number);
  note_emptied(parent);
}

// A container without presence that holds nothing explicit any more may not keep its case alive.
void ChangeCheck::note_emptied(lyd_node* node) {
  for (; node != nullptr && (node->flags & LYD_DEFAULT) != 0; node = lyd_parent(node)) {
    if (node->schema->nodetype != LYS_CONTAINER) return;
    touch(lyd_parent(node), node->schema);
    dirty_.insert(level_of(lyd_parent(node), node->schema).number);
  }
}

void ChangeCheck::note_changed(lyd_node* node, const char* old_value) {
  any_gone_ = true;
  const NodeRules& rules = index_.rules(node->schema);
  unknown_ |= rules.foreign;
  if (old_value != nullptr) changed_.insert(node);
  for (const Constraint* const constraint : rules.own) demand(*constraint, node);
  fire(node->schema, node, Event::kChanged, old_value);
  if ((node->flags & LYD_DEFAULT) != 0) touch(lyd_parent(node), node->schema);
}

Level& ChangeCheck::level_of(lyd_node* parent, const lysc_node* child) {
  const void* const key = parent != nullptr ? static_cast<const void*>(parent) : child->module;
  Level*& level = level_index_[key];
  if (level == nullptr) {
    level = &levels_.emplace_back();
    level->number = levels_.size() - 1;
    level->parent = parent;
    if (parent == nullptr) {
      level->module = child->module;
      level->fresh = true;
    }
  }
  return *level;
}

void ChangeCheck::touch(lyd_node* parent, const lysc_node* child) {
  Level& level = level_of(parent, child);
  if (!contains(level.touched, child)) level.touched.push_back(child);
}

void ChangeCheck::fire(const lysc_node* schema, lyd_node* start, Event event,
                       const char* old_value) {
  const NodeRules& rules = index_.rules(schema);
  const bool is_entry = schema->nodetype == LYS_LIST && event == Event::kCreated;
  if (rules.in_unique || is_entry) touch_uniques(schema, start);
  for (const Constraint* const constraint : rules.watchers) {
    const bool is_reference = constraint->kind == Constraint::Kind::kReference;
    if (is_reference && event == Event::kCreated) continue;
    if (constraint->target != nullptr && constraint->target != schema) continue;
    lyd_node* reach = nullptr;
    if (constraint->reach != nullptr) {
      reach = climb(start, constraint->reach);
      if (reach == nullptr || created_.count(reach) != 0) continue;
    }
    if (constraint->target != nullptr) {
      if (old_value != nullptr) lost_[{constraint, reach}].insert(old_value);
    } else if (fired_.insert({constraint, reach}).second) {
      demand_all(*constraint, reach);
    }
  }
}

void ChangeCheck::demand_all(const Constraint& constraint, lyd_node* reach) {
  if (index_.may_exist(constraint.node)) {
    each_instance(tree_, reach, constraint.node,
                  [this, &constraint](lyd_node* node) { demand(constraint, node); });
  }
  if (constraint.kind != Constraint::Kind::kWhen || !matters_absent(constraint.node)) return;
  const lysc_node* const parent = lysc_data_parent(constraint.node);
  const auto retry = [this, &constraint](lyd_node* above) {
    Level& level = level_of(above, constraint.node);
    if (!contains(level.retry, constraint.node)) level.retry.push_back(constraint.node);
    dirty_.insert(level.number);
  };
  if (parent == nullptr) {
    retry(nullptr);
  } else if (stands_below(parent, constraint.reach)) {
    each_instance(tree_, reach, parent, retry);
  }
}

void ChangeCheck::demand(const Constraint& constraint, lyd_node* node) {
  if (!demanded_.insert({&constraint, node}).second) return;
  switch (constraint.kind) {
    case Constraint::Kind::kWhen:
      whens_[constraint.rank].emplace_back(&constraint, node);
      break;
    case Constraint::Kind::kReference:
      references_.emplace_back(&constraint, node);
      break;
    case Constraint::Kind::kMust:
      musts_.emplace_back(&constraint, node);
      break;
  }
}

// `start`: the node itself or, when it is gone, its parent.
void ChangeCheck::touch_uniques(const lysc_node* schema, lyd_node* start) {
  (void)schema;
  for (lyd_node* node = start; node != nullptr; node = lyd_parent(node)) {
    if (node->schema->nodetype != LYS_LIST) continue;
    const auto* const list = reinterpret_cast<const lysc_node_list*>(node->schema);
    if (list->uniques != nullptr) uniques_.insert({lyd_parent(node), list});
  }
}

// Takes a node out of the tree that validation does not leave there.
void ChangeCheck::drop(lyd_node* node) {
  if (stopped()) return;
  lyd_node* const parent = lyd_parent(node);
  const bool is_own = implicit_.count(node) != 0;
  if (!is_own && !record_.add_deleted(node)) {
    unknown_ = true;
    return;
  }
  forget(node);
  if (node == tree_) tree_ = node->next;
  lyd_unlink_tree(node);
  dropped_.emplace_back(node);
  touch(parent, node->schema);
  note_emptied(parent);
  // What came with this very validation was watched when it came.
  if (!is_own) fire_deleted(node, parent);
}

void ChangeCheck::fire_deleted(const lyd_node* root, lyd_node* parent) {
  any_gone_ = true;
  each_node(const_cast<lyd_node*>(root), [this, parent](const lyd_node* node) {
    if (node->schema == nullptr) return;
    const bool is_term = (node->schema->nodetype & LYD_NODE_TERM) != 0;
    fire(node->schema, parent, Event::kDeleted, is_term ? lyd_get_value(node) : nullptr);
  });
}

// What was noted about the nodes stays in the lists, and is passed over there: looking for it would
// cost all lists for each node. The nodes live on in `dropped_`, so that no other takes their
// place.
void ChangeCheck::forget(lyd_node* root) {
  each_node(root, [this](const lyd_node* node) {
    gone_.insert(node);
    created_.erase(node);
    changed_.erase(node);
    implicit_.erase(node);
    const auto level = level_index_.find(node);
    if (level == level_index_.end()) return;
    level->second->gone = true;
    level_index_.erase(level);
  });
}

}  // namespace nexa::host
