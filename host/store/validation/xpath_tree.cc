// A recursive descent over the text. Where an operand is due, "*" and names are node tests; where
// an operator is due, they are operators: that is all that the lexical rules of XPath 3.7 ask for.
#include "store/validation/xpath_tree.h"

#include <algorithm>
#include <array>
#include <utility>

namespace nexa::store {
namespace {

using Kind = XpathExpression::Kind;

constexpr int kDeepest = 100;  // parentheses, predicates and arguments inside each other

constexpr std::array<std::string_view, 13> kAxes = {"child",
                                                    "parent",
                                                    "self",
                                                    "descendant",
                                                    "descendant-or-self",
                                                    "ancestor",
                                                    "ancestor-or-self",
                                                    "following",
                                                    "following-sibling",
                                                    "preceding",
                                                    "preceding-sibling",
                                                    "attribute",
                                                    "namespace"};

struct Level {
  Kind kind;
  std::array<std::string_view, 4> operators;  // a longer one stands before its beginning
};

constexpr std::array<Level, 6> kLevels = {{{Kind::kOr, {"or"}},
                                           {Kind::kAnd, {"and"}},
                                           {Kind::kComparison, {"!=", "="}},
                                           {Kind::kComparison, {"<=", "<", ">=", ">"}},
                                           {Kind::kArithmetic, {"+", "-"}},
                                           {Kind::kArithmetic, {"*", "div", "mod"}}}};

bool is_digit(char c) { return c >= '0' && c <= '9'; }
bool is_space(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }
bool is_name_start(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_' ||
         static_cast<unsigned char>(c) >= 0x80;
}
bool is_name(char c) { return is_name_start(c) || is_digit(c) || c == '-' || c == '.'; }

class Parser {
 public:
  explicit Parser(std::string_view text) : text_(text) {}

  std::optional<XpathExpression> parse() {
    XpathExpression expression = chain(0);
    skip_space();
    if (failed_ || at_ != text_.size()) return std::nullopt;
    return expression;
  }

 private:
  // Operands of one precedence; the operators stand in `text`, a blank between two.
  XpathExpression chain(std::size_t level) {
    if (level == kLevels.size()) return unary();
    XpathExpression first = chain(level + 1);
    std::string_view word = accept_operator(level);
    if (word.empty()) return first;
    XpathExpression whole;
    whole.kind = kLevels[level].kind;
    whole.text = word;
    whole.arguments.push_back(std::move(first));
    while (!word.empty() && !failed_) {
      whole.arguments.push_back(chain(level + 1));
      word = accept_operator(level);
      if (!word.empty()) whole.text.append(" ").append(word);
    }
    return whole;
  }

  std::string_view accept_operator(std::size_t level) {
    skip_space();
    for (const std::string_view word : kLevels[level].operators) {
      if (word.empty() || text_.substr(at_, word.size()) != word) continue;
      const char after = peek(word.size());
      if (is_name_start(word[0]) && (is_name(after) || after == ':')) continue;
      at_ += word.size();
      return word;
    }
    return {};
  }

  XpathExpression unary() {
    bool is_negated = false;
    while (accept("-")) is_negated = true;
    XpathExpression operand = union_of_paths();
    if (!is_negated) return operand;
    XpathExpression negation;
    negation.kind = Kind::kNegation;
    negation.text = "-";
    negation.arguments.push_back(std::move(operand));
    return negation;
  }

  XpathExpression union_of_paths() {
    XpathExpression first = path();
    if (!accept("|")) return first;
    XpathExpression whole;
    whole.kind = Kind::kUnion;
    whole.text = "|";
    whole.arguments.push_back(std::move(first));
    do {
      whole.arguments.push_back(path());
    } while (!failed_ && accept("|"));
    return whole;
  }

  XpathExpression path() {
    skip_space();
    const char c = peek(0);
    const bool is_number = is_digit(c) || (c == '.' && is_digit(peek(1)));
    if (c != '(' && c != '"' && c != '\'' && c != '$' && !is_number && !is_call()) {
      return location_path();
    }
    XpathExpression start = is_number ? number() : primary(c);
    std::vector<XpathExpression> filters = predicates();
    skip_space();
    if (filters.empty() && peek(0) != '/') return start;
    XpathExpression whole;
    whole.kind = Kind::kPath;
    whole.arguments.push_back(std::move(start));
    whole.predicates = std::move(filters);
    if (peek(0) == '/') more_steps(whole);
    return whole;
  }

  XpathExpression primary(char c) {
    if (c == '(') {
      ++at_;
      XpathExpression inner = nested();
      expect(")");
      return inner;
    }
    XpathExpression result;
    if (c == '$') {
      ++at_;
      result.kind = Kind::kVariable;
      result.text = qualified_name();
      return result;
    }
    if (c == '"' || c == '\'') {
      const std::size_t end = text_.find(c, at_ + 1);
      if (end == std::string_view::npos) return fail();
      result.text = text_.substr(at_ + 1, end - at_ - 1);
      at_ = end + 1;
      return result;
    }
    result.kind = Kind::kCall;
    result.text = name();
    expect("(");
    if (accept(")")) return result;
    do {
      result.arguments.push_back(nested());
    } while (!failed_ && accept(","));
    expect(")");
    return result;
  }

  XpathExpression number() {
    XpathExpression result;
    result.kind = Kind::kNumber;
    const std::size_t begin = at_;
    while (is_digit(peek(0))) ++at_;
    if (peek(0) == '.') ++at_;
    while (is_digit(peek(0))) ++at_;
    result.text = text_.substr(begin, at_ - begin);
    return result;
  }

  XpathExpression location_path() {
    XpathExpression whole;
    whole.kind = Kind::kPath;
    if (peek(0) != '/') {
      whole.steps.push_back(step());
    } else {
      whole.is_absolute = true;
      if (peek(1) != '/') {
        ++at_;
        if (!is_step_next()) return whole;
        whole.steps.push_back(step());
      }
    }
    more_steps(whole);
    return whole;
  }

  // Steps behind "/" and "//".
  void more_steps(XpathExpression& whole) {
    while (!failed_ && accept("/")) {
      if (peek(0) == '/') {
        ++at_;
        XpathStep& any_depth = whole.steps.emplace_back();
        any_depth.axis = XpathAxis::kDescendantOrSelf;
        any_depth.is_abbreviated = true;
      }
      whole.steps.push_back(step());
    }
  }

  bool is_step_next() {
    skip_space();
    const char c = peek(0);
    return is_name_start(c) || c == '.' || c == '@' || c == '*';
  }

  XpathStep step() {
    XpathStep result;
    if (accept("..")) {
      result.axis = XpathAxis::kParent;
    } else if (accept(".")) {
      result.axis = XpathAxis::kSelf;
    } else {
      axis(result);
      node_test(result);
    }
    result.predicates = predicates();
    return result;
  }

  void axis(XpathStep& result) {
    if (accept("@")) {
      result.axis = XpathAxis::kAttribute;
      return;
    }
    const std::size_t begin = at_;
    const std::string word = name();
    skip_space();
    if (word.empty() || text_.substr(at_, 2) != "::") {
      at_ = begin;
      return;
    }
    at_ += 2;
    for (std::size_t i = 0; i < kAxes.size(); ++i) {
      if (kAxes[i] != word) continue;
      result.axis = static_cast<XpathAxis>(i);
      return;
    }
    failed_ = true;
  }

  void node_test(XpathStep& result) {
    if (accept("*")) {
      result.test = XpathStep::Test::kAnyName;
      return;
    }
    result.test = XpathStep::Test::kName;
    result.name = name();
    if (result.name.empty()) failed_ = true;
    if (peek(0) == ':' && peek(1) != ':') {
      ++at_;
      result.prefix = std::exchange(result.name, {});
      if (accept("*")) {
        result.test = XpathStep::Test::kAnyName;
        return;
      }
      result.name = name();
      if (result.name.empty()) failed_ = true;
      return;
    }
    if (!accept("(")) return;
    result.test = result.name == "node"   ? XpathStep::Test::kNode
                  : result.name == "text" ? XpathStep::Test::kText
                                          : XpathStep::Test::kOther;
    result.name.clear();
    if (result.test == XpathStep::Test::kOther) {
      at_ = std::min(text_.size(), text_.find(')', at_));
    }
    expect(")");
  }

  std::vector<XpathExpression> predicates() {
    std::vector<XpathExpression> found;
    while (!failed_ && accept("[")) {
      found.push_back(nested());
      expect("]");
    }
    return found;
  }

  XpathExpression nested() {
    if (++depth_ > kDeepest) return fail();
    XpathExpression inner = chain(0);
    --depth_;
    return inner;
  }

  // Whether a function's name and its parenthesis come next.
  bool is_call() {
    const std::size_t begin = at_;
    const std::string word = name();
    skip_space();
    const bool found = !word.empty() && peek(0) == '(' && word != "node" && word != "text" &&
                       word != "comment" && word != "processing-instruction";
    at_ = begin;
    return found;
  }

  std::string name() {
    skip_space();
    const std::size_t begin = at_;
    if (!is_name_start(peek(0))) return {};
    while (is_name(peek(0))) ++at_;
    return std::string(text_.substr(begin, at_ - begin));
  }

  std::string qualified_name() {
    std::string result = name();
    if (peek(0) != ':') return result;
    ++at_;
    return result.append(":").append(name());
  }

  void skip_space() {
    while (at_ < text_.size() && is_space(text_[at_])) ++at_;
  }

  bool accept(std::string_view word) {
    skip_space();
    if (text_.substr(at_, word.size()) != word) return false;
    at_ += word.size();
    return true;
  }

  void expect(std::string_view word) {
    if (!accept(word)) failed_ = true;
  }

  XpathExpression fail() {
    failed_ = true;
    return {};
  }

  char peek(std::size_t ahead) const {
    return at_ + ahead < text_.size() ? text_[at_ + ahead] : '\0';
  }

  std::string_view text_;
  std::size_t at_ = 0;
  int depth_ = 0;
  bool failed_ = false;
};

bool calls_current(const XpathExpression& expression);

bool any_calls_current(const std::vector<XpathExpression>& expressions) {
  return std::any_of(expressions.begin(), expressions.end(), calls_current);
}

bool calls_current(const XpathExpression& expression) {
  if (expression.kind == Kind::kCall && expression.text == "current") return true;
  return any_calls_current(expression.arguments) || any_calls_current(expression.predicates) ||
         std::any_of(expression.steps.begin(), expression.steps.end(),
                     [](const XpathStep& step) { return any_calls_current(step.predicates); });
}

// Whether no path of it, and no function, starts at the context node.
bool ignores_context(const XpathExpression& expression) {
  const std::vector<XpathExpression>& arguments = expression.arguments;
  if (expression.kind == Kind::kPath && arguments.empty()) return expression.is_absolute;
  if (expression.kind == Kind::kCall) {
    const bool is_constant = expression.text == "true" || expression.text == "false";
    if (arguments.empty() ? !is_constant : expression.text == "lang") return false;
  }
  return std::all_of(arguments.begin(), arguments.end(), ignores_context);
}

}  // namespace

std::string_view axis_name(XpathAxis axis) { return kAxes[static_cast<std::size_t>(axis)]; }

// A predicate has a context of its own, out of which only current() looks.
bool is_absolute(const XpathExpression& expression) {
  return ignores_context(expression) && !calls_current(expression);
}

bool is_plain_path(const XpathExpression& expression) {
  if (expression.kind != Kind::kPath || !expression.arguments.empty()) return false;
  bool may_climb = !expression.is_absolute;
  for (const XpathStep& step : expression.steps) {
    const bool climbs = step.axis == XpathAxis::kParent && step.test == XpathStep::Test::kNode;
    const bool goes_down = step.axis == XpathAxis::kChild && step.test == XpathStep::Test::kName;
    if (!step.predicates.empty() || (climbs ? !may_climb : !goes_down)) return false;
    may_climb = climbs;
  }
  return true;
}

std::optional<XpathExpression> parse_xpath(std::string_view text) { return Parser(text).parse(); }

}  // namespace nexa::store
