// Steps: where an axis leads from a set of schema nodes, and which predicates leave one entry of a
// list at most.
#include <algorithm>
#include <array>
#include <cstring>
#include <utility>

#include "store/validation/constraint_index.h"
#include "store/validation/schema_evaluator.h"

namespace nexa::store {
namespace {

using Kind = XpathExpression::Kind;
using Test = XpathStep::Test;

constexpr std::uint16_t kData = LYD_NODE_TERM | LYD_NODE_ANY | LYS_CONTAINER | LYS_LIST;

bool is_list(const lysc_node* node) { return (node->nodetype & (LYS_LIST | LYS_LEAFLIST)) != 0; }

bool is_integer(const lysc_node* leaf) {
  const LY_DATA_TYPE type = reinterpret_cast<const lysc_node_leaf*>(leaf)->type->basetype;
  constexpr std::array<LY_DATA_TYPE, 8> kIntegers = {LY_TYPE_UINT8,  LY_TYPE_UINT16, LY_TYPE_UINT32,
                                                     LY_TYPE_UINT64, LY_TYPE_INT8,   LY_TYPE_INT16,
                                                     LY_TYPE_INT32,  LY_TYPE_INT64};
  return std::find(kIntegers.begin(), kIntegers.end(), type) != kIntegers.end();
}

std::string named(std::string_view kind, std::string_view name) {
  return std::string(kind).append(" ").append(name);
}

// Whether some path starts by leaving the node that it is evaluated at.
bool climbs_out(const XpathExpression& expression) {
  if (expression.kind == Kind::kPath && expression.arguments.empty() && !expression.is_absolute &&
      !expression.steps.empty() && expression.steps[0].axis == XpathAxis::kParent) {
    return true;
  }
  return std::any_of(expression.arguments.begin(), expression.arguments.end(), climbs_out);
}

// Operands of `and`, also inside each other.
void collect_terms(const XpathExpression& expression, std::vector<const XpathExpression*>& terms) {
  if (expression.kind != Kind::kAnd) return terms.push_back(&expression);
  for (const XpathExpression& operand : expression.arguments) collect_terms(operand, terms);
}

const XpathStep* single_step(const XpathExpression& expression) {
  const bool is_plain = expression.kind == Kind::kPath && expression.arguments.empty() &&
                        !expression.is_absolute && expression.steps.size() == 1;
  return is_plain && expression.steps[0].predicates.empty() ? &expression.steps[0] : nullptr;
}

std::vector<const lysc_node*> keys_of(const lysc_node* node) {
  if (node->nodetype == LYS_LEAFLIST) return {node};
  std::vector<const lysc_node*> keys;
  for (const lysc_node* child = lysc_node_child(node); child != nullptr; child = child->next) {
    if (lysc_is_key(child)) keys.push_back(child);
  }
  return keys;
}

}  // namespace

SchemaNodes SchemaEvaluator::root() const {
  SchemaNodes root;
  root.has_root = true;
  root.is_own = true;
  return root;
}

SchemaNodes SchemaEvaluator::step(const XpathStep& step, const SchemaNodes& from) {
  SchemaNodes to;
  switch (step.axis) {
    case XpathAxis::kSelf:
      to = from;
      found_.asks_context |= is_context(from) && step.test != Test::kNode;
      filter(step, to);
      break;
    case XpathAxis::kParent:
      to = parents(from);
      filter(step, to);
      break;
    case XpathAxis::kChild:
      to = children(step, from);
      break;
    default:
      to = far_nodes(step, from);
  }
  raise(to.base);
  // Behind "//" the next step says which of the nodes count.
  const bool is_slashes = step.axis == XpathAxis::kDescendantOrSelf && step.is_abbreviated;
  if (!to.is_own && !is_slashes) visit(to);
  predicates(step.predicates, to);
  return to;
}

SchemaNodes SchemaEvaluator::parents(const SchemaNodes& from) {
  SchemaNodes to;
  to.base = from.base;
  to.several = from.several;
  to.many = from.many;
  bool only_own = true;
  std::unordered_set<const lysc_node*> seen;
  for (const lysc_node* const node : from.nodes) {
    const lysc_node* const parent = lysc_data_parent(node);
    if (node == from.base) to.base = parent;
    if (parent == nullptr) {
      to.has_root = true;
    } else if (seen.insert(parent).second) {
      to.nodes.push_back(parent);
    }
  }
  for (const lysc_node* const node : to.nodes) only_own &= node == to.base;
  // The instance at the base and those above it are the context's own: there is one of each.
  if (only_own && to.nodes.size() + (to.has_root ? 1 : 0) == 1) {
    to.several = false;
    to.many = nullptr;
    to.is_own = from.is_own;
  }
  return to;
}

SchemaNodes SchemaEvaluator::children(const XpathStep& step, const SchemaNodes& from) {
  SchemaNodes to;
  to.base = from.base;
  to.several = from.several;
  to.many = from.many;
  if (step.test == Test::kText) {
    not_proven_anywhere("text()");
    risk("text()");
    to.nodes = from.nodes;
    return to;
  }
  if (step.test != Test::kName) not_proven(step.test == Test::kAnyName ? "wildcard *" : "node()");
  const lys_module* const module = module_of(step);
  const auto take = [&](const lysc_node* parent, const lysc_module* compiled) {
    const lysc_node* child = nullptr;
    while ((child = lys_getnext(child, parent, compiled, 0)) != nullptr) {
      if ((child->nodetype & kData) == 0) continue;
      if (module != nullptr && child->module != module) continue;
      if (step.test == Test::kName && step.name != child->name) continue;
      to.nodes.push_back(child);
    }
  };
  for (const lysc_node* const parent : from.nodes) {
    if ((parent->nodetype & LYD_NODE_INNER) != 0) take(parent, nullptr);
  }
  std::uint32_t at = 0;
  while (const lys_module* const each =
             from.has_root ? ly_ctx_get_module_iter(site_.context, &at) : nullptr) {
    if (each->compiled != nullptr) take(nullptr, each->compiled);
  }
  if (step.test != Test::kName) to.several = true;
  for (const lysc_node* const node : to.nodes) {
    if (!is_list(node) || picks_one(step, node, from)) continue;
    to.several = true;
    if (to.many == nullptr) to.many = node;
  }
  // libyang takes the value on the other side from the first parent for all of them.
  const auto is_climbing = [](const XpathExpression& predicate) { return climbs_out(predicate); };
  if (from.several && std::any_of(step.predicates.begin(), step.predicates.end(), is_climbing)) {
    not_proven("a predicate that climbs out of several entries");
  }
  return to;
}

// Every other axis: all that may stand on it.
SchemaNodes SchemaEvaluator::far_nodes(const XpathStep& step, const SchemaNodes& from) {
  SchemaNodes to;
  to.several = true;
  const bool is_slashes = step.is_abbreviated;
  not_proven(is_slashes ? "//" : named("axis", axis_name(step.axis)));
  // libyang reads past the tree's end when it sorts nodes that an axis gave in another order.
  if (!is_slashes) risk(named("axis", axis_name(step.axis)));
  switch (step.axis) {
    case XpathAxis::kDescendant:
    case XpathAxis::kDescendantOrSelf:
      to = descendants(from);
      if (step.axis == XpathAxis::kDescendantOrSelf) {
        to.nodes.insert(to.nodes.end(), from.nodes.begin(), from.nodes.end());
        to.has_root = from.has_root;
      }
      break;
    case XpathAxis::kAncestor:
    case XpathAxis::kAncestorOrSelf:
      to.has_root = true;
      for (const lysc_node* node : from.nodes) {
        if (step.axis == XpathAxis::kAncestor) node = lysc_data_parent(node);
        for (; node != nullptr; node = lysc_data_parent(node)) {
          if (!is_among(to.nodes, node)) to.nodes.push_back(node);
        }
      }
      break;
    case XpathAxis::kFollowingSibling:
    case XpathAxis::kPrecedingSibling: {
      XpathStep siblings;
      siblings.test = Test::kAnyName;
      const SchemaNodes above = parents(from);
      raise(above.base);
      to = children(siblings, above);
      visit(to);  // their places count, whatever their names are
      break;
    }
    default:
      // Where these end depends on the order of all that is in the tree.
      not_proven_anywhere(named("axis", axis_name(step.axis)));
      return to;
  }
  filter(step, to);
  return to;
}

SchemaNodes SchemaEvaluator::descendants(const SchemaNodes& from) {
  XpathStep all;
  all.test = Test::kAnyName;
  SchemaNodes to = children(all, from);
  std::unordered_set<const lysc_node*> seen(to.nodes.begin(), to.nodes.end());
  for (std::size_t i = 0; i < to.nodes.size(); ++i) {
    const lysc_node* const node = to.nodes[i];
    if ((node->nodetype & LYD_NODE_INNER) == 0) continue;
    const lysc_node* child = nullptr;
    while ((child = lys_getnext(child, node, nullptr, 0)) != nullptr) {
      const bool is_new = (child->nodetype & kData) != 0 && seen.insert(child).second;
      if (is_new) to.nodes.push_back(child);
    }
  }
  return to;
}

void SchemaEvaluator::filter(const XpathStep& step, SchemaNodes& nodes) {
  if (step.test == Test::kNode) return;
  if (step.test == Test::kText || step.test == Test::kOther) {
    not_proven_anywhere("text()");
    risk("text()");
  }
  if (step.test == Test::kAnyName) not_proven("wildcard *");
  const lys_module* const module = module_of(step);
  // For libyang the root passes for a node of any name.
  nodes.has_root = nodes.has_root && step.test == Test::kAnyName;
  const auto is_other = [&](const lysc_node* node) {
    if (module != nullptr && node->module != module) return true;
    return step.test == Test::kName && step.name != node->name;
  };
  nodes.nodes.erase(std::remove_if(nodes.nodes.begin(), nodes.nodes.end(), is_other),
                    nodes.nodes.end());
}

void SchemaEvaluator::predicates(const std::vector<XpathExpression>& predicates,
                                 SchemaNodes& nodes) {
  SchemaNodes entry = nodes;
  entry.several = false;
  entry.many = nullptr;
  for (const XpathExpression& predicate : predicates) {
    const SchemaValue value = value_of(predicate, entry);
    if (value.type == XpathResult::kNumber) not_proven("position in a predicate");
    use(value, XpathUse::kPresence);
  }
  if (!predicates.empty()) nodes.is_own = false;
}

// Whether the predicates give each key of a list, or the value of a leaf-list, by one value.
bool SchemaEvaluator::picks_one(const XpathStep& step, const lysc_node* node,
                                const SchemaNodes& from) {
  SchemaNodes entry;
  entry.nodes = {node};
  entry.base = from.base;
  std::vector<const XpathExpression*> terms;
  for (const XpathExpression& predicate : step.predicates) collect_terms(predicate, terms);
  const std::vector<const lysc_node*> keys = keys_of(node);
  const auto is_given = [&](const lysc_node* key) {
    const auto names_key = [&](const XpathExpression& side) {
      const XpathStep* const single = single_step(side);
      if (single == nullptr) return false;
      if (key == node) return single->axis == XpathAxis::kSelf && single->test == Test::kNode;
      return single->axis == XpathAxis::kChild && single->test == Test::kName &&
             single->name == key->name && module_of(*single) == key->module;
    };
    return std::any_of(terms.begin(), terms.end(), [&](const XpathExpression* term) {
      if (term->kind != Kind::kComparison || term->text != "=") return false;
      const XpathExpression& left = term->arguments[0];
      const XpathExpression& right = term->arguments[1];
      return (names_key(left) && is_single_value(right, key, entry)) ||
             (names_key(right) && is_single_value(left, key, entry));
    });
  };
  return !keys.empty() && std::all_of(keys.begin(), keys.end(), is_given);
}

bool SchemaEvaluator::is_single_value(const XpathExpression& expression, const lysc_node* key,
                                      const SchemaNodes& entry) {
  if (depends_on_context(expression)) return false;
  const SchemaValue value = value_of(expression, entry);
  switch (value.type) {
    case XpathResult::kNodes:
      return !value.nodes.several;
    case XpathResult::kNumber:
      return is_integer(key);
    case XpathResult::kString:
      return true;
    case XpathResult::kBoolean:
      break;
  }
  return false;
}

// Whether the value may differ between the entries of one list.
bool SchemaEvaluator::depends_on_context(const XpathExpression& expression) const {
  const auto depends = [this](const XpathExpression& part) { return depends_on_context(part); };
  if (expression.kind == Kind::kPath && expression.arguments.empty() && !expression.is_absolute &&
      (expression.steps.empty() || expression.steps[0].axis != XpathAxis::kParent)) {
    return true;
  }
  if (expression.kind == Kind::kCall && expression.arguments.empty()) {
    const XpathFunction* const function = find_xpath_function(expression.text);
    const bool is_constant = function != nullptr && !function->uses_context;
    return !is_constant && expression.text != "current";
  }
  return std::any_of(expression.arguments.begin(), expression.arguments.end(), depends);
}

// Null: every module, for "*". A prefix that nobody declares names no module that has data.
const lys_module* SchemaEvaluator::module_of(const XpathStep& step) {
  if (step.prefix.empty()) return step.test == Test::kName ? site_.module : nullptr;
  LY_ARRAY_COUNT_TYPE i = 0;
  LY_ARRAY_FOR(site_.prefixes, i) {
    const char* const prefix = site_.prefixes[i].prefix;
    if (prefix != nullptr && step.prefix == prefix) return site_.prefixes[i].mod;
  }
  not_proven_anywhere(named("unknown prefix", step.prefix));
  return nullptr;
}

}  // namespace nexa::store
