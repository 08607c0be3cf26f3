// Which nodes that somebody gave did libyang's walk over the whole tree take out, because their
// `when` is false?
//
// libyang reports those itself, unless a condition waits for theirs: where conditions stand inside
// each other it can free a default node that it still has to judge. So it is told that all
// conditions hold, deletes what they do not hold for, and the nodes that are missed are told here.
#ifndef HOST_STORE_VALIDATION_ASSUMED_CONDITIONS_H_
#define HOST_STORE_VALIDATION_ASSUMED_CONDITIONS_H_

#include <deque>
#include <optional>
#include <string>
#include <vector>

#include "store/tree.h"
#include "store/validation/constraint_index.h"
#include "store/validation/unsure_conditions.h"
#include "store/validation/validation.h"

namespace nexa::store {

// One judgement. `priv` of the tree's nodes is null before, and after find_lost().
class AssumedConditions {
 public:
  // Marks every node of `tree` whose conditions were not judged before as one whose conditions
  // hold.
  AssumedConditions(const ConstraintIndex& index, const UnsureConditions& unsure, lyd_node* tree);

  // The first of these nodes, in the order of the tree, that `tree` does not hold any more. Call
  // once, after libyang's walk.
  std::optional<Violation> find_lost(lyd_node* tree);

  // Whether a given node is gone whose condition libyang may have judged before another that it
  // depends on. After find_lost().
  bool lost_unsure() const;

  // Those that are there still, after find_lost().
  std::vector<lyd_node*> left() const;

 private:
  // A node's `priv` leads to this; nodes that libyang made meanwhile have none.
  struct Mark {
    lyd_node* node = nullptr;
    bool is_left = false;
  };
  struct Given {
    Mark* node = nullptr;
    Mark* old = nullptr;  // what a choice may have taken out with the node; null: nothing
    std::string path;
    const lysc_when* when = nullptr;
  };

  // Holds while the tree is marked, which takes no node away.
  struct KnownPath {
    const lyd_node* node = nullptr;
    std::string path;
  };

  void mark(lyd_node* tree);
  void note(lyd_node* node, const NodeRules& rules);
  Mark* mark_of(lyd_node* node);
  std::string path_of(const lyd_node* node);

  const ConstraintIndex& index_;
  const UnsureConditions& unsure_;
  std::deque<Mark> marks_;
  std::vector<Given> given_;
  KnownPath last_entry_;
  KnownPath last_container_;
  std::vector<const Mark*> unsure_marks_;
};

}  // namespace nexa::store

#endif  // HOST_STORE_VALIDATION_ASSUMED_CONDITIONS_H_
