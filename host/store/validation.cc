// The two ways to a verdict: libyang's walk over the whole tree, and the check of a change.
#include "store/validation.h"

#include "store/violation_text.h"

namespace nexa::host {

struct Validator::State {
  const ly_ctx* context = nullptr;
};

Validator::Validator() : state_(std::make_unique<State>()) { state_->context = kestrel::context(); }

Validator::~Validator() = default;

Validator::Outcome Validator::validate_change(lyd_node*& tree, const lyd_node* /*diff*/) {
  return validate_all(tree);
}

Validator::Outcome Validator::validate_all(lyd_node*& tree) {
  Outcome outcome;
  outcome.whole_tree = true;
  const KeptMessages kept(state_->context);
  lyd_node* changes = nullptr;
  const LY_ERR verdict = lyd_validate_all(&tree, state_->context,
                                          LYD_VALIDATE_PRESENT | LYD_VALIDATE_NO_STATE, &changes);
  outcome.changes.reset(changes);
  if (verdict != LY_SUCCESS) outcome.violation = stored_violation(state_->context, tree);
  return outcome;
}

}  // namespace nexa::host
