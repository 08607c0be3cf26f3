// Which defaults are in use without any configured data? RFC 7950, section 7.6.1: those whose
// ancestors are containers without presence. They stand in the tree from the start.
#ifndef HOST_STORE_STANDING_DEFAULTS_H_
#define HOST_STORE_STANDING_DEFAULTS_H_

#include <set>

#include "store/tree.h"
#include "store/validation/validation.h"

namespace nexa::host {

// Modules of the loaded schema whose defaults are valid by themselves. One that demands more, such
// as a mandatory top-level leaf, comes into being with its first configured node instead: else it
// would make every configuration without it invalid.
class StandingDefaults {
 public:
  explicit StandingDefaults(Validator& validator);

  bool has(const lys_module* module) const { return modules_.count(module) != 0; }

  // Adds the defaults that a tree lacks. False when libyang fails.
  bool add_to(TreePtr& tree) const;

 private:
  std::set<const lys_module*> modules_;
};

}  // namespace nexa::host

#endif  // HOST_STORE_STANDING_DEFAULTS_H_
