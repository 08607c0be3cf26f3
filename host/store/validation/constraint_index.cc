// libyang names the nodes that an expression looks at (its atoms); the text of the expression says
// how far up it can go. A node that neither bounds is held to look anywhere.
#include "store/validation/constraint_index.h"

#include <libyang/plugins_exts.h>

#include <algorithm>

#include "store/validation/expression_reach.h"

namespace nexa::host {
namespace {

// Dependencies of whens have no cycles (libyang refuses them); the bound is for the proof.
constexpr int kDeepestWhenChain = 1000;

bool has_validator(const lysc_ext_instance* extensions) {
  LY_ARRAY_COUNT_TYPE i = 0;
  LY_ARRAY_FOR(extensions, i) {
    const lyplg_ext* const plugin = extensions[i].def->plugin;
    if (plugin != nullptr && plugin->validate != nullptr) return true;
  }
  return false;
}

const lysc_type* type_of(const lysc_node* node) {
  return reinterpret_cast<const lysc_node_leaf*>(node)->type;
}

bool is_structured(const lysc_node* child) {
  if (child->nodetype == LYS_CHOICE || (child->flags & LYS_MAND_TRUE) != 0) return true;
  if (child->nodetype == LYS_LEAFLIST) {
    const auto* const list = reinterpret_cast<const lysc_node_leaflist*>(child);
    return list->min != 0 || list->max != 0;
  }
  if (child->nodetype != LYS_LIST) return false;
  const auto* const list = reinterpret_cast<const lysc_node_list*>(child);
  return list->min != 0 || list->max != 0 || list->uniques != nullptr;
}

const lysc_node* ancestor_at(const lysc_node* node, int levels_up) {
  for (; node != nullptr && levels_up > 0; --levels_up) node = lysc_data_parent(node);
  return node;
}

// Whether every step up stands at the beginning: then the path is a way down from one node.
bool goes_up_first(std::string_view path) {
  while (path.substr(0, 3) == "../") path.remove_prefix(3);
  return path.find("..") == std::string_view::npos;
}

// Whether a type has other checks on the whole tree than a plain leafref's.
bool is_union(const lysc_type* type) { return type->basetype == LY_TYPE_UNION; }

}  // namespace

bool stands_below(const lysc_node* node, const lysc_node* ancestor) {
  if (ancestor == nullptr) return true;
  while (node != nullptr && node != ancestor) node = lysc_data_parent(node);
  return node != nullptr;
}

bool needs_instance(const lysc_type* type) {
  if (type->basetype == LY_TYPE_LEAFREF) {
    return reinterpret_cast<const lysc_type_leafref*>(type)->require_instance != 0;
  }
  if (type->basetype == LY_TYPE_INST) {
    return reinterpret_cast<const lysc_type_instanceid*>(type)->require_instance != 0;
  }
  if (!is_union(type)) return false;
  const lysc_type* const* const members = reinterpret_cast<const lysc_type_union*>(type)->types;
  LY_ARRAY_COUNT_TYPE i = 0;
  LY_ARRAY_FOR(members, i) {
    if (needs_instance(members[i])) return true;
  }
  return false;
}

ConstraintIndex::ConstraintIndex(const ly_ctx* context) {
  std::uint32_t at = 0;
  while (const lys_module* const module = ly_ctx_get_module_iter(context, &at)) {
    if (module->implemented != 0 && module->compiled != nullptr) {
      add_children(nullptr, module->compiled);
    }
  }
  for (auto& [node, constraints] : below_) {
    (void)constraints;
    watch_below(node);
  }
  for (auto& [node, rules] : rules_) {
    (void)node;
    std::sort(rules.watchers.begin(), rules.watchers.end());
    rules.watchers.erase(std::unique(rules.watchers.begin(), rules.watchers.end()),
                         rules.watchers.end());
  }
  rank_whens();
}

const NodeRules& ConstraintIndex::rules(const lysc_node* node) const {
  const auto found = rules_.find(node);
  return found != rules_.end() ? found->second : none_;
}

void ConstraintIndex::see(const lyd_node* tree) {
  knows_tree_ = true;
  for (; tree != nullptr; tree = tree->next) {
    if (tree->schema == nullptr) continue;
    rules(tree->schema).seen = true;
    const lyd_node* const child = lyd_child(tree);
    if (child != nullptr) see(child);
  }
}

void ConstraintIndex::add_children(const lysc_node* parent, const lysc_module* module) {
  const lysc_node* child = nullptr;
  while ((child = lys_getnext(child, parent, module, LYS_GETNEXT_WITHCHOICE)) != nullptr) {
    if (parent != nullptr && is_structured(child)) rules_[parent].structured = true;
  }
  child = nullptr;
  while ((child = lys_getnext(child, parent, module, 0)) != nullptr) {
    // Schemas of data are not deeper than their modules nest; libyang recursed over them as well.
    if ((child->nodetype & LYD_NODE_ANY) == 0 &&
        (child->nodetype & (LYD_NODE_INNER | LYD_NODE_TERM)) == 0) {
      continue;
    }
    if ((child->nodetype & (LYS_RPC | LYS_ACTION | LYS_NOTIF)) != 0) continue;
    if ((child->flags & LYS_CONFIG_R) != 0) continue;
    add_node(child);
    if ((child->nodetype & (LYS_CONTAINER | LYS_LIST)) != 0) add_children(child, nullptr);
  }
}

void ConstraintIndex::add_node(const lysc_node* node) {
  NodeRules& rules = rules_[node];
  rules.foreign = has_validator(node->exts);
  add_whens(node);
  const lysc_must* const musts = lysc_node_musts(node);
  LY_ARRAY_COUNT_TYPE i = 0;
  LY_ARRAY_FOR(musts, i) {
    Constraint& constraint = add(Constraint::Kind::kMust, node);
    constraint.must = &musts[i];
    watch(constraint, node, musts[i].cond, musts[i].prefixes);
  }
  if ((node->nodetype & LYD_NODE_TERM) != 0) {
    const lysc_type* const type = type_of(node);
    rules_[node].foreign |= has_validator(type->exts);
    if (needs_instance(type)) {
      Constraint& constraint = add(Constraint::Kind::kReference, node);
      (void)constraint;
      add_reference(node, type);
    }
  }
  if (node->nodetype != LYS_LIST) return;
  const auto* const uniques = reinterpret_cast<const lysc_node_list*>(node)->uniques;
  LY_ARRAY_FOR(uniques, i) {
    LY_ARRAY_COUNT_TYPE j = 0;
    LY_ARRAY_FOR(uniques[i], j) { rules_[&uniques[i][j]->node].in_unique = true; }
  }
}

void ConstraintIndex::add_whens(const lysc_node* node) {
  const lysc_node* owner = node;
  do {
    lysc_when* const* const whens = lysc_node_when(owner);
    LY_ARRAY_COUNT_TYPE i = 0;
    LY_ARRAY_FOR(whens, i) {
      Constraint& constraint = add(Constraint::Kind::kWhen, node);
      constraint.owner = owner;
      constraint.when = whens[i];
      rules_[node].conditional = true;
      watch(constraint, whens[i]->context, whens[i]->cond, whens[i]->prefixes);
    }
    owner = owner->parent;
  } while (owner != nullptr && (owner->nodetype & (LYS_CHOICE | LYS_CASE)) != 0);
}

Constraint& ConstraintIndex::add(Constraint::Kind kind, const lysc_node* node) {
  Constraint& constraint = constraints_.emplace_back();
  constraint.kind = kind;
  constraint.node = node;
  constraint.owner = node;
  rules_[node].own.push_back(&constraint);
  return constraint;
}

// The newest constraint is the reference of `node`; a union adds what each member looks at.
void ConstraintIndex::add_reference(const lysc_node* node, const lysc_type* type) {
  Constraint& constraint = constraints_.back();
  if (type->basetype == LY_TYPE_INST) {
    by_value_.push_back(&constraint);
    return;
  }
  if (is_union(type)) {
    const lysc_type* const* const members = reinterpret_cast<const lysc_type_union*>(type)->types;
    LY_ARRAY_COUNT_TYPE i = 0;
    LY_ARRAY_FOR(members, i) {
      if (needs_instance(members[i])) add_reference(node, members[i]);
    }
    constraint.reach = nullptr;
    constraint.target = nullptr;
    return;
  }
  const auto* const leafref = reinterpret_cast<const lysc_type_leafref*>(type);
  atoms_[&constraint].clear();
  watch(constraint, node, leafref->path, leafref->prefixes);
  const PlainPath plain = plain_path(constraint, leafref);
  if (is_union(type_of(node))) {
    constraint.members.push_back(plain);
  } else {
    constraint.target = plain.target;
  }
}

PlainPath ConstraintIndex::plain_path(const Constraint& constraint,
                                      const lysc_type_leafref* type) const {
  const std::string_view path = lyxp_get_expr(type->path);
  const ExpressionReach reach = reach_of(path);
  const auto atoms = atoms_.find(&constraint);
  if (reach.opaque || reach.filtered || !goes_up_first(path) || atoms == atoms_.end()) return {};
  if (!reach.absolute && constraint.reach != ancestor_at(constraint.node, reach.levels_up)) {
    return {};
  }
  const lysc_node* target = nullptr;
  for (const lysc_node* const atom : atoms->second) {
    if ((atom->nodetype & LYD_NODE_TERM) == 0 || atom == constraint.node) continue;
    if (target != nullptr) return {};
    target = atom;
  }
  return {constraint.reach, target};
}

void ConstraintIndex::watch(Constraint& constraint, const lysc_node* context,
                            const lyxp_expr* expression, const lysc_prefix* prefixes) {
  const ExpressionReach reach = reach_of(lyxp_get_expr(expression));
  ly_set* found = nullptr;
  const LY_ERR status =
      lys_find_expr_atoms(context, constraint.owner->module, expression, prefixes, 0, &found);
  const SetPtr atoms(found);
  if (status != LY_SUCCESS || atoms == nullptr || reach.opaque) {
    constraint.rank = kDeepestWhenChain + 1;
    always_.push_back(&constraint);
    return;
  }
  constraint.reach = reach.absolute ? nullptr : ancestor_at(context, reach.levels_up);
  std::vector<const lysc_node*>& nodes = atoms_[&constraint];
  for (std::uint32_t i = 0; i < atoms->count; ++i) {
    const lysc_node* const atom = atoms->snodes[i];
    if (!stands_below(atom, constraint.reach)) constraint.reach = nullptr;
    nodes.push_back(atom);
  }
  for (const lysc_node* const atom : nodes) {
    rules_[atom].watchers.push_back(&constraint);
    const bool is_inner = (atom->nodetype & LYD_NODE_INNER) != 0;
    const bool is_last = std::none_of(nodes.begin(), nodes.end(), [atom](const lysc_node* other) {
      return lysc_data_parent(other) == atom;
    });
    if (reach.texts && is_inner && is_last) below_[atom].push_back(&constraint);
  }
}

// The text of an inner node is the text of all below it.
void ConstraintIndex::watch_below(const lysc_node* node) {
  const std::vector<const Constraint*>& constraints = below_[node];
  std::vector<const lysc_node*> open = {node};
  while (!open.empty()) {
    const lysc_node* const parent = open.back();
    open.pop_back();
    const lysc_node* child = nullptr;
    while ((child = lys_getnext(child, parent, nullptr, 0)) != nullptr) {
      std::vector<const Constraint*>& watchers = rules_[child].watchers;
      watchers.insert(watchers.end(), constraints.begin(), constraints.end());
      if ((child->nodetype & (LYS_CONTAINER | LYS_LIST)) != 0) open.push_back(child);
    }
  }
}

void ConstraintIndex::rank_whens() {
  for (Constraint& constraint : constraints_) {
    if (constraint.kind != Constraint::Kind::kWhen) continue;
    whens_.push_back(&constraint);
    has_when_chains_ |= rank_of(constraint, 0) > 1 || has_condition_above(constraint.node);
  }
}

// Judging a node also takes what its expression climbs through, which are its parents.
bool ConstraintIndex::has_condition_above(const lysc_node* node) const {
  const lysc_node* parent = lysc_data_parent(node);
  while (parent != nullptr && !rules(parent).conditional) parent = lysc_data_parent(parent);
  return parent != nullptr;
}

// One more than the highest rank among the whens of the nodes that it looks at.
int ConstraintIndex::rank_of(Constraint& constraint, int depth) {
  if (constraint.rank != 0 || depth > kDeepestWhenChain) return constraint.rank;
  int highest = 0;
  for (const lysc_node* const atom : atoms_[&constraint]) {
    if (atom == constraint.node) continue;
    for (const Constraint* const other : rules_[atom].own) {
      if (other->kind != Constraint::Kind::kWhen) continue;
      highest = std::max(highest, rank_of(const_cast<Constraint&>(*other), depth + 1));
    }
  }
  constraint.rank = highest + 1;
  return constraint.rank;
}

}  // namespace nexa::host
