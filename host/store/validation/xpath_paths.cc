// An expression that cannot be read is judged by libyang whenever anything changes.
#include "store/validation/xpath_paths.h"

#include "store/validation/schema_evaluator.h"
#include "store/validation/xpath_tree.h"

namespace nexa::store {

ExpressionPaths paths_of(std::string_view expression, const ExpressionSite& site) {
  if (const std::optional<XpathExpression> parsed = parse_xpath(expression)) {
    ExpressionPaths paths = SchemaEvaluator(site).evaluate(*parsed);
    paths.is_absolute = is_absolute(*parsed);
    return paths;
  }
  ExpressionPaths paths;
  paths.anywhere = true;
  paths.reason = "an expression that is not understood";
  return paths;
}

}  // namespace nexa::store
