// The two ways to a verdict: libyang's walk over the whole tree, and the check of a change.
#include "store/validation/validation.h"

#include <new>
#include <set>

#include "store/child_table.h"
#include "store/node_tools.h"
#include "store/validation/assumed_conditions.h"
#include "store/validation/change_check.h"
#include "store/validation/child_judgement.h"
#include "store/validation/constraint_index.h"
#include "store/validation/reference_targets.h"
#include "store/validation/standing_defaults.h"
#include "store/validation/violation_text.h"

namespace nexa::store {
namespace {

constexpr std::uint32_t kOptions = LYD_VALIDATE_PRESENT | LYD_VALIDATE_NO_STATE;

constexpr int kMostRounds = 16;

// A node that the change touches costs the check as much as libyang's walk costs for a node of the
// tree (0.9 of it over OpenConfig's interfaces), so a change that touches more nodes than the tree
// had is left to the walk.
constexpr std::size_t kTouchedNodesPerNode = 1;

std::size_t count_explicit(const lyd_node* tree) {
  std::size_t count = 0;
  for (; tree != nullptr; tree = tree->next) {
    if (!is_default(tree)) count += 1 + count_explicit(lyd_child(tree));
  }
  return count;
}

// Takes out what came by itself, except where somebody keeps a mark at it.
void drop_defaults(lyd_node*& tree, lyd_node* first) {
  for (lyd_node* node = first; node != nullptr;) {
    lyd_node* const next = node->next;
    if (is_default(node) && node->priv == nullptr) {
      remove_node(tree, node);
    } else {
      drop_defaults(tree, lyd_child(node));
    }
    node = next;
  }
}

// Whether a condition is at fault, which takes away what was given.
bool is_condition(const Violation& violation) { return violation.rule.rfind("when ", 0) == 0; }

TreePtr copy_of(const lyd_node* tree) {
  lyd_node* copy = nullptr;
  if (tree != nullptr) {
    lyd_dup_siblings(tree, nullptr, LYD_DUP_RECURSIVE | LYD_DUP_WITH_FLAGS, &copy);
  }
  return TreePtr(copy);
}

}  // namespace

struct Validator::State {
  State(const ly_ctx* loaded, Validator::By by) : context(loaded), index(loaded), unsure(index) {
    if (by == Validator::By::kLibyangAndTargets) {
      targets = std::make_unique<ReferenceTargets>(index);
    }
    knowledge.context = context;
    knowledge.index = &index;
    knowledge.plans = &plans;
    knowledge.unsure = &unsure;
    // While it is found out which stand, those do that are tried.
    std::set<const lys_module*> tried;
    knowledge.has_standing_defaults = [&tried](const lys_module* module) {
      return tried.count(module) != 0;
    };
    // Where libyang may die of a judgement, none is made here: what dies is not valid.
    const auto is_valid = [this, &tried](lyd_node*& tree) {
      tried.clear();
      for (const lyd_node* top = tree; top != nullptr; top = top->next) {
        tried.insert(owner_module(top->schema));
      }
      if (!index.is_risky()) return !judge_all(tree).has_value();
      const ChildOutcome outcome =
          run_in_child([&] { return std::string(judge_all(tree) ? "no" : "yes"); });
      return outcome.kind == ChildOutcome::Kind::kDone && outcome.result == "yes";
    };
    standing = std::make_unique<StandingDefaults>(context, index.is_risky(), is_valid);
    knowledge.has_standing_defaults = [this](const lys_module* module) {
      return standing->has(module);
    };
  }

  // Adds what the tree lacks of defaults. False when libyang fails.
  bool complete(lyd_node*& tree) const {
    if (!standing->add_to(tree)) return false;
    if (!index.asks_other_modules()) return true;
    for (lyd_node* top = tree; top != nullptr; top = top->next) {
      if ((top->schema->nodetype & LYD_NODE_INNER) == 0) continue;
      if (lyd_new_implicit_tree(top, LYD_IMPLICIT_NO_STATE, nullptr) != LY_SUCCESS) return false;
    }
    return true;
  }

  // Judges all that `tree` holds, and the defaults of modules that it has data of.
  std::optional<Violation> judge_all(lyd_node*& tree) {
    if (!unsure.may_wait()) return judge_rounds(tree);
    const TreePtr given = unsure.any() ? copy_of(tree) : nullptr;
    AssumedConditions assumed(index, unsure, tree);
    std::optional<Violation> violation = judge_rounds(tree);
    std::optional<Violation> lost = assumed.find_lost(tree);
    if (violation) {
      has_lost_given = lost.has_value();
      return violation;
    }
    violation = std::move(lost);
    if (given != nullptr && assumed.lost_unsure())
      return judge_by_rank(tree, given.get(), violation);
    return violation ? violation : follow_chains(tree, assumed.left());
  }

  // libyang may have taken out a node for a default that does not stand (RFC 7950, section 8.3.2:
  // the condition decides, not the order): the tree as it was given is judged by the conditions'
  // own order. `violation`: libyang's verdict, where that cannot be done.
  std::optional<Violation> judge_by_rank(lyd_node*& tree, const lyd_node* given,
                                         std::optional<Violation> violation) {
    TreeInWork again(copy_of(given));
    TreeChanges changes;
    std::optional<Violation> found;
    ChangeCheck::Verdict verdict = ChangeCheck::Verdict::kUnknown;
    {
      ChangeCheck check(knowledge, again.top, changes);
      verdict = check.judge_everything();
      if (verdict == ChangeCheck::Verdict::kInvalid) found = check.take_violation();
    }
    if (verdict == ChangeCheck::Verdict::kUnknown) return violation;
    std::swap(tree, again.top);
    return found;
  }

  // What the deletion of explicit nodes leaves to be completed takes libyang another round. It
  // keeps the defaults of a case that has gone, so each round makes them anew.
  std::optional<Violation> judge_rounds(lyd_node*& tree) {
    std::size_t before = 0;
    std::size_t after = count_explicit(tree);
    int rounds = 0;
    bool valid = true;
    do {
      if (rounds != 0) {
        drop_defaults(tree, tree);
        make_room_everywhere(tree);
        // A module that has no data any more has its defaults again.
        if (standing != nullptr && !complete(tree)) throw std::bad_alloc();
      }
      before = after;
      ly_err_clean(const_cast<ly_ctx*>(context), nullptr);
      {
        std::optional<ReferenceTargets::Use> use;
        if (targets != nullptr) use.emplace(*targets);
        valid = lyd_validate_all(&tree, context, kOptions, nullptr) == LY_SUCCESS;
      }
      if (!valid) return explain(tree);
      after = count_explicit(tree);
    } while (after < before && ++rounds < kMostRounds);
    return std::nullopt;
  }

  std::optional<Violation> follow_chains(lyd_node*& tree, const std::vector<lyd_node*>& given) {
    TreeChanges changes;
    std::optional<Violation> violation;
    ChangeCheck::Verdict verdict = ChangeCheck::Verdict::kUnknown;
    {
      ChangeCheck check(knowledge, tree, changes);
      verdict = check.judge_chains(given);
      if (verdict == ChangeCheck::Verdict::kInvalid) violation = check.take_violation();
    }
    // A judgement that was left half way leaves nothing of itself: libyang's tree stands.
    if (verdict == ChangeCheck::Verdict::kUnknown && !undo_changes(tree, changes)) {
      throw std::bad_alloc();
    }
    return violation;
  }

  Violation explain(lyd_node*& tree) {
    Violation violation = stored_violation(context, tree);
    ly_err_clean(const_cast<ly_ctx*>(context), nullptr);
    // Without a place, or with either of two entries that are equally at fault.
    if (!violation.path.empty() && violation.rule.substr(0, 7) != "unique ") return violation;
    TreeChanges changes;
    ChangeCheck check(knowledge, tree, changes);
    return check.first_problem().value_or(violation);
  }

  const ly_ctx* context;
  bool has_lost_given =
      false;  // the violation found last goes with a given node that was taken out
  ConstraintIndex index;
  UnsureConditions unsure;
  LevelPlans plans;
  SchemaKnowledge knowledge;
  std::unique_ptr<StandingDefaults> standing;
  std::unique_ptr<ReferenceTargets> targets;  // null: libyang alone judges whole trees
};

Validator::Validator(By by) {
  // Messages are for the caller's words, not for standard error.
  ly_log_options(LY_LOSTORE_LAST);
  state_ = std::make_unique<State>(kestrel::context(), by);
}

Validator::~Validator() = default;

Validator::Outcome Validator::judge_change(lyd_node*& tree, TreeChanges& changes,
                                           std::size_t total_nodes) {
  Outcome outcome;
  if (changes.empty()) return outcome;
  const std::size_t most_nodes = total_nodes * kTouchedNodesPerNode;
  ChangeCheck check(state_->knowledge, tree, changes);
  const ChangeCheck::Verdict verdict = check.judge(most_nodes);
  outcome.needs_whole = verdict == ChangeCheck::Verdict::kUnknown;
  if (verdict == ChangeCheck::Verdict::kInvalid) outcome.violation = check.take_violation();
  ly_err_clean(const_cast<ly_ctx*>(state_->context), nullptr);
  return outcome;
}

std::optional<Violation> Validator::judge_whole(lyd_node*& tree) {
  State& state = *state_;
  if (!state.complete(tree)) {
    Violation violation;
    violation.rule = "the defaults of the schema could not be made";
    return violation;
  }
  int rounds = 0;
  std::optional<Violation> violation;
  bool has_changed = true;
  while (has_changed && rounds++ < kMostRounds) {
    const std::size_t before = count_explicit(tree);
    state.has_lost_given = false;
    violation = state.judge_all(tree);
    if (violation && (state.has_lost_given || is_condition(*violation))) break;
    // What a `when` took out may have been all that a module had. Then nothing of the module is
    // missing either, so the verdict is that of the tree without its defaults.
    has_changed = violation && count_explicit(tree) < before;
    has_changed |= state.standing->remove_others(tree);
  }
  if (violation) return violation;
  state.index.see(tree);
  return std::nullopt;
}

std::optional<Violation> Validator::find_violation(lyd_node*& tree) {
  if (!state_->complete(tree)) return std::nullopt;
  TreeChanges changes;
  ChangeCheck check(state_->knowledge, tree, changes);
  if (check.judge_everything() != ChangeCheck::Verdict::kInvalid) return std::nullopt;
  return check.take_violation();
}

void Validator::mark_node(lyd_node* node, bool is_new) const {
  const NodeRules& rules = state_->index.rules(node->schema);
  rules.seen = true;
  node->flags &= ~static_cast<std::uint32_t>(LYD_NEW | LYD_WHEN_TRUE);
  if (is_new) {
    node->flags |= LYD_NEW;
  } else if (rules.conditional) {
    node->flags |= LYD_WHEN_TRUE;
  }
}

void Validator::mark_changed(lyd_node* leaf) const {
  leaf->flags &= ~static_cast<std::uint32_t>(LYD_NEW | LYD_WHEN_TRUE);
}

const StandingDefaults& Validator::standing_defaults() const { return *state_->standing; }

bool Validator::place_reaches_whole(const lysc_node* list) const {
  return state_->index.place_reaches_whole(list);
}

bool Validator::any_place_reaches_whole() const { return state_->index.any_place_reaches_whole(); }

bool Validator::is_risky() const { return state_->index.is_risky(); }

}  // namespace nexa::store
