// Expressions as trees: each form of the grammar once, written out again with every word of it.
#include "store/validation/xpath_tree.h"

#include <gtest/gtest.h>

#include <string>

namespace nexa::store {
namespace xpath_tree_test {

std::string words(const XpathExpression& expression);

std::string words(const std::vector<XpathExpression>& predicates) {
  std::string text;
  for (const XpathExpression& predicate : predicates) text += "[" + words(predicate) + "]";
  return text;
}

std::string words(const XpathStep& step) {
  const std::string prefix = step.prefix.empty() ? "" : step.prefix + ":";
  std::string test;
  switch (step.test) {
    case XpathStep::Test::kName:
      test = prefix + step.name;
      break;
    case XpathStep::Test::kAnyName:
      test = prefix + "*" + step.name;
      break;
    case XpathStep::Test::kNode:
      test = "node()" + step.name;
      break;
    case XpathStep::Test::kText:
      test = "text()" + step.name;
      break;
    case XpathStep::Test::kOther:
      test = "other()" + step.name;
      break;
  }
  const std::string axis(axis_name(step.axis));
  return (step.is_abbreviated ? "//" : "") + axis + "::" + test + words(step.predicates);
}

// Operands in parentheses behind the operator, steps in braces.
std::string words(const XpathExpression& expression) {
  using Kind = XpathExpression::Kind;
  std::string operands;
  for (const XpathExpression& operand : expression.arguments) {
    operands += (operands.empty() ? "" : ", ") + words(operand);
  }
  switch (expression.kind) {
    case Kind::kLiteral:
      return "'" + expression.text + "'";
    case Kind::kNumber:
      return "#" + expression.text;
    case Kind::kVariable:
      return "$" + expression.text;
    case Kind::kCall:
      return expression.text + "(" + operands + ")";
    case Kind::kPath: {
      std::string steps = expression.is_absolute ? "/" : "";
      for (const XpathStep& step : expression.steps) {
        steps += (steps.size() < 2 ? "" : " ") + words(step);
      }
      const std::string start = operands.empty() ? "" : "(" + operands + ")";
      return start + words(expression.predicates) + "{" + steps + "}";
    }
    case Kind::kOr:
      return "or<" + expression.text + ">(" + operands + ")";
    case Kind::kAnd:
      return "and<" + expression.text + ">(" + operands + ")";
    case Kind::kComparison:
      return "compare<" + expression.text + ">(" + operands + ")";
    case Kind::kArithmetic:
      return "compute<" + expression.text + ">(" + operands + ")";
    case Kind::kNegation:
      return "negate<" + expression.text + ">(" + operands + ")";
    case Kind::kUnion:
      return "union<" + expression.text + ">(" + operands + ")";
  }
  return "?";
}

std::string tree_of(const std::string& text) {
  const std::optional<XpathExpression> parsed = parse_xpath(text);
  return parsed ? words(*parsed) : "none";
}

struct Form {
  const char* text;
  const char* tree;
};

void expect_trees(std::initializer_list<Form> forms) {
  for (const Form& form : forms) EXPECT_EQ(tree_of(form.text), form.tree) << form.text;
}

TEST(XpathTree, OfNames) {
  expect_trees({{"a", "{child::a}"},
                {"aB", "{child::aB}"},
                {"Az", "{child::Az}"},
                {"Zz", "{child::Zz}"},
                {"zA", "{child::zA}"},
                {"_a", "{child::_a}"},
                {"\xc3\xa4", "{child::\xc3\xa4}"},
                {"a.b-c_d9", "{child::a.b-c_d9}"},
                {"a0", "{child::a0}"},
                {"p:a", "{child::p:a}"},
                {"p.q:a", "{child::p.q:a}"},
                {"p:*", "{child::p:*}"},
                {"*", "{child::*}"},
                {"9a", "none"},
                {"-", "none"},
                {".a", "none"},
                {"[", "none"},
                {"@", "none"},
                {"`", "none"},
                {"{", "none"},
                {"p:", "none"},
                {"p:9", "none"},
                {":a", "none"},
                {"", "none"},
                {"  ", "none"}});
}

TEST(XpathTree, OfWhiteSpace) {
  expect_trees({{"\ta\n/\rb ", "{child::a child::b}"},
                {"a\n=\r'1'", "compare<=>({child::a}, '1')"},
                {"\r\n not\t( a )", "not({child::a})"},
                {"a [ 1 ]", "{child::a[#1]}"},
                {"a\vb", "none"}});
}

TEST(XpathTree, OfOperators) {
  expect_trees(
      {{"a or b and c", "or<or>({child::a}, and<and>({child::b}, {child::c}))"},
       {"a or b or c", "or<or or>({child::a}, {child::b}, {child::c})"},
       {"a and b and c", "and<and and>({child::a}, {child::b}, {child::c})"},
       {"a != b = c", "compare<!= =>({child::a}, {child::b}, {child::c})"},
       {"a <= b >= c < d > e",
        "compare<<= >= < >>({child::a}, {child::b}, {child::c}, {child::d}, {child::e})"},
       {"a = b < c", "compare<=>({child::a}, compare<<>({child::b}, {child::c}))"},
       {"1 + 2 - 3", "compute<+ ->(#1, #2, #3)"},
       {"1 + 2 * 3", "compute<+>(#1, compute<*>(#2, #3))"},
       {"a * b div c mod d", "compute<* div mod>({child::a}, {child::b}, {child::c}, {child::d})"},
       {"* * *", "compute<*>({child::*}, {child::*})"},
       {"or or or", "or<or>({child::or}, {child::or})"},
       {"1 div(2)", "compute<div>(#1, #2)"},
       {"--a", "negate<->({child::a})"},
       {"- a | b", "negate<->(union<|>({child::a}, {child::b}))"},
       {"a - -b", "compute<->({child::a}, negate<->({child::b}))"},
       {"a | b | c", "union<|>({child::a}, {child::b}, {child::c})"},
       // What goes on as a name is no operator.
       {"a divx b", "none"},
       {"a or: b", "none"},
       {"a and-b", "none"},
       {"a mod.b", "none"},
       {"a or", "none"},
       {"a + ", "none"},
       {"a + + b", "none"},
       {"a |", "none"},
       {"a | | b", "none"},
       {"a | 'b | c", "none"},
       {"a + 'b + c", "none"},
       {"| a", "none"}});
}

TEST(XpathTree, OfValues) {
  expect_trees({{"12", "#12"},
                {"1.", "#1."},
                {".5", "#.5"},
                {"1.25", "#1.25"},
                {"1.2.3", "none"},
                {"'it\"s'", "'it\"s'"},
                {"\"it's\"", "'it's'"},
                {"''", "''"},
                {"'open", "none"},
                {"$x", "$x"},
                {"$ x", "$x"},
                {"$p:x", "$p:x"},
                {"$p:x/a", "($p:x){child::a}"},
                {"('a')", "'a'"},
                {"('a'", "none"},
                {"('a'))", "none"},
                {"()", "none"}});
}

TEST(XpathTree, OfCalls) {
  expect_trees({{"true()", "true()"},
                {"f( )", "f()"},
                {"f(a, 'b', 3)", "f({child::a}, 'b', #3)"},
                {"f(g(a))/b", "(f(g({child::a}))){child::b}"},
                {"f()[a]", "(f())[{child::a}]{}"},
                {"f()//b", "(f()){//descendant-or-self::node() child::b}"},
                {"(a)[b][c]/d", "({child::a})[{child::b}][{child::c}]{child::d}"},
                {"f(", "none"},
                {"f(a", "none"},
                {"f(a,", "none"},
                {"f(,a)", "none"},
                {"f('a, b)", "none"},
                {"f(a b)", "none"},
                {"p:f(a)", "none"}});
}

TEST(XpathTree, OfPaths) {
  expect_trees({{"/", "{/}"},
                {"/ = 'a'", "compare<=>({/}, 'a')"},
                {"/a", "{/child::a}"},
                {"/_a", "{/child::_a}"},
                {"/.", "{/self::node()}"},
                {"/..", "{/parent::node()}"},
                {"/@a", "{/attribute::a}"},
                {"/*", "{/child::*}"},
                {"/ a", "{/child::a}"},
                {"//a", "{///descendant-or-self::node() child::a}"},
                {"a//b", "{child::a //descendant-or-self::node() child::b}"},
                {"./a/..", "{self::node() child::a parent::node()}"},
                {".[a]", "{self::node()[{child::a}]}"},
                {"..[a]/b", "{parent::node()[{child::a}] child::b}"},
                {"@p:a", "{attribute::p:a}"},
                {"a/", "none"},
                {"a//", "none"},
                {"//", "none"},
                {"a///b", "none"},
                {"/ /a", "none"},
                {"a[b", "none"},
                {"a[]", "none"},
                {"a]", "none"}});
}

TEST(XpathTree, OfAxes) {
  for (const char* const axis : {"child", "parent", "self", "descendant", "descendant-or-self",
                                 "ancestor", "ancestor-or-self", "following", "following-sibling",
                                 "preceding", "preceding-sibling", "attribute", "namespace"}) {
    EXPECT_EQ(tree_of(std::string(axis) + "::p:a"), "{" + std::string(axis) + "::p:a}");
    EXPECT_EQ(tree_of(axis), "{child::" + std::string(axis) + "}");
  }
  expect_trees({{"self :: a", "{self::a}"},
                {"self::*[a]", "{self::*[{child::a}]}"},
                {"descendant-or-self::node()/a", "{descendant-or-self::node() child::a}"},
                {"sideways::a", "none"},
                {"self::", "none"},
                {"::a", "none"},
                {"self:: :a", "none"},
                {"self::a::b", "none"}});
}

TEST(XpathTree, OfNodeTests) {
  expect_trees({{"node()", "{child::node()}"},
                {"node ( )/a", "{child::node() child::a}"},
                {"text()", "{child::text()}"},
                {"comment()", "{child::other()}"},
                {"processing-instruction()", "{child::other()}"},
                {"processing-instruction('a')[b]", "{child::other()[{child::b}]}"},
                {"a/comment()/b", "{child::a child::other() child::b}"},
                {"self::text()", "{self::text()}"},
                {"node", "{child::node}"},
                {"text", "{child::text}"},
                {"comment", "{child::comment}"},
                {"node('a')", "none"},
                {"text('a')", "none"},
                {"comment(", "none"},
                {"node(", "none"},
                {"a/true()", "{child::a child::other()}"}});
}

TEST(XpathTree, NestsAsDeepAsModelsNeed) {
  const auto nested = [](int depth) {
    return std::string(depth, '(') + "a" + std::string(depth, ')');
  };
  EXPECT_EQ(tree_of(nested(100)), "{child::a}");
  EXPECT_EQ(tree_of(nested(101)), "none");
  // Only what stands inside of each other counts.
  std::string beside = nested(99);
  for (int i = 0; i < 3; ++i) beside += " or " + nested(99);
  EXPECT_EQ(tree_of(beside), "or<or or or>({child::a}, {child::a}, {child::a}, {child::a})");
}

TEST(XpathTree, KnowsWhatNeedsNoContext) {
  for (const char* const text :
       {"/a", "/", "//a[b]", "/a[b = /c]", "true()", "false()", "not(false())", "1", "'a'", "-/a",
        "/a | /b", "(/a)[b]", "(/a)[b]/c[d]", "count(/a)", "string(/a)"}) {
    EXPECT_TRUE(is_absolute(*parse_xpath(text))) << text;
  }
  for (const char* const text :
       {"a", ".", "/a | b", "-a", "current()", "/a[current()]", "(/a)[current()]",
        "(/a)[b]/c[current()]", "/a[b[current()/c]]", "not(current())", "string()", "last()",
        "lang('a')", "(a)[/b]", "not(true() and a)"}) {
    EXPECT_FALSE(is_absolute(*parse_xpath(text))) << text;
  }
}

TEST(XpathTree, KnowsPlainPaths) {
  for (const char* const text :
       {"a", "/a/b", "../a", "../../p:a/b", "..", "parent::node()/child::a", "/"}) {
    EXPECT_TRUE(is_plain_path(*parse_xpath(text))) << text;
  }
  for (const char* const text : {"'a'",
                                 "1",
                                 "current()",
                                 "current()/../a",
                                 "(a)/b",
                                 "a[b]",
                                 "../a[b]",
                                 "..[b]/a",
                                 "a/..",
                                 "../a/../b",
                                 "/..",
                                 "/../a",
                                 ".",
                                 "./a",
                                 "a/.",
                                 "*",
                                 "a/*",
                                 "p:*",
                                 "parent::a/b",
                                 "parent::*/b",
                                 "descendant::a",
                                 "//a",
                                 "a/node()",
                                 "a/text()",
                                 "@a",
                                 "a | b",
                                 "-a"}) {
    EXPECT_FALSE(is_plain_path(*parse_xpath(text))) << text;
  }
}

}  // namespace xpath_tree_test
}  // namespace nexa::store
