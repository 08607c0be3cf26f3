// What has to be looked at among the children of a schema node: kept, because libyang's iteration
// over schema children costs more than what a judgement does with each of them.
#ifndef HOST_STORE_VALIDATION_LEVEL_PLANS_H_
#define HOST_STORE_VALIDATION_LEVEL_PLANS_H_

#include <cstdint>
#include <unordered_map>
#include <vector>

#include "store/tree.h"

namespace nexa::store {

// Of the direct children, choices among them but not what is inside; configuration only, in the
// order of the schema.
struct LevelPlan {
  std::vector<const lysc_node*> choices;
  std::vector<const lysc_node*> implied;  // choices, and nodes that come by themselves when absent
  std::vector<const lysc_node*> counted;  // choices, mandatory nodes, lists with counts
};

struct ElementLimits {
  std::uint32_t min = 0;
  std::uint32_t max = 0;  // 0: none
};

// Of a list or leaf-list; none for other nodes.
ElementLimits limits_of(const lysc_node* node);

// Whether it is asked how many instances there are: of mandatory nodes, and of lists and leaf-lists
// with a minimum or maximum.
bool is_counted(const lysc_node* node);

// Whether the node exists without being configured: a container without presence, a leaf or
// leaf-list with a default.
bool comes_by_itself(const lysc_node* node);

// One thread.
class LevelPlans {
 public:
  // Below a container, an entry or a case; `module`: the top level of a module, when `parent` is
  // null.
  const LevelPlan& plan(const lysc_node* parent, const lys_module* module);

  // Nodes of a case, also inside its choices.
  const std::vector<const lysc_node*>& members(const lysc_node* branch);

 private:
  std::unordered_map<const void*, LevelPlan> plans_;
  std::unordered_map<const lysc_node*, std::vector<const lysc_node*>> members_;
};

}  // namespace nexa::store

#endif  // HOST_STORE_VALIDATION_LEVEL_PLANS_H_
