// Do the conditions hold that a change touches? By rank, so that each sees what those that it
// depends on have made of the tree.
#include "store/validation/change_check.h"
#include "store/validation/violation_text.h"

namespace nexa::store {
namespace {

// Calls `visit` with each `when` of a node and of the choices and cases around it, and with the
// schema node that states it, until it returns false.
template <typename Visit>
bool each_when(const lysc_node* node, const Visit& visit) {
  const lysc_node* owner = node;
  do {
    lysc_when* const* const whens = lysc_node_when(owner);
    LY_ARRAY_COUNT_TYPE i = 0;
    LY_ARRAY_FOR(whens, i) {
      if (!visit(owner, *whens[i])) return false;
    }
    owner = owner->parent;
  } while (owner != nullptr && (owner->nodetype & (LYS_CHOICE | LYS_CASE)) != 0);
  return true;
}

}  // namespace

void ChangeCheck::judge_whens() {
  while (settle_dirty() && !whens_.empty()) {
    WhenQueue& lowest = whens_.begin()->second;
    if (lowest.nodes.empty() && lowest.risky.empty() && lowest.fired.empty() &&
        lowest.absent.empty()) {
      whens_.erase(whens_.begin());
      continue;
    }
    judge_next_when(lowest);
  }
}

void ChangeCheck::judge_next_when(WhenQueue& queue) {
  if (!queue.fired.empty()) {
    const Demand fired = *queue.fired.begin();
    queue.fired.erase(queue.fired.begin());
    return expand(*fired.first, fired.second);
  }
  std::vector<Demand>* const nodes = !queue.nodes.empty()   ? &queue.nodes
                                     : queue.absent.empty() ? &queue.risky
                                                            : nullptr;
  if (nodes != nullptr) {
    const Demand demand = nodes->back();
    nodes->pop_back();
    if (!NodeStates::is_gone(demand.second)) judge_when(*demand.first, demand.second);
    return;
  }
  const Absent absent = queue.absent.back();
  queue.absent.pop_back();
  if (!is_gone(*absent.second)) judge_absent(absent.first, *absent.second);
}

void ChangeCheck::judge_when(const Constraint& constraint, lyd_node* node) {
  const lysc_when& when = *constraint.when;
  const lyd_node* context = when.context == constraint.owner ? node : lyd_parent(node);
  // libyang takes no root for a context: any node will do where none is asked for.
  if (context == nullptr && constraint.is_absolute) context = node;
  if (context == nullptr) {
    unknown_ = true;
    return;
  }
  if (holds(context, constraint.owner->module, when.cond, when.prefixes) || stopped()) return;
  if (NodeStates::is_asked(node) && holds_given(node))
    return fail(when_violation(instance_path(node), when));
  // What a choice falls back to is settled before conditions are: libyang's own order decides.
  if (in_case(node->schema) && !NodeStates::is_implicit(node) && !judges_whole_) {
    unknown_ = true;
    return;
  }
  refuse_given_below(node);
  is_dropping_ = !NodeStates::is_implicit(node);
  if (!is_dropping_) refuse(node->schema, level_of(lyd_parent(node), node->schema));
  drop(node);
  is_dropping_ = false;
  refused_ = nullptr;
}

// Notes that a default does not stand. Conditions that turn each other round and round have no
// verdict.
void ChangeCheck::refuse(const lysc_node* schema, Level& level) {
  constexpr std::size_t kMostRefusals = 1000;
  refused_ = schema;
  level.refused.push_back(schema);
  unknown_ |= ++level.refusals > kMostRefusals;
}

// What the change gives below a node that goes, and that has a condition itself, does not go with
// it without a word, unless a case around it may have given way to another one.
void ChangeCheck::refuse_given_below(lyd_node* root) {
  each_node(root, [this, root](lyd_node* node) {
    if (stopped() || node == root || !index_.rules(node->schema).conditional) return;
    if (!NodeStates::is_asked(node) || !holds_given(node)) return;
    for (const lyd_node* above = node;; above = lyd_parent(above)) {
      const bool is_old = !NodeStates::is_created(above) || is_default(above);
      if (in_case(above->schema) && is_old) return;
      if (above == root) break;
    }
    each_when(node->schema, [&](const lysc_node* /*owner*/, const lysc_when& when) {
      fail(when_violation(instance_path(node), when));
      return false;
    });
  });
}

// Whether every case that the node stands in is the one that has data, or without data the default.
bool ChangeCheck::is_in_active_case(const Level& level, const lysc_node* node) {
  for (const lysc_node* branch = node->parent; branch != nullptr && branch->nodetype == LYS_CASE;
       branch = branch->parent->parent) {
    const lysc_node* const choice = branch->parent;
    const lyd_node* const present = data_of(level, choice);
    if (present == nullptr) {
      const auto* const usual = reinterpret_cast<const lysc_node_choice*>(choice)->dflt;
      if (usual != reinterpret_cast<const lysc_node_case*>(branch)) return false;
      continue;
    }
    const lysc_node* above = present->schema->parent;
    while (above != branch && above != choice) above = above->parent;
    if (above != branch) return false;
  }
  return true;
}

// Makes a default whose conditions hold.
void ChangeCheck::judge_absent(const lysc_node* node, Level& level) {
  if (find_among(first_of(level), node) != nullptr) return;
  if (level.parent == nullptr && tree_ == nullptr) {
    unknown_ = true;
    return;
  }
  // The case may have given way since.
  if (!is_in_active_case(level, node)) return;
  ++nodes_;
  if (is_excused(level, node) || stopped()) return;
  make_default(level, node);
}

// Whether an absent node's conditions can be judged before it is made, at `rank`: unless they look
// at the node itself.
bool ChangeCheck::can_wait(const lysc_node* node, int& rank) {
  const NodeRules& rules = index_.rules(node);
  for (const Constraint* const constraint : rules.own) {
    if (constraint->kind != Constraint::Kind::kWhen) continue;
    rank = std::max(rank, constraint->rank);
    if (std::binary_search(rules.watchers.begin(), rules.watchers.end(), constraint)) return false;
    if (!constraint->whole.empty()) return false;
    unknown_ |= !judges_whole_ && schema_.unsure->has(*constraint);
  }
  return true;
}

// Whether an absent node's conditions do not hold, so that it is not missed.
bool ChangeCheck::is_excused(Level& level, const lysc_node* node) {
  return !each_when(node, [&](const lysc_node* owner, const lysc_when& when) {
    const Constraint* const constraint = constraint_of(node, when);
    if (!judges_whole_ && constraint != nullptr && !constraint->whole.empty()) {
      // The change does not reach it, so the node is excused as it was before. Where a case may
      // have become the one that has data, nobody asked before.
      unknown_ |= level.fresh || is_in_touched_case(level, node);
      return false;
    }
    return condition_holds(level, owner, when, node);
  });
}

bool ChangeCheck::is_in_touched_case(const Level& level, const lysc_node* node) const {
  const lysc_node* branch = node->parent;
  for (; branch != nullptr && branch->nodetype == LYS_CASE; branch = branch->parent->parent) {
    if (is_touched(level, branch->parent)) return true;
  }
  return false;
}

// What is known of a `when` of the node, which may be a choice; null: nothing.
const Constraint* ChangeCheck::constraint_of(const lysc_node* node, const lysc_when& when) const {
  if (node->nodetype == LYS_CHOICE) node = schema_.plans->members(node).front();
  for (const Constraint* const constraint : index_.rules(node).own) {
    if (constraint->when == &when) return constraint;
  }
  return nullptr;
}

// An opaque node stands in for the absent one, as in libyang.
bool ChangeCheck::condition_holds(Level& level, const lysc_node* owner, const lysc_when& when,
                                  const lysc_node* absent) {
  if (level.parent != nullptr && when.context != owner) {
    return holds(level.parent, owner->module, when.cond, when.prefixes);
  }
  const Constraint* const constraint = constraint_of(absent, when);
  const bool is_anywhere = constraint != nullptr && constraint->is_absolute;
  const bool asks_root = when.context == nullptr && !is_anywhere;
  if (level.parent == nullptr && (tree_ == nullptr || asks_root)) {
    unknown_ = true;
    return true;
  }
  lyd_node* stand_in = nullptr;
  LY_ERR status = lyd_new_opaq(level.parent, schema_.context, absent->name, nullptr, nullptr,
                               absent->module->name, &stand_in);
  if (status == LY_SUCCESS && level.parent == nullptr) {
    status = lyd_insert_sibling(tree_, stand_in, &tree_);
  }
  bool result = true;
  if (status == LY_SUCCESS) {
    result = holds(stand_in, owner->module, when.cond, when.prefixes);
  } else {
    unknown_ = true;
  }
  if (stand_in != nullptr) {
    lyd_unlink_tree(stand_in);
    lyd_free_tree(stand_in);
  }
  return result;
}

bool ChangeCheck::holds(const lyd_node* context, const lys_module* module,
                        const lyxp_expr* expression, lysc_prefix* prefixes) {
  ly_bool result = 0;
  const LY_ERR status = lyd_eval_xpath3(context, module, lyxp_get_expr(expression),
                                        LY_VALUE_SCHEMA_RESOLVED, prefixes, nullptr, &result);
  unknown_ |= status != LY_SUCCESS;
  return result != 0;
}

}  // namespace nexa::store
