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

void merge(TreePtr& changes, const lyd_node* more) {
  if (more == nullptr) return;
  lyd_node* merged = changes.release();
  lyd_diff_merge_all(&merged, more, LYD_DIFF_MERGE_DEFAULTS);
  changes.reset(merged);
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

  // Judges all of `tree` and adds what libyang completes to `changes`. What a deletion leaves to be
  // completed takes libyang another round.
  Outcome judge_all(lyd_node*& tree, TreePtr changes) const {
    Outcome outcome;
    outcome.whole_tree = true;
    outcome.changes = std::move(changes);
    ly_err_clean(const_cast<ly_ctx*>(context), nullptr);
    for (int round = 0; round < kMostRounds; ++round) {
      lyd_node* found = nullptr;
      const LY_ERR verdict = lyd_validate_all(&tree, context, kOptions, &found);
      const TreePtr more(found);
      merge(outcome.changes, more.get());
      if (verdict != LY_SUCCESS) {
        outcome.violation = explain(tree);
        return outcome;
      }
      if (!has_deletion(more.get())) break;
    }
    if (index.has_when_chains()) follow_chains(tree, outcome);
    return outcome;
  }

  void follow_chains(lyd_node*& tree, Outcome& outcome) const {
    ChangeCheck check(index, context, tree);
    const ChangeCheck::Verdict verdict = check.judge_all_whens();
    merge(outcome.changes, check.take_changes().get());
    if (verdict == ChangeCheck::Verdict::kInvalid) outcome.violation = check.take_violation();
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
    return state_->judge_all(tree, check.take_changes());
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
