// Which nodes that somebody gave did libyang's walk over the whole tree take out, because their
// `when` is false?
//
// libyang reports those itself, unless a condition waits for theirs: where conditions stand inside
// each other it can free a default node that it still has to judge. So it is told that all
// conditions hold, deletes what they do not hold for, and the nodes that are missed are told here.
#ifndef HOST_STORE_VALIDATION_ASSUMED_CONDITIONS_H_
#define HOST_STORE_VALIDATION_ASSUMED_CONDITIONS_H_

#include <optional>
#include <vector>

#include "store/tree.h"
#include "store/validation/constraint_index.h"
#include "store/validation/validation.h"

namespace nexa::host {

class AssumedConditions {
 public:
  // A node as it was.
  struct Seen {
    const lyd_node* node = nullptr;
    const lysc_node* schema = nullptr;
    bool is_default = false;
  };

  // Marks every node of `tree` whose conditions were not judged before as one whose conditions
  // hold.
  AssumedConditions(const ConstraintIndex& index, lyd_node* tree);

  // The first of these nodes, in the order of the tree, that `tree` does not hold any more.
  std::optional<Violation> first_lost(const lyd_node* tree) const;

 private:
  struct Given {
    Seen node;
    Seen old;  // what a choice may have taken out with the node; null node: nothing
    Violation violation;
  };

  void mark(lyd_node* tree);
  void note(const lyd_node* node, const NodeRules& rules);

  const ConstraintIndex& index_;
  std::vector<Given> given_;
};

}  // namespace nexa::host

#endif  // HOST_STORE_VALIDATION_ASSUMED_CONDITIONS_H_
