// One pass over the tokens of a module; only statements directly inside it are looked at.
#include "module_survey.h"

#include <algorithm>

#include "yang_lexer.h"

namespace kestrel {
namespace {

// Real modules stay below 30.
constexpr std::size_t kMaxNesting = 200;

class Surveyor {
 public:
  explicit Surveyor(std::string_view text) : lexer_(text) {}

  ModuleSurvey run() {
    for (advance(); token_.kind != TokenKind::kEnd;) {
      if (depth_ == 1 && token_.kind == TokenKind::kWord) {
        read_statement();
      } else {
        advance();
      }
    }
    return std::move(survey_);
  }

 private:
  void advance() {
    token_ = lexer_.next();
    if (token_.kind == TokenKind::kOpen && ++depth_ > kMaxNesting) {
      survey_.too_deep = std::min(survey_.too_deep, token_.offset);
    }
    if (token_.kind == TokenKind::kClose && depth_ > 0) --depth_;
  }

  // A statement's argument, with the token behind it as the current one.
  std::string read_argument() {
    std::string argument;
    for (advance(); token_.kind == TokenKind::kWord || token_.kind == TokenKind::kQuoted ||
                    token_.kind == TokenKind::kPlus;
         advance()) {
      if (token_.kind != TokenKind::kPlus) argument += token_.text;
    }
    return argument;
  }

  void read_statement() {
    const Token keyword = token_;
    if (keyword.text == "revision") {
      survey_.newest_revision = std::max(survey_.newest_revision, read_argument());
    } else if (keyword.text == "include") {
      read_include(keyword.offset);
    } else {
      advance();
      // The argument must not be taken for the next statement.
      while (token_.kind == TokenKind::kWord || token_.kind == TokenKind::kQuoted ||
             token_.kind == TokenKind::kPlus) {
        advance();
      }
    }
  }

  void read_include(std::size_t begin) {
    IncludeStatement include;
    include.begin = begin;
    include.submodule = read_argument();
    const bool has_block = token_.kind == TokenKind::kOpen;
    while (has_block && depth_ > 1 && token_.kind != TokenKind::kEnd) {
      if (token_.kind == TokenKind::kWord && token_.text == "revision-date") {
        include.revision = read_argument();
      } else {
        advance();
      }
    }
    include.end = token_.offset + token_.text.size();
    survey_.includes.push_back(std::move(include));
  }

  YangLexer lexer_;
  Token token_{};
  std::size_t depth_ = 0;
  ModuleSurvey survey_;
};

}  // namespace

ModuleSurvey survey_module(std::string_view text) { return Surveyor(text).run(); }

std::string_view first_keyword(std::string_view text) {
  const Token token = YangLexer(text).next();
  return token.kind == TokenKind::kWord ? token.text : std::string_view();
}

}  // namespace kestrel
