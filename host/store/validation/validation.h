// Is a changed tree valid? The verdict of libyang over the whole tree, at the price of the change:
// constraints that the change cannot touch are not asked again.
#ifndef HOST_STORE_VALIDATION_VALIDATION_H_
#define HOST_STORE_VALIDATION_VALIDATION_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "store/tree.h"
#include "store/tree_change.h"
#include "text/result.h"

namespace nexa::store {

class StandingDefaults;

struct Violation {
  enum class Kind : std::uint8_t {
    kValue,       // a value that its type does not take
    kStructure,   // two cases of a choice, a duplicate entry, a missing key
    kConstraint,  // must, when, leafref, unique, mandatory, min- and max-elements
  };
  Kind kind = Kind::kConstraint;
  std::string path;  // instance identifier of the node at fault, module names in front
  std::string rule;  // "must \"...\"", "leafref ...": with the model's error-message if it has one

  // As a client hears of it: who can mend it, and whether to try again, is in the code.
  text::Failure failure() const {
    return {kind == Kind::kConstraint ? grpc::StatusCode::FAILED_PRECONDITION
                                      : grpc::StatusCode::INVALID_ARGUMENT,
            path, rule};
  }
};

// Knows the constraints of the loaded schema; built once, read by one thread at a time.
//
// A module's defaults that need no configured data (RFC 7950, section 7.6.1) are complete in every
// tree that was judged, also where the module has no data, unless they would not be valid alone.
class Validator {
 public:
  enum class By : std::uint8_t {
    kLibyangAndTargets,  // leafrefs that lead to an instance are found by an index (the same
                         // verdict, sooner)
    kLibyangAlone,       // judge_whole is libyang's from end to end
  };
  explicit Validator(By by = By::kLibyangAndTargets);  // over kestrel::context()
  ~Validator();
  Validator(const Validator&) = delete;
  Validator& operator=(const Validator&) = delete;

  struct Outcome {
    std::optional<Violation> violation;
    // The change can reach what only the whole tree can judge, or is so large that the walk over
    // the whole tree is cheaper. Undo `changes` and ask judge_whole.
    bool needs_whole = false;
  };

  // Judges `tree`, which was valid before `changes` were made to it, and completes it. What
  // validation itself changes is appended to `changes` with `is_implicit` set: defaults that come
  // or go, nodes whose `when` is false now, cases that give way, default flags of containers. So
  // undo_changes takes everything back, whatever the outcome is.
  // The change leaves no two instances of what may stand once, and no new container without
  // presence that holds nothing. `total_nodes`: about as many as the tree has, for the decision
  // which way is cheaper; 0 never decides for the whole tree by cost. `priv` of every node is null
  // before and after the call.
  Outcome judge_change(lyd_node*& tree, TreeChanges& changes, std::size_t total_nodes = 0);

  // Whether a change of an entry of `list`, by its place alone, can reach what only the whole tree
  // can judge.
  bool place_reaches_whole(const lysc_node* list) const;
  // The same of any list.
  bool any_place_reaches_whole() const;

  // Judges all of `tree` and completes its defaults. `tree` holds explicit nodes, each marked by
  // mark_node: an old one whose `when` is false now is deleted, a new one is a violation. After a
  // violation the tree is to be thrown away.
  std::optional<Violation> judge_whole(lyd_node*& tree);

  // A rule that such a tree breaks, by a way that is not libyang's walk: conditions are judged in
  // the order that they depend on each other, and those that libyang may die of are the last. It
  // is for a tree that libyang died of, and belongs into a process of its own, too. Nothing: there
  // is none, or it cannot be told.
  std::optional<Violation> find_violation(lyd_node*& tree);

  // Tells judge_whole whether `node`, without what is below it, stood in the tree before; also as a
  // default. mark_changed: a leaf that did, as a default or with another value.
  void mark_node(lyd_node* node, bool is_new) const;
  void mark_changed(lyd_node* leaf) const;

  // Modules whose defaults are in the tree without any data of theirs.
  const StandingDefaults& standing_defaults() const;

  // Whether libyang may crash when it judges data of the loaded schema: then judge_whole belongs
  // into a process that may die.
  bool is_risky() const;

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace nexa::store

#endif  // HOST_STORE_VALIDATION_VALIDATION_H_
