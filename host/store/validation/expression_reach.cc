// Depths are counted from the context node and never too high: a step down counts nothing, so what
// a predicate looks at is held to be no deeper than the path before it.
#include "store/validation/expression_reach.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <vector>

namespace nexa::host {
namespace {

// Functions that ask whether nodes are there, and for nothing else.
constexpr std::array<std::string_view, 6> kExistenceFunctions = {"not",  "count",   "boolean",
                                                                 "true", "current", "false"};

bool is_name_start(char c) { return std::isalpha(static_cast<unsigned char>(c)) != 0 || c == '_'; }
bool is_name(char c) {
  return is_name_start(c) || std::isdigit(static_cast<unsigned char>(c)) != 0 || c == '-' ||
         c == '.' || c == ':';
}

class Reader {
 public:
  explicit Reader(std::string_view text) : text_(text) {}

  ExpressionReach read() {
    while (at_ < text_.size()) step();
    reach_.levels_up = -lowest_;
    return reach_;
  }

 private:
  void step() {
    const char c = text_[at_];
    if (c == '"' || c == '\'') return literal(c);
    if (is_name_start(c)) return name();
    if (text_.substr(at_, 2) == "..") return up();
    ++at_;
    if (std::isspace(static_cast<unsigned char>(c)) != 0 || c == '*') return;
    switch (c) {
      case '[':
        reach_.filtered = true;
        bases_.push_back(depth_);
        break;
      case ']':
        depth_ = bases_.back();
        if (bases_.size() > 1) bases_.pop_back();
        break;
      case '/':
        slash();
        break;
      case '.':
        if (!in_path_) depth_ = bases_.back();
        break;
      case ')':
        depth_ = lowest_;
        break;
      case '(':
        break;
      default:
        start_path(c);
    }
    in_path_ = c == '.' || c == ')' || c == ']' || c == '/';
  }

  void start_path(char c) {
    if (c == '=' || c == '!' || c == '<' || c == '>' || c == '+' || c == '-') reach_.texts = true;
    depth_ = bases_.back();
  }

  void slash() {
    if (at_ < text_.size() && text_[at_] == '/') reach_.opaque = true;
    if (!in_path_) reach_.absolute = true;
  }

  void up() {
    at_ += 2;
    if (!in_path_) depth_ = bases_.back();
    --depth_;
    lowest_ = std::min(lowest_, depth_);
    in_path_ = true;
  }

  void literal(char quote) {
    const std::size_t end = text_.find(quote, at_ + 1);
    at_ = end == std::string_view::npos ? text_.size() : end + 1;
    in_path_ = false;
  }

  void name() {
    const std::size_t begin = at_;
    while (at_ < text_.size() && is_name(text_[at_])) ++at_;
    const std::string_view word = text_.substr(begin, at_ - begin);
    if (word.find("::") != std::string_view::npos) reach_.opaque = true;
    std::size_t next = at_;
    while (next < text_.size() && std::isspace(static_cast<unsigned char>(text_[next])) != 0) {
      ++next;
    }
    if (next < text_.size() && text_[next] == '(') return function(word);
    if (!in_path_) depth_ = bases_.back();
    const bool is_operator = word == "and" || word == "or" || word == "div" || word == "mod";
    in_path_ = !is_operator;
  }

  void function(std::string_view word) {
    if (word == "deref" || word == "id" || word == "lang") reach_.opaque = true;
    if (word == "current") {
      depth_ = 0;
      in_path_ = true;
      return skip_call();
    }
    if (std::find(kExistenceFunctions.begin(), kExistenceFunctions.end(), word) ==
        kExistenceFunctions.end()) {
      reach_.texts = true;
    }
    if (!in_path_) depth_ = bases_.back();
    in_path_ = false;
  }

  // Past the empty parentheses of current(), so that the path goes on behind them.
  void skip_call() {
    const std::size_t close = text_.find(')', at_);
    at_ = close == std::string_view::npos ? text_.size() : close + 1;
  }

  std::string_view text_;
  std::size_t at_ = 0;
  ExpressionReach reach_;
  std::vector<int> bases_ = {0};  // the depth that a path starts at, one for each open bracket
  int depth_ = 0;
  int lowest_ = 0;
  bool in_path_ = false;  // the next slash goes on with a path
};

}  // namespace

ExpressionReach reach_of(std::string_view expression) { return Reader(expression).read(); }

}  // namespace nexa::host
