// Reads every constraint of the compiled schema and hands it to the nodes that it looks at.
#include "store/validation/constraint_index.h"

#include <libyang/plugins_exts.h>

#include <algorithm>

#include "store/image/schema_order.h"
#include "store/validation/level_plans.h"
#include "store/validation/tree_walk.h"
#include "store/validation/xpath_tree.h"

namespace nexa::store {
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

bool is_structured(const lysc_node* child) {
  if (child->nodetype == LYS_CHOICE || is_counted(child)) return true;
  return child->nodetype == LYS_LIST &&
         reinterpret_cast<const lysc_node_list*>(child)->uniques != nullptr;
}

// Whether libyang may ask for the condition of the node, or of a choice around it, without one.
bool may_be_missed(const lysc_node* node) {
  do {
    if ((node->flags & LYS_MAND_TRUE) != 0) return true;
    node = node->parent;
  } while (node != nullptr && (node->nodetype & (LYS_CHOICE | LYS_CASE)) != 0);
  return false;
}

void sort_once(std::vector<const Constraint*>& constraints) {
  std::sort(constraints.begin(), constraints.end());
  constraints.erase(std::unique(constraints.begin(), constraints.end()), constraints.end());
}

// Whether a type has other checks on the whole tree than a plain leafref's.
bool is_union(const lysc_type* type) { return type->basetype == LY_TYPE_UNION; }

}  // namespace

bool stands_below(const lysc_node* node, const lysc_node* ancestor) {
  if (ancestor == nullptr) return true;
  while (node != nullptr && node != ancestor) node = lysc_data_parent(node);
  return node != nullptr;
}

bool matters_absent(const lysc_node* node) {
  if ((node->flags & LYS_MAND_TRUE) != 0 || comes_by_itself(node)) return true;
  return node->parent != nullptr && (node->parent->nodetype & (LYS_CASE | LYS_CHOICE)) != 0;
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

ConstraintIndex::ConstraintIndex(const ly_ctx* context) : context_(context) {
  std::uint32_t at = 0;
  while (const lys_module* const module = ly_ctx_get_module_iter(context, &at)) {
    if (module->implemented != 0 && module->compiled != nullptr) {
      add_children(nullptr, module->compiled);
    }
  }
  spread();
  numbered_.resize(number_schema() + 1);
  for (const auto& [node, rules] : rules_) numbered_.at(schema_number(node)) = &rules;
  numbered_[0] = nullptr;  // those of no data node
  rank_whens();
}

const NodeRules& ConstraintIndex::rules(const lysc_node* node) const {
  const std::uint32_t number = schema_number(node);
  return number < numbered_.size() && numbered_[number] != nullptr ? *numbered_[number] : none_;
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
      constraint.absent_matters = matters_absent(node);
      constraint.absent_parent = lysc_data_parent(node);
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
    // It may name a default of any module.
    asks_other_modules_ = true;
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
  const ExpressionPaths paths = watch(constraint, node, leafref->path, leafref->prefixes);
  const std::optional<XpathExpression> parsed = parse_xpath(lyxp_get_expr(leafref->path));
  PlainPath plain;
  if (paths.is_proven() && paths.targets.size() == 1 && parsed && is_plain_path(*parsed)) {
    plain = {paths.reach, paths.targets[0]};
  }
  if (is_union(type_of(node))) {
    constraint.members.push_back(plain);
  } else {
    constraint.target = plain.target;
  }
}

ExpressionPaths ConstraintIndex::watch(Constraint& constraint, const lysc_node* context,
                                       const lyxp_expr* expression, const lysc_prefix* prefixes) {
  ExpressionSite site;
  site.context = context_;
  site.node = context;
  site.module = constraint.owner->module;
  site.prefixes = prefixes;
  if (constraint.kind == Constraint::Kind::kWhen && may_be_missed(constraint.node)) {
    site.absent = constraint.node;
  }
  ExpressionPaths paths = paths_of(lyxp_get_expr(expression), site);
  const bool is_first = looks_.count(&constraint) == 0;
  Looks& looks = looks_[&constraint];
  looks.visited.insert(looks.visited.end(), paths.visited.begin(), paths.visited.end());
  looks.asked.insert(looks.asked.end(), paths.asked.begin(), paths.asked.end());
  // A stand-in for the absent node has neither its name nor its value.
  const bool is_when = constraint.kind == Constraint::Kind::kWhen;
  if (is_when && paths.asks_context && context == constraint.node) looks.visited.push_back(context);
  constraint.reach = is_first || constraint.reach == paths.reach ? paths.reach : nullptr;
  if (constraint.whole.empty()) constraint.whole = paths.reason;
  if (constraint.hazard.empty()) constraint.hazard = paths.hazard;
  constraint.anywhere |= paths.anywhere;
  constraint.is_absolute = paths.is_absolute;
  is_risky_ |= !paths.hazard.empty();
  for (const lysc_node* const asked : paths.asked) {
    asks_other_modules_ |=
        comes_by_itself(asked) && owner_module(asked) != owner_module(constraint.node);
  }
  asks_other_modules_ |= paths.anywhere;
  return paths;
}

// Hands each constraint to the nodes that it looks at.
void ConstraintIndex::spread() {
  for (const Constraint& constraint : constraints_) {
    const bool is_whole = !constraint.whole.empty();
    if (is_whole) {
      whole_.push_back(&constraint);
      rules_[constraint.node].whole.push_back(&constraint);
    }
    const auto looks = looks_.find(&constraint);
    if (looks == looks_.end()) continue;
    for (const lysc_node* const node : looks->second.visited) {
      NodeRules& rules = rules_[node];
      (is_whole ? rules.whole : rules.watchers).push_back(&constraint);
      if (is_whole) note_places(constraint, node);
    }
  }
  for (auto& [node, rules] : rules_) {
    (void)node;
    sort_once(rules.watchers);
    sort_once(rules.whole);
    sort_once(rules.placed);
  }
}

// Which node comes first may depend on the place of each entry that the nodes stand in.
void ConstraintIndex::note_places(const Constraint& constraint, const lysc_node* seen) {
  for (; seen != nullptr; seen = lysc_data_parent(seen)) {
    if ((seen->nodetype & (LYS_LIST | LYS_LEAFLIST)) != 0) {
      rules_[seen].placed.push_back(&constraint);
      any_placed_ = true;
    }
  }
}

bool ConstraintIndex::may_judge(const Constraint& constraint) const {
  return constraint.absent_matters || may_exist(constraint.node);
}

bool ConstraintIndex::may_judge_any(const std::vector<const Constraint*>& constraints) const {
  return std::any_of(constraints.begin(), constraints.end(),
                     [this](const Constraint* constraint) { return may_judge(*constraint); });
}

bool ConstraintIndex::reaches_whole(const lysc_node* node) const {
  return may_judge_any(rules(node).whole);
}

bool ConstraintIndex::place_reaches_whole(const lysc_node* list) const {
  const NodeRules& of_list = rules(list);
  return may_judge_any(of_list.placed) || may_judge_any(of_list.whole);
}

bool ConstraintIndex::whole_everywhere() const {
  return std::any_of(whole_.begin(), whole_.end(), [this](const Constraint* constraint) {
    return constraint->anywhere && may_judge(*constraint);
  });
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

// One more than the highest rank among the whens of the nodes that it looks at, and of those that
// they stand in.
int ConstraintIndex::rank_of(Constraint& constraint, int depth) {
  if (constraint.rank != 0 || depth > kDeepestWhenChain) return constraint.rank;
  int highest = 0;
  for (const lysc_node* const seen : looks_[&constraint].visited) {
    if (seen == constraint.node) continue;
    for (const lysc_node* node = seen; node != nullptr; node = lysc_data_parent(node)) {
      // What the constraint's own node stands in is there before it is asked.
      if (node != seen && stands_below(constraint.node, node)) break;
      for (const Constraint* const other : rules_[node].own) {
        if (other->kind != Constraint::Kind::kWhen) continue;
        highest = std::max(highest, rank_of(const_cast<Constraint&>(*other), depth + 1));
      }
    }
  }
  constraint.rank = highest + 1;
  return constraint.rank;
}

}  // namespace nexa::store
