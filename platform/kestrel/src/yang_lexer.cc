// Tokens of YANG text.
#include "yang_lexer.h"

#include <algorithm>
#include <array>

namespace kestrel {
namespace {

// What ends an unquoted string, besides a comment.
constexpr std::array<bool, 256> make_word_ends() {
  std::array<bool, 256> ends{};
  for (const char c : {' ', '\t', '\n', '\r', ';', '{', '}', '"', '\''}) {
    ends[static_cast<unsigned char>(c)] = true;
  }
  return ends;
}
constexpr std::array<bool, 256> kWordEnds = make_word_ends();

bool is_blank(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }

}  // namespace

Token YangLexer::next() {
  skip_blanks_and_comments();
  if (at_ >= text_.size()) return {TokenKind::kEnd, {}, text_.size()};
  const std::size_t offset = at_;
  const std::string_view one = text_.substr(offset, 1);
  switch (text_[offset]) {
    case '{':
      ++at_;
      return {TokenKind::kOpen, one, offset};
    case '}':
      ++at_;
      return {TokenKind::kClose, one, offset};
    case ';':
      ++at_;
      return {TokenKind::kSemicolon, one, offset};
    case '"':
    case '\'':
      return quoted(text_[offset]);
    default:
      return word();
  }
}

void YangLexer::skip_blanks_and_comments() {
  while (at_ < text_.size()) {
    if (is_blank(text_[at_])) {
      ++at_;
    } else if (text_.compare(at_, 2, "//") == 0) {
      at_ = std::min(text_.find('\n', at_), text_.size());
    } else if (text_.compare(at_, 2, "/*") == 0) {
      const std::size_t end = text_.find("*/", at_ + 2);
      at_ = end == std::string_view::npos ? text_.size() : end + 2;
    } else {
      return;
    }
  }
}

Token YangLexer::quoted(char quote) {
  const std::size_t offset = at_;
  std::size_t end = text_.find(quote, offset + 1);
  // In double quotes a backslash takes the character behind it along.
  if (quote == '"') {
    end = offset + 1;
    while (end < text_.size()) {
      end = std::min(text_.find_first_of("\"\\", end), text_.size());
      if (end >= text_.size() || text_[end] == '"') break;
      end += 2;
    }
  }
  end = std::min(end, text_.size());
  at_ = std::min(end + 1, text_.size());
  return {TokenKind::kQuoted, text_.substr(offset + 1, end - offset - 1), offset};
}

Token YangLexer::word() {
  const std::size_t offset = at_;
  while (at_ < text_.size() && !kWordEnds[static_cast<unsigned char>(text_[at_])]) {
    if (text_[at_] == '/' && (text_.compare(at_, 2, "/*") == 0) && at_ != offset) break;
    ++at_;
  }
  const std::string_view text = text_.substr(offset, at_ - offset);
  return {text == "+" ? TokenKind::kPlus : TokenKind::kWord, text, offset};
}

std::uint32_t line_of(std::string_view text, std::size_t offset) {
  const std::string_view before = text.substr(0, offset);
  return 1 + static_cast<std::uint32_t>(std::count(before.begin(), before.end(), '\n'));
}

}  // namespace kestrel
