// Is a changed tree valid? The verdict of libyang over the whole tree, at the price of the change:
// constraints that the change cannot touch are not asked again.
#ifndef HOST_STORE_VALIDATION_VALIDATION_H_
#define HOST_STORE_VALIDATION_VALIDATION_H_

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "store/tree.h"

namespace nexa::host {

struct Violation {
  enum class Kind : std::uint8_t {
    kValue,       // a value that its type does not take
    kStructure,   // two cases of a choice, a duplicate entry, a missing key
    kConstraint,  // must, when, leafref, unique, mandatory, min- and max-elements
  };
  Kind kind = Kind::kConstraint;
  std::string path;  // instance identifier of the node at fault, module names in front
  std::string rule;  // "must \"...\"", "leafref ...": with the model's error-message if it has one
};

// Knows the constraints of the loaded schema; built once, read by one thread at a time.
class Validator {
 public:
  Validator();  // over kestrel::context()
  ~Validator();
  Validator(const Validator&) = delete;
  Validator& operator=(const Validator&) = delete;

  struct Outcome {
    std::optional<Violation> violation;
    // What validation itself changed: nodes whose when is false now and that were deleted, cases
    // that gave way, defaults that came or went. A libyang diff that applies to the tree as
    // validation found it. Apply it after the commit's own: libyang cannot merge two diffs when the
    // later one deletes what the earlier one went below, nor reverse one that deletes user-ordered
    // nodes. Null after a violation that the whole tree showed.
    TreePtr changes;
    bool whole_tree = false;  // every constraint was asked, not only those that the change touches
  };

  // Judges `tree`, which was valid before `diff` (a libyang diff with defaults) was applied to it.
  // Null: what was changed is not known, and every constraint is asked.
  // Completes defaults. After a violation the tree may hold part of the changes.
  Outcome validate_change(lyd_node*& tree, const lyd_node* diff);

  // Judges all of `tree`: mandatory and defaults of modules that have data in it. Does not report
  // changes: to compare two trees costs more than to judge one.
  Outcome validate_all(lyd_node*& tree);

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace nexa::host

#endif  // HOST_STORE_VALIDATION_VALIDATION_H_
