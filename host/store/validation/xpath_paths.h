// Which schema nodes does an expression look at, and how far up from its context node? Evaluates
// the expression over the schema instead of data. Choices and cases are no steps of a path.
#ifndef HOST_STORE_VALIDATION_XPATH_PATHS_H_
#define HOST_STORE_VALIDATION_XPATH_PATHS_H_

#include <libyang/libyang.h>

#include <string>
#include <string_view>
#include <vector>

namespace nexa::store {

// What an expression is judged for.
struct ExpressionSite {
  const ly_ctx* context = nullptr;
  const lysc_node* node = nullptr;        // the context node; null: the root
  const lys_module* module = nullptr;     // of names without a prefix
  const lysc_prefix* prefixes = nullptr;  // a sized array of libyang's
  // The node of a `when` that libyang also judges where no instance is there, to tell whether one
  // is missed; a stand-in without a value stands in its place then. Null: none.
  const lysc_node* absent = nullptr;
  int derefs = 0;  // how many deref() this is inside of
};

struct ExpressionPaths {
  // Data nodes that matter by coming, by going or by value; each once. Never too few, unless
  // `anywhere` is set.
  std::vector<const lysc_node*> visited;
  // Those of them that some path ends in: whether they are there, or what they hold, is asked.
  std::vector<const lysc_node*> asked;
  // What the expression itself stands for, when it is a path.
  std::vector<const lysc_node*> targets;
  // Nothing outside the context's own instance of this node is looked at; null: the whole tree.
  const lysc_node* reach = nullptr;
  // The context node's own name or value is asked for, which is no part of `visited`.
  bool asks_context = false;
  bool is_absolute = false;  // it starts at the root, wherever it is asked
  bool anywhere = false;     // what it looks at cannot be told: any change matters
  std::string reason;  // why the above is not the whole truth, in words; empty: it is (proven)
  std::string hazard;  // what libyang 2.1 may die of when it judges this; empty: nothing known

  bool is_proven() const { return reason.empty(); }
};

ExpressionPaths paths_of(std::string_view expression, const ExpressionSite& site);

}  // namespace nexa::store

#endif  // HOST_STORE_VALIDATION_XPATH_PATHS_H_
