// An XPath 1.0 expression as a tree, as the models state it: which operators, functions and
// location paths it is made of. Knows no schema; names keep their prefixes.
#ifndef HOST_STORE_VALIDATION_XPATH_TREE_H_
#define HOST_STORE_VALIDATION_XPATH_TREE_H_

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace nexa::store {

enum class XpathAxis : std::uint8_t {
  kChild,
  kParent,
  kSelf,
  kDescendant,
  kDescendantOrSelf,
  kAncestor,
  kAncestorOrSelf,
  kFollowing,
  kFollowingSibling,
  kPreceding,
  kPrecedingSibling,
  kAttribute,
  kNamespace,
};

// The axis as it is written out, such as "preceding-sibling".
std::string_view axis_name(XpathAxis axis);

struct XpathExpression;

struct XpathStep {
  enum class Test : std::uint8_t {
    kName,     // prefix:name or name
    kAnyName,  // * or prefix:*
    kNode,     // node(), and what "." and ".." stand for
    kText,     // text()
    kOther,    // comment(), processing-instruction()
  };
  XpathAxis axis = XpathAxis::kChild;
  Test test = Test::kNode;
  bool is_abbreviated = false;  // the step that "//" stands for
  std::string prefix;           // empty: none
  std::string name;             // kName
  std::vector<XpathExpression> predicates;
};

struct XpathExpression {
  enum class Kind : std::uint8_t {
    kOr,
    kAnd,
    kComparison,  // = != < <= > >=
    kArithmetic,  // + - * div mod
    kNegation,
    kUnion,
    kLiteral,
    kNumber,
    kVariable,
    kCall,
    kPath,
  };
  Kind kind = Kind::kLiteral;
  std::string text;  // the operator, the literal's or number's text, the function's name
  std::vector<XpathExpression> arguments;  // operands; of a call; kPath: the start, if any

  // kPath only: steps from the root, from `arguments[0]` with its predicates, or from the context.
  bool is_absolute = false;
  std::vector<XpathExpression> predicates;
  std::vector<XpathStep> steps;
};

// Null: not an expression, or nested deeper than any model needs.
std::optional<XpathExpression> parse_xpath(std::string_view text);

// Whether it yields the same wherever in a tree it is asked.
bool is_absolute(const XpathExpression& expression);

// Whether it is a path of names that first climbs and then only goes down, without predicates.
bool is_plain_path(const XpathExpression& expression);

}  // namespace nexa::store

#endif  // HOST_STORE_VALIDATION_XPATH_TREE_H_
