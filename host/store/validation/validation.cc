// The two ways to a verdict: libyang's walk over the whole tree, and the check of a change.
#include "store/validation/validation.h"

#include "store/validation/assumed_conditions.h"
#include "store/validation/change_check.h"
#include "store/validation/constraint_index.h"
#include "store/validation/violation_text.h"

namespace nexa::host {
namespace {

constexpr std::uint32_t kOptions = LYD_VALIDATE_PRESENT | LYD_VALIDATE_NO_STATE;

constexpr int kMostRounds = 16;

TreePtr copy_of(const lyd_node* tree) {
  lyd_node* copy = nullptr;
  if (tree != nullptr) {
    lyd_dup_siblings(tree, nullptr, LYD_DUP_RECURSIVE | LYD_DUP_WITH_FLAGS, &copy);
  }
  return TreePtr(copy);
}

// The tree before `changes` were made to it.
TreePtr before(const lyd_node* tree, const lyd_node* changes) {
  TreePtr copy = copy_of(tree);
  if (changes == nullptr) return copy;
  lyd_node* reversed = nullptr;
  lyd_diff_reverse_all(changes, &reversed);
  const TreePtr back(reversed);
  lyd_node* first = copy.release();
  lyd_diff_apply_all(&first, back.get());
  return TreePtr(first);
}

// libyang's own record of its changes does not hold when it deletes a node that it has completed
// before, so the trees are compared.
TreePtr difference(const lyd_node* old_tree, const lyd_node* new_tree) {
  lyd_node* diff = nullptr;
  lyd_diff_siblings(old_tree, new_tree, LYD_DIFF_DEFAULTS, &diff);
  return TreePtr(diff);
}

std::size_t count_explicit(const lyd_node* tree) {
  std::size_t count = 0;
  for (; tree != nullptr; tree = tree->next) {
    if ((tree->flags & LYD_DEFAULT) == 0) count += 1 + count_explicit(lyd_child(tree));
  }
  return count;
}

}  // namespace

struct Validator::State {
  explicit State(const ly_ctx* loaded) : context(loaded), index(loaded) {}

  // Judges all of `tree`. What the deletion of explicit nodes leaves to be completed takes libyang
  // another round.
  std::optional<Violation> judge_all(lyd_node*& tree) {
    std::optional<AssumedConditions> assumed;
    if (index.has_when_chains()) assumed.emplace(index, tree);
    std::size_t before = 0;
    std::size_t after = count_explicit(tree);
    int rounds = 0;
    do {
      before = after;
      ly_err_clean(const_cast<ly_ctx*>(context), nullptr);
      if (lyd_validate_all(&tree, context, kOptions, nullptr) != LY_SUCCESS) return explain(tree);
      after = count_explicit(tree);
    } while (after < before && ++rounds < kMostRounds);
    if (assumed) {
      std::optional<Violation> violation = assumed->first_lost(tree);
      if (!violation) violation = follow_chains(tree);
      if (violation) return violation;
    }
    index.see(tree);
    return std::nullopt;
  }

  std::optional<Violation> follow_chains(lyd_node*& tree) const {
    ChangeCheck check(index, context, tree);
    if (check.judge_all_whens() != ChangeCheck::Verdict::kInvalid) return std::nullopt;
    return check.take_violation();
  }

  Violation explain(lyd_node*& tree) const {
    Violation violation = stored_violation(context, tree);
    ly_err_clean(const_cast<ly_ctx*>(context), nullptr);
    // Without a place, or with either of two entries that are equally at fault.
    if (!violation.path.empty() && violation.rule.substr(0, 7) != "unique ") return violation;
    ChangeCheck check(index, context, tree);
    return check.first_problem().value_or(violation);
  }

  const ly_ctx* context;
  ConstraintIndex index;
};

Validator::Validator() {
  // Messages are for the caller's words, not for standard error.
  ly_log_options(LY_LOSTORE_LAST);
  state_ = std::make_unique<State>(kestrel::context());
}

Validator::~Validator() = default;

Validator::Outcome Validator::validate_change(lyd_node*& tree, const lyd_node* diff) {
  ChangeCheck check(state_->index, state_->context, tree);
  const ChangeCheck::Verdict verdict =
      diff != nullptr ? check.judge(diff) : ChangeCheck::Verdict::kUnknown;
  if (verdict == ChangeCheck::Verdict::kUnknown) {
    const TreePtr entered = before(tree, check.take_changes().get());
    check.mark_nodes();
    Outcome outcome;
    outcome.whole_tree = true;
    outcome.violation = state_->judge_all(tree);
    if (!outcome.violation) outcome.changes = difference(entered.get(), tree);
    return outcome;
  }
  Outcome outcome;
  outcome.changes = check.take_changes();
  if (verdict == ChangeCheck::Verdict::kInvalid) {
    outcome.violation = check.take_violation();
    ly_err_clean(const_cast<ly_ctx*>(state_->context), nullptr);
  }
  return outcome;
}

Validator::Outcome Validator::validate_all(lyd_node*& tree) {
  Outcome outcome;
  outcome.whole_tree = true;
  outcome.violation = state_->judge_all(tree);
  return outcome;
}

}  // namespace nexa::host
