// Which conditions may libyang judge before others that they depend on? It creates all defaults
// before it judges a `when`, and judges them in no certain order, so a condition may see a default
// whose own condition does not hold. And it does not judge a condition at all that waits for a node
// whose condition waits as well, such as one that looks at its own node.
#ifndef HOST_STORE_VALIDATION_UNSURE_CONDITIONS_H_
#define HOST_STORE_VALIDATION_UNSURE_CONDITIONS_H_

#include <unordered_set>

#include "store/validation/constraint_index.h"

namespace nexa::store {

class UnsureConditions {
 public:
  explicit UnsureConditions(const ConstraintIndex& index);

  // Whether there are any such.
  bool any() const { return !unsure_.empty(); }

  // Whether some condition may wait for another one, or for itself, or something else for it.
  bool may_wait() const { return may_wait_; }

  // Whether a default that has a condition, itself or above it, is among what `when` looks at.
  bool has(const Constraint& when) const { return when.rank > 1 && unsure_.count(&when) != 0; }

 private:
  void add_watchers(const ConstraintIndex& index, const lysc_node* top, const lysc_node* node);

  std::unordered_set<const Constraint*> unsure_;
  bool may_wait_ = false;
};

}  // namespace nexa::store

#endif  // HOST_STORE_VALIDATION_UNSURE_CONDITIONS_H_
