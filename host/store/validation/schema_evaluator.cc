// Values: what operators and functions ask of the node-sets that they are given. The reasons here
// are shown to the authors of models.
#include "store/validation/schema_evaluator.h"

#include <algorithm>
#include <utility>

#include "store/validation/constraint_index.h"

namespace nexa::store {
namespace {

using Kind = XpathExpression::Kind;

constexpr int kMostDerefs = 8;

std::string describe(const lysc_node* node) {
  return std::string(lys_nodetype2str(node->nodetype)).append(" ").append(node->name);
}

SchemaValue value(XpathResult type) { return {type, {}}; }

const lysc_type* real_type_of(const lysc_node* node) {
  const lysc_type* type = reinterpret_cast<const lysc_node_leaf*>(node)->type;
  if (type->basetype == LY_TYPE_LEAFREF) {
    type = reinterpret_cast<const lysc_type_leafref*>(type)->realtype;
  }
  return type;
}

// A literal or number that no remainder by it can fail for.
bool is_safe_divisor(const XpathExpression& divisor) {
  if (divisor.kind != Kind::kNumber) return false;
  const std::string whole = divisor.text.substr(0, divisor.text.find('.'));
  return whole.find_first_not_of('0') != std::string::npos;
}

bool has_remainder_risk(const XpathExpression& arithmetic) {
  if (arithmetic.text.find("mod") == std::string::npos) return false;
  const auto divisor = arithmetic.arguments.begin() + 1;
  return !std::all_of(divisor, arithmetic.arguments.end(), is_safe_divisor);
}

}  // namespace

SchemaEvaluator::SchemaEvaluator(const ExpressionSite& site) : site_(site) {
  own_.base = site.node;
  own_.is_own = true;
  if (site.node != nullptr) {
    own_.nodes = {site.node};
  } else {
    own_.has_root = true;
  }
  found_.reach = site.node;
}

ExpressionPaths SchemaEvaluator::evaluate(const XpathExpression& expression) {
  const SchemaValue result = value_of(expression, own_);
  use(result, XpathUse::kPresence);
  found_.targets = result.nodes.nodes;
  found_.visited.assign(visited_.begin(), visited_.end());
  found_.asked.assign(asked_.begin(), asked_.end());
  if (!found_.hazard.empty()) not_proven(found_.hazard);
  return std::move(found_);
}

SchemaValue SchemaEvaluator::value_of(const XpathExpression& expression,
                                      const SchemaNodes& context) {
  switch (expression.kind) {
    case Kind::kOr:
    case Kind::kAnd:
      for (const XpathExpression& operand : expression.arguments) {
        use(value_of(operand, context), XpathUse::kPresence);
      }
      return value(XpathResult::kBoolean);
    case Kind::kComparison:
      return comparison(expression, context);
    case Kind::kArithmetic:
    case Kind::kNegation:
      return arithmetic(expression, context);
    case Kind::kUnion: {
      not_proven("union of paths");
      SchemaValue all;
      all.nodes.base = context.base;
      all.nodes.several = true;
      for (const XpathExpression& operand : expression.arguments) {
        const SchemaNodes nodes = value_of(operand, context).nodes;
        all.nodes.nodes.insert(all.nodes.nodes.end(), nodes.nodes.begin(), nodes.nodes.end());
        all.nodes.has_root |= nodes.has_root;
        if (stands_below(all.nodes.base, nodes.base)) all.nodes.base = nodes.base;
      }
      return all;
    }
    case Kind::kLiteral:
      return value(XpathResult::kString);
    case Kind::kNumber:
      return value(XpathResult::kNumber);
    case Kind::kVariable:
      not_proven_anywhere("variable $" + expression.text);
      return value(XpathResult::kString);
    case Kind::kCall:
      return call(expression, context);
    case Kind::kPath:
      break;
  }
  return path(expression, context);
}

SchemaValue SchemaEvaluator::comparison(const XpathExpression& expression,
                                        const SchemaNodes& context) {
  std::vector<SchemaValue> operands;
  bool has_boolean = false;
  bool has_number = false;
  for (const XpathExpression& operand : expression.arguments) {
    operands.push_back(value_of(operand, context));
    has_boolean |= operands.back().type == XpathResult::kBoolean;
    has_number |= operands.back().type == XpathResult::kNumber;
  }
  for (const SchemaValue& operand : operands) {
    use(operand, has_boolean ? XpathUse::kPresence : XpathUse::kEveryValue);
    if (has_boolean || has_number || !operand.nodes.several) continue;
    // libyang brings the other side into the form of the first entry's type and keeps it so.
    for (const lysc_node* const node : operand.nodes.nodes) {
      if ((node->nodetype & LYD_NODE_TERM) == 0 || real_type_of(node)->basetype != LY_TYPE_UNION)
        continue;
      const lysc_node* const many = operand.nodes.many;
      not_proven("order of entries of " + describe(many != nullptr ? many : node));
    }
  }
  return value(XpathResult::kBoolean);
}

SchemaValue SchemaEvaluator::arithmetic(const XpathExpression& expression,
                                        const SchemaNodes& context) {
  for (const XpathExpression& operand : expression.arguments) {
    use(value_of(operand, context), XpathUse::kFirstText);
  }
  if (has_remainder_risk(expression)) risk("mod by what may be 0");
  return value(XpathResult::kNumber);
}

SchemaValue SchemaEvaluator::call(const XpathExpression& expression, const SchemaNodes& context) {
  const std::vector<XpathExpression>& arguments = expression.arguments;
  if (expression.text == "current" && arguments.empty()) {
    SchemaValue result;
    result.nodes = own_;
    return result;
  }
  const XpathFunction* const function = find_xpath_function(expression.text);
  if (function == nullptr) return unknown_call(expression, context);
  std::vector<SchemaValue> values;
  values.reserve(arguments.size() + 1);
  for (const XpathExpression& argument : arguments) values.push_back(value_of(argument, context));
  if (values.empty() && function->uses_context) values.push_back({XpathResult::kNodes, context});
  for (std::size_t i = 0; i < values.size(); ++i) {
    use(values[i], i == 0 ? function->first : function->others);
  }
  const bool is_name = function->name == "name" || function->name == "local-name" ||
                       function->name == "namespace-uri";
  if (is_name) {
    not_proven(std::string(function->name).append("()"));
    if (!values.empty() && is_among(values[0].nodes.nodes, site_.absent)) {
      risk("name of the node that is missed");
    }
  }
  return value(function->result);
}

SchemaValue SchemaEvaluator::unknown_call(const XpathExpression& expression,
                                          const SchemaNodes& context) {
  const std::string& name = expression.text;
  std::vector<SchemaValue> values;
  for (const XpathExpression& argument : expression.arguments) {
    values.push_back(value_of(argument, context));
    use(values.back(), XpathUse::kEveryValue);
  }
  if (name == "position" || name == "last") {
    not_proven(name + "()");
    return value(XpathResult::kNumber);
  }
  if (name != "deref" || values.size() != 1) {
    not_proven_anywhere(name + "()");
    return value(XpathResult::kString);
  }
  not_proven("deref()");
  if (values[0].nodes.several) not_proven("order of entries below deref()");
  SchemaValue result;
  result.nodes = targets_of(values[0].nodes);
  return result;
}

SchemaNodes SchemaEvaluator::targets_of(const SchemaNodes& references) {
  SchemaNodes targets;
  targets.base = references.base;
  targets.several = references.several;
  if (references.has_root) risk("deref() of the root");
  for (const lysc_node* const node : references.nodes) {
    if ((node->nodetype & LYD_NODE_TERM) == 0) continue;
    const lysc_type* const type = reinterpret_cast<const lysc_node_leaf*>(node)->type;
    if (type->basetype != LY_TYPE_LEAFREF) {
      if (type->basetype != LY_TYPE_INST) risk("deref() of " + describe(node));
      not_proven_anywhere("deref()");
      targets.base = nullptr;
      continue;
    }
    if (site_.derefs >= kMostDerefs) {
      not_proven_anywhere("deref()");
      continue;
    }
    const auto* const leafref = reinterpret_cast<const lysc_type_leafref*>(type);
    const ExpressionSite site = {site_.context,     node,    node->module,
                                 leafref->prefixes, nullptr, site_.derefs + 1};
    const ExpressionPaths paths = paths_of(lyxp_get_expr(leafref->path), site);
    visited_.insert(paths.visited.begin(), paths.visited.end());
    asked_.insert(paths.asked.begin(), paths.asked.end());
    if (paths.anywhere) not_proven_anywhere("deref()");
    if (!paths.hazard.empty()) risk(paths.hazard);
    if (stands_below(targets.base, paths.reach)) targets.base = paths.reach;
    targets.nodes.insert(targets.nodes.end(), paths.targets.begin(), paths.targets.end());
  }
  raise(targets.base);
  return targets;
}

SchemaValue SchemaEvaluator::path(const XpathExpression& expression, const SchemaNodes& context) {
  SchemaValue result;
  result.nodes = context;
  if (!expression.arguments.empty()) {
    result = value_of(expression.arguments[0], context);
    if (result.type != XpathResult::kNodes) {
      not_proven_anywhere("path or predicate behind a value");
      return result;
    }
  } else if (expression.is_absolute) {
    result.nodes = root();
  }
  raise(result.nodes.base);
  predicates(expression.predicates, result.nodes);
  bool is_deep = false;
  for (const XpathStep& each : expression.steps) {
    // Nodes of several depths: as with an axis, unless the path only goes on downwards by name.
    const bool goes_down = each.axis == XpathAxis::kChild && each.test == XpathStep::Test::kName;
    if (is_deep && !goes_down) risk("// before a step that is no name");
    is_deep |= each.axis == XpathAxis::kDescendantOrSelf && each.is_abbreviated;
    result.nodes = step(each, result.nodes);
  }
  return result;
}

void SchemaEvaluator::use(const SchemaValue& value, XpathUse use) {
  if (value.type != XpathResult::kNodes) return;
  const SchemaNodes& nodes = value.nodes;
  if (!nodes.is_own) asked_.insert(nodes.nodes.begin(), nodes.nodes.end());
  if (use == XpathUse::kPresence) return;
  found_.asks_context |= is_context(nodes);
  if (use == XpathUse::kFirstValue && nodes.has_root) risk("value of the root");
  if (use != XpathUse::kEveryValue && nodes.several) {
    not_proven("order of entries of " +
               (nodes.many != nullptr ? describe(nodes.many) : std::string("a node-set")));
  }
  ask_text(nodes);
}

void SchemaEvaluator::ask_text(const SchemaNodes& nodes) {
  if (nodes.has_root) {
    not_proven_anywhere("text of the whole tree");
    risk("text of the whole tree");
  }
  for (const lysc_node* const node : nodes.nodes) {
    if (node == site_.absent) risk("text of the node that is missed");
    if ((node->nodetype & LYD_NODE_TERM) != 0) continue;
    not_proven("text of " + describe(node));
    if ((node->nodetype & LYD_NODE_ANY) != 0) risk("text of " + describe(node));
    visit_below(node);
  }
}

void SchemaEvaluator::visit(const SchemaNodes& nodes) {
  visited_.insert(nodes.nodes.begin(), nodes.nodes.end());
}

// The text of an inner node is the text of all below it.
void SchemaEvaluator::visit_below(const lysc_node* node) {
  if ((node->nodetype & LYD_NODE_INNER) == 0 || !below_.insert(node).second) return;
  const lysc_node* child = nullptr;
  while ((child = lys_getnext(child, node, nullptr, 0)) != nullptr) {
    visited_.insert(child);
    asked_.insert(child);
    if ((child->nodetype & LYD_NODE_ANY) != 0) risk("text of " + describe(child));
    if (child == site_.absent) risk("text around the node that is missed");
    visit_below(child);
  }
}

void SchemaEvaluator::raise(const lysc_node* base) {
  if (stands_below(found_.reach, base)) found_.reach = base;
}

void SchemaEvaluator::not_proven(std::string reason) {
  if (found_.reason.empty()) found_.reason = std::move(reason);
}

void SchemaEvaluator::not_proven_anywhere(std::string reason) {
  not_proven(std::move(reason));
  found_.anywhere = true;
  found_.reach = nullptr;
}

void SchemaEvaluator::risk(std::string hazard) {
  if (found_.hazard.empty()) found_.hazard = std::move(hazard);
}

}  // namespace nexa::store
