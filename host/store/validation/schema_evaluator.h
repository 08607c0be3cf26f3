// The walk over an expression's tree that paths_of() makes: evaluates each part to the schema nodes
// it may stand for, and collects what was looked at on the way.
#ifndef HOST_STORE_VALIDATION_SCHEMA_EVALUATOR_H_
#define HOST_STORE_VALIDATION_SCHEMA_EVALUATOR_H_

#include <algorithm>
#include <string>
#include <unordered_set>
#include <vector>

#include "store/validation/xpath_functions.h"
#include "store/validation/xpath_paths.h"
#include "store/validation/xpath_tree.h"

namespace nexa::store {

// What a node-set may hold when data is there.
//
// All nodes stand inside the instance of `base` that is the context node or one of its ancestors
// (null: the whole tree). `is_own` says more: the set is exactly that one instance, so that it is
// there whenever the context node is. With `several` unset it holds one node at most.
struct SchemaNodes {
  std::vector<const lysc_node*> nodes;
  bool has_root = false;
  const lysc_node* base = nullptr;
  bool is_own = false;
  bool several = false;
  const lysc_node* many = nullptr;  // the first list or leaf-list that made them several
};

inline bool is_among(const std::vector<const lysc_node*>& nodes, const lysc_node* node) {
  return node != nullptr && std::find(nodes.begin(), nodes.end(), node) != nodes.end();
}

struct SchemaValue {
  XpathResult type = XpathResult::kNodes;
  SchemaNodes nodes;  // kNodes
};

class SchemaEvaluator {
 public:
  explicit SchemaEvaluator(const ExpressionSite& site);

  ExpressionPaths evaluate(const XpathExpression& expression);

 private:
  SchemaValue value_of(const XpathExpression& expression, const SchemaNodes& context);
  SchemaValue call(const XpathExpression& expression, const SchemaNodes& context);
  SchemaValue unknown_call(const XpathExpression& expression, const SchemaNodes& context);
  SchemaNodes targets_of(const SchemaNodes& references);
  SchemaValue comparison(const XpathExpression& expression, const SchemaNodes& context);
  SchemaValue arithmetic(const XpathExpression& expression, const SchemaNodes& context);
  SchemaValue path(const XpathExpression& expression, const SchemaNodes& context);

  // Steps (schema_steps.cc).
  SchemaNodes step(const XpathStep& step, const SchemaNodes& from);
  SchemaNodes parents(const SchemaNodes& from);
  SchemaNodes children(const XpathStep& step, const SchemaNodes& from);
  SchemaNodes descendants(const SchemaNodes& from);
  SchemaNodes far_nodes(const XpathStep& step, const SchemaNodes& from);
  void filter(const XpathStep& step, SchemaNodes& nodes);
  void predicates(const std::vector<XpathExpression>& predicates, SchemaNodes& nodes);
  bool picks_one(const XpathStep& step, const lysc_node* node, const SchemaNodes& from);
  bool is_single_value(const XpathExpression& expression, const lysc_node* key,
                       const SchemaNodes& entry);
  bool depends_on_context(const XpathExpression& expression) const;
  const lys_module* module_of(const XpathStep& step);
  SchemaNodes root() const;

  // Whether it is the context node, and that one as it stands.
  bool is_context(const SchemaNodes& nodes) const {
    return nodes.is_own && nodes.base == site_.node;
  }

  // What is asked of a value.
  void use(const SchemaValue& value, XpathUse use);
  void ask_text(const SchemaNodes& nodes);
  void ask_value(const SchemaNodes& nodes);
  void visit(const SchemaNodes& nodes);
  void visit_below(const lysc_node* node);
  void raise(const lysc_node* base);
  void not_proven(std::string reason);
  void not_proven_anywhere(std::string reason);
  void risk(std::string hazard);

  const ExpressionSite& site_;
  SchemaNodes own_;  // what current() stands for
  ExpressionPaths found_;
  std::unordered_set<const lysc_node*> visited_;
  std::unordered_set<const lysc_node*> asked_;
  std::unordered_set<const lysc_node*> below_;  // inner nodes whose descendants were visited
  int deref_depth_ = 0;
};

}  // namespace nexa::store

#endif  // HOST_STORE_VALIDATION_SCHEMA_EVALUATOR_H_
