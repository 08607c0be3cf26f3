// The constraints of the loaded schema in words: how many there are, and which of them only libyang
// can judge, over the whole tree.
#ifndef HOST_STORE_VALIDATION_CONSTRAINT_REPORT_H_
#define HOST_STORE_VALIDATION_CONSTRAINT_REPORT_H_

#include <cstddef>
#include <string>
#include <vector>

namespace nexa::store {

struct WholeConstraint {
  std::string module;         // of the node that states it
  std::string path;           // schema path of that node, choices and cases included
  std::string kind;           // "must", "when" or "leafref"
  std::string expression;     // as the model has it; of a union's references, one behind the other
  std::string reason;         // why it is whole, such as "axis preceding-sibling"
  bool every_change = false;  // every commit is judged whole, not only those that touch it
  bool is_risky = false;      // libyang may die of it: judged in a child process
};

struct ConstraintReport {
  std::size_t count = 0;  // must and when statements and references, each once for its node
  std::vector<WholeConstraint> whole;  // in the order of the schema
};

// Over kestrel::context(), which must be loaded. One thread at a time.
ConstraintReport report_constraints();

}  // namespace nexa::store

#endif  // HOST_STORE_VALIDATION_CONSTRAINT_REPORT_H_
