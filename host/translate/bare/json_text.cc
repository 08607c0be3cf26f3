// A scanner with an explicit stack of open brackets; builds nothing.
#include "translate/bare/json_text.h"

#include <bitset>
#include <cstdint>

namespace nexa::host::bare {
namespace {

static_assert(kMaxJsonDepth == 256, "the depth stands in a message text");

bool is_digit(char character) { return character >= '0' && character <= '9'; }

int hex_value(char character) {
  if (is_digit(character)) return character - '0';
  if (character >= 'a' && character <= 'f') return character - 'a' + 10;
  if (character >= 'A' && character <= 'F') return character - 'A' + 10;
  return -1;
}

class Scanner {
 public:
  explicit Scanner(std::string_view text) : text_(text) {}

  // Walks value by value: after each one, the brackets that it closes.
  bool document() {
    do {
      if (!value()) return false;
    } while (!failed_ && next_value());
    if (failed_) return false;
    skip_space();
    return at_ == text_.size() || fail("text after the end of the JSON value");
  }

  JsonTextError error() const {
    JsonTextError error{at_, 1, 1, message_};
    for (std::size_t i = 0; i < at_; ++i) {
      if (text_[i] == '\n') {
        ++error.line;
        error.column = 1;
      } else {
        ++error.column;
      }
    }
    return error;
  }

 private:
  bool fail(const char* message) {
    message_ = message;
    failed_ = true;
    return false;
  }

  char peek() const { return at_ < text_.size() ? text_[at_] : '\0'; }

  void skip_space() {
    while (at_ < text_.size() &&
           (text_[at_] == ' ' || text_[at_] == '\t' || text_[at_] == '\n' || text_[at_] == '\r')) {
      ++at_;
    }
  }

  // Opens brackets until a value is complete: a scalar, or an empty object or array.
  bool value() {
    while (true) {
      skip_space();
      const char first = peek();
      if (first != '{' && first != '[') return scalar(first);
      if (depth_ == kMaxJsonDepth) return fail("JSON nested deeper than 256 levels");
      is_object_[static_cast<std::size_t>(depth_++)] = first == '{';
      ++at_;
      skip_space();
      if (peek() == (first == '{' ? '}' : ']')) {
        --depth_;
        ++at_;
        return true;
      }
      if (first == '{' && !member_name()) return false;
    }
  }

  // After a value: closes what ends here; true when a comma calls for another value.
  bool next_value() {
    while (depth_ > 0) {
      skip_space();
      const bool object = is_object_[static_cast<std::size_t>(depth_ - 1)];
      const char next = peek();
      if (next == ',') {
        ++at_;
        skip_space();
        return !object || member_name();
      }
      if (next != (object ? '}' : ']')) {
        return fail(object ? "expected \",\" or \"}\" in a JSON object"
                           : "expected \",\" or \"]\" in a JSON array");
      }
      ++at_;
      --depth_;
    }
    return false;
  }

  bool member_name() {
    if (peek() != '"') return fail("expected a member name in double quotes");
    if (!string()) return false;
    skip_space();
    if (peek() != ':') return fail("expected \":\" after a member name");
    ++at_;
    return true;
  }

  bool scalar(char first) {
    if (first == '"') return string();
    if (first == '-' || is_digit(first)) return number();
    for (const std::string_view word : {"true", "false", "null"}) {
      if (text_.substr(at_, word.size()) == word) {
        at_ += word.size();
        return true;
      }
    }
    return fail(at_ == text_.size() ? "JSON ends too early" : "expected a JSON value");
  }

  bool digits() {
    if (!is_digit(peek())) return fail("malformed JSON number");
    while (is_digit(peek())) ++at_;
    return true;
  }

  bool number() {
    if (peek() == '-') ++at_;
    if (peek() == '0') {
      ++at_;
      if (is_digit(peek())) return fail("JSON number with a leading zero");
    } else if (!digits()) {
      return false;
    }
    if (peek() == '.') {
      ++at_;
      if (!digits()) return false;
    }
    if (peek() == 'e' || peek() == 'E') {
      ++at_;
      if (peek() == '+' || peek() == '-') ++at_;
      if (!digits()) return false;
    }
    return true;
  }

  bool string() {
    ++at_;
    while (at_ < text_.size()) {
      const unsigned char byte = static_cast<unsigned char>(text_[at_]);
      if (byte == '"') {
        ++at_;
        return true;
      }
      if (byte < 0x20) return fail("control character in a JSON string");
      if (byte == '\\') {
        if (!escape()) return false;
        continue;
      }
      const std::size_t length = byte < 0x80 ? 1 : utf8_length(text_.substr(at_));
      if (length == 0) return fail("invalid UTF-8");
      at_ += length;
    }
    return fail("JSON string without an end");
  }

  bool escape() {
    const char kind = at_ + 1 < text_.size() ? text_[at_ + 1] : '\0';
    if (kind != 'u') {
      if (kind == '\0' || std::string_view("\"\\/bfnrt").find(kind) == std::string_view::npos) {
        return fail("unknown escape in a JSON string");
      }
      at_ += 2;
      return true;
    }
    const std::int32_t unit = unicode_escape(at_);
    if (unit < 0) return fail("malformed Unicode escape in a JSON string");
    if (unit == 0) return fail("NUL character in a JSON string");
    if (unit >= 0xDC00 && unit <= 0xDFFF) return fail("lone surrogate in a JSON string");
    if (unit >= 0xD800 && unit <= 0xDBFF) {
      const std::int32_t low = unicode_escape(at_ + 6);
      if (low < 0xDC00 || low > 0xDFFF) return fail("lone surrogate in a JSON string");
      at_ += 6;
    }
    at_ += 6;
    return true;
  }

  // The code unit of a "\uXXXX" at `at`, -1 when there is none.
  std::int32_t unicode_escape(std::size_t at) const {
    if (at + 6 > text_.size() || text_[at] != '\\' || text_[at + 1] != 'u') return -1;
    std::int32_t unit = 0;
    for (std::size_t i = at + 2; i < at + 6; ++i) {
      const int digit = hex_value(text_[i]);
      if (digit < 0) return -1;
      unit = unit * 16 + digit;
    }
    return unit;
  }

  std::string_view text_;
  std::size_t at_ = 0;
  int depth_ = 0;
  std::bitset<kMaxJsonDepth> is_object_;
  bool failed_ = false;
  const char* message_ = "";
};

}  // namespace

std::string JsonTextError::text() const {
  return message + " at byte " + std::to_string(offset) + " (line " + std::to_string(line) +
         ", column " + std::to_string(column) + ")";
}

std::optional<JsonTextError> check_json_text(std::string_view text) {
  Scanner scanner(text);
  if (scanner.document()) return std::nullopt;
  return scanner.error();
}

std::size_t utf8_length(std::string_view text) {
  if (text.empty()) return 0;
  const auto byte = [text](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  const unsigned char first = byte(0);
  if (first < 0x80) return 1;
  const std::size_t length = first >= 0xC2 && first <= 0xDF   ? 2
                             : first >= 0xE0 && first <= 0xEF ? 3
                             : first >= 0xF0 && first <= 0xF4 ? 4
                                                              : 0;
  if (length == 0 || text.size() < length) return 0;
  // Overlong forms, surrogates and what lies beyond U+10FFFF show in the second byte.
  if ((first == 0xE0 && byte(1) < 0xA0) || (first == 0xED && byte(1) > 0x9F) ||
      (first == 0xF0 && byte(1) < 0x90) || (first == 0xF4 && byte(1) > 0x8F)) {
    return 0;
  }
  for (std::size_t i = 1; i < length; ++i) {
    if ((byte(i) & 0xC0) != 0x80) return 0;
  }
  return length;
}

}  // namespace nexa::host::bare
