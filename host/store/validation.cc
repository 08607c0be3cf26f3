// The two ways to a verdict: libyang's walk over the whole tree, and the check of a change.
#include "store/validation.h"

#include <cstring>

#include "store/change_check.h"
#include "store/constraint_index.h"
#include "store/violation_text.h"

namespace nexa::host {
namespace {

constexpr std::uint32_t kOptions = LYD_VALIDATE_PRESENT | LYD_VALIDATE_NO_STATE;

constexpr int kMostRounds = 16;
constexpr char kOperation[] = "operation";
constexpr char kDelete[] = "delete";

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

bool has_deletion(const lyd_node* diff) {
  for (; diff != nullptr; diff = diff->next) {
    for (const lyd_meta* meta = diff->meta; meta != nullptr; meta = meta->next) {
      if (std::strcmp(meta->name, kOperation) == 0 &&
          std::strcmp(lyd_get_meta_value(meta), kDelete) == 0) {
        return true;
      }
    }
    if (has_deletion(lyd_child(diff))) return true;
  }
  return false;
}

}  // namespace

struct Validator::State {
  explicit State(const ly_ctx* loaded) : context(loaded), index(loaded) {}

  // Judges all of `tree`, which `made` has been changed in already. What a deletion leaves to be
  // completed takes libyang another round.
  Outcome judge_all(lyd_node*& tree, const lyd_node* made) {
    Outcome outcome;
    outcome.whole_tree = true;
    const TreePtr entered = before(tree, made);
    for (int round = 0; round < kMostRounds; ++round) {
      const TreePtr old_tree = copy_of(round > 0 ? tree : nullptr);
      ly_err_clean(const_cast<ly_ctx*>(context), nullptr);
      if (lyd_validate_all(&tree, context, kOptions, nullptr) != LY_SUCCESS) {
        outcome.violation = explain(tree);
        return outcome;
      }
      outcome.changes = difference(round > 0 ? old_tree.get() : entered.get(), tree);
      if (!has_deletion(outcome.changes.get())) break;
    }
    if (index.has_when_chains()) outcome.violation = follow_chains(tree);
    if (!outcome.violation) outcome.changes = difference(entered.get(), tree);
    index.see(tree);
    return outcome;
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
  const ChangeCheck::Verdict verdict = check.judge(diff);
  if (verdict == ChangeCheck::Verdict::kUnknown) {
    check.mark_nodes();
    return state_->judge_all(tree, check.take_changes().get());
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
  return state_->judge_all(tree, nullptr);
}

}  // namespace nexa::host
