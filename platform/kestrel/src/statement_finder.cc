// A flat list of all statements in the order of the text; what a statement holds follows it
// directly. Runs only when a module is refused, so plain searches do.
#include "statement_finder.h"

#include <algorithm>
#include <array>

#include "yang_lexer.h"

namespace kestrel {
namespace {

// Groupings looked into for one step. One that uses itself ends here: libyang refuses it, but this
// search reads refused modules.
constexpr unsigned kMaxGroupings = 200;

bool defines_schema_node(std::string_view keyword) {
  static constexpr std::array<std::string_view, 13> kKeywords = {
      "container", "leaf",   "leaf-list",    "list", "choice", "case",  "anydata",
      "anyxml",    "action", "notification", "rpc",  "input",  "output"};
  return std::find(kKeywords.begin(), kKeywords.end(), keyword) != kKeywords.end();
}

bool is_text(const Token& token) {
  return token.kind == TokenKind::kWord || token.kind == TokenKind::kQuoted;
}

std::string_view without_prefix(std::string_view name) {
  const std::size_t colon = name.find(':');
  return colon == std::string_view::npos ? name : name.substr(colon + 1);
}

}  // namespace

StatementFinder::StatementFinder(std::string_view text) : text_(text) { read(); }

void StatementFinder::read() {
  YangLexer lexer(text_);
  std::size_t parent = kNone;
  Token token = lexer.next();
  while (token.kind != TokenKind::kEnd) {
    if (token.kind == TokenKind::kClose && parent != kNone) {
      statements_[parent].end = statements_.size();
      parent = statements_[parent].parent;
    }
    if (token.kind != TokenKind::kWord) {
      token = lexer.next();
      continue;
    }
    Statement statement{token.text, {}, token.offset, parent, statements_.size() + 1};
    for (token = lexer.next(); is_text(token) || token.kind == TokenKind::kPlus;
         token = lexer.next()) {
      if (token.kind != TokenKind::kPlus) statement.argument += token.text;
    }
    statements_.push_back(std::move(statement));
    if (token.kind != TokenKind::kOpen) continue;
    parent = statements_.size() - 1;
    token = lexer.next();
  }
  for (; parent != kNone; parent = statements_[parent].parent) {
    statements_[parent].end = statements_.size();
  }
}

StatementFinder::Place StatementFinder::find(const std::vector<PathStep>& steps,
                                             std::string_view hint) const {
  return statements_.empty() ? Place{} : find_from(0, steps, hint);
}

StatementFinder::Place StatementFinder::find_in_augments(const std::vector<PathStep>& steps,
                                                         std::string_view hint) const {
  Place best;
  for (std::size_t i = 0; i < statements_.size(); ++i) {
    if (statements_[i].keyword != "augment") continue;
    const Place place = find_from(i, steps, hint);
    if (place.matched > best.matched) best = place;
  }
  return best;
}

StatementFinder::Place StatementFinder::find_from(std::size_t start,
                                                  const std::vector<PathStep>& steps,
                                                  std::string_view hint) const {
  std::size_t found = start;
  std::size_t matched = 0;
  for (const PathStep& step : steps) {
    unsigned budget = kMaxGroupings;
    const std::size_t child = child_for(found, step, budget);
    if (child == kNone) continue;
    found = child;
    ++matched;
  }
  if (matched == 0) return {};
  if (!hint.empty()) {
    for (std::size_t i = found + 1; i < statements_[found].end; ++i) {
      if (statements_[i].argument == hint) return {matched, line(i)};
    }
  }
  return {matched, line(found)};
}

std::size_t StatementFinder::child_for(std::size_t parent, const PathStep& step,
                                       unsigned& budget) const {
  for (std::size_t i = parent + 1; i < statements_[parent].end; i = statements_[i].end) {
    if (fits(statements_[i], step)) return i;
  }
  return child_in_groupings(parent, step, budget);
}

bool StatementFinder::fits(const Statement& statement, const PathStep& step) {
  if (step.keyword.empty()) {
    // "input" and "output" have no name of their own.
    return defines_schema_node(statement.keyword) &&
           (statement.argument == step.argument || statement.keyword == step.argument);
  }
  // The use of an extension is named by what it is, not by its argument.
  if (step.keyword == "extension" && statement.keyword == step.argument) return true;
  return statement.keyword == step.keyword && statement.argument == step.argument;
}

std::size_t StatementFinder::child_in_groupings(std::size_t parent, const PathStep& step,
                                                unsigned& budget) const {
  const bool is_use = statements_[parent].keyword == "uses";
  const std::size_t first = is_use ? parent : parent + 1;
  const std::size_t end = is_use ? parent + 1 : statements_[parent].end;
  for (std::size_t i = first; i < end; i = statements_[i].end) {
    if (statements_[i].keyword != "uses") continue;
    const std::string_view name = without_prefix(statements_[i].argument);
    for (std::size_t j = 0; j < statements_.size(); ++j) {
      if (statements_[j].keyword != "grouping" || statements_[j].argument != name) continue;
      if (budget == 0) return kNone;
      --budget;
      const std::size_t found = child_for(j, step, budget);
      if (found != kNone) return found;
    }
  }
  return kNone;
}

std::uint32_t StatementFinder::find_first(const std::vector<std::string_view>& keywords,
                                          std::string_view argument) const {
  for (std::size_t i = 0; i < statements_.size(); ++i) {
    const Statement& statement = statements_[i];
    if (statement.argument != argument) continue;
    if (keywords.empty() ||
        std::find(keywords.begin(), keywords.end(), statement.keyword) != keywords.end()) {
      return line(i);
    }
  }
  return 0;
}

std::uint32_t StatementFinder::find_extension(std::string_view name) const {
  for (std::size_t i = 0; i < statements_.size(); ++i) {
    const std::string_view keyword = statements_[i].keyword;
    const std::size_t colon = keyword.find(':');
    if (colon == std::string_view::npos) continue;
    if (keyword == name || keyword.substr(0, colon) == name) return line(i);
  }
  return 0;
}

std::uint32_t StatementFinder::line(std::size_t statement) const {
  return line_of(text_, statements_[statement].offset);
}

}  // namespace kestrel
