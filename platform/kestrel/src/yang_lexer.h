// Splits the text of a YANG module (RFC 7950 section 6) into tokens, and answers the few questions
// that are asked of a file before libyang reads it. Judges nothing: any sequence of bytes has
// tokens.
#ifndef KESTREL_SRC_YANG_LEXER_H_
#define KESTREL_SRC_YANG_LEXER_H_

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace kestrel {

enum class TokenKind : std::uint8_t { kWord, kQuoted, kPlus, kOpen, kClose, kSemicolon, kEnd };

struct Token {
  TokenKind kind;
  std::string_view text;  // of a quoted string: what stands between the quotes
  std::size_t offset;     // of its first byte in the file
};

class YangLexer {
 public:
  explicit YangLexer(std::string_view text) : text_(text) {}

  // The next token; kEnd again and again at the end.
  Token next();

 private:
  void skip_blanks_and_comments();
  Token quoted(char quote);
  Token word();

  std::string_view text_;
  std::size_t at_ = 0;
};

// The line, counted from 1, on which this byte stands.
std::uint32_t line_of(std::string_view text, std::size_t offset);

}  // namespace kestrel

#endif  // KESTREL_SRC_YANG_LEXER_H_
