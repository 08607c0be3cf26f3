// Which defaults are in use without any configured data? RFC 7950, section 7.6.1: those whose
// ancestors are containers without presence. They stand in the tree from the start.
#ifndef HOST_STORE_VALIDATION_STANDING_DEFAULTS_H_
#define HOST_STORE_VALIDATION_STANDING_DEFAULTS_H_

#include <functional>
#include <map>

#include "store/tree.h"

namespace nexa::store {

// Modules of the loaded schema whose defaults are valid by themselves. One that demands more, such
// as a mandatory top-level leaf, comes into being with its first configured node instead: else it
// would make every configuration without it invalid. Immutable.
class StandingDefaults {
 public:
  // Judges a tree and completes it; false after a violation.
  using Judge = std::function<bool(lyd_node*& tree)>;

  // `is_risky`: libyang may die of a condition, also of a default's while it is made.
  StandingDefaults(const ly_ctx* context, bool is_risky, const Judge& judge);

  bool has(const lys_module* module) const { return modules_.count(module) != 0; }

  // Adds the nodes that a tree lacks at its top level, with the defaults below them. False when
  // libyang fails.
  bool add_to(lyd_node*& tree) const;

  // Takes out the defaults of all other modules that `tree` holds nothing configured of. Whether
  // there were any.
  bool remove_others(lyd_node*& tree) const;

 private:
  std::map<const lys_module*, TreePtr> modules_;
};

}  // namespace nexa::store

#endif  // HOST_STORE_VALIDATION_STANDING_DEFAULTS_H_
