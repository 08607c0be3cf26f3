// Whether a text is exactly one JSON document (RFC 8259) that can be bound to a schema without a
// loss. The parser behind it is lenient: it keeps invalid UTF-8 and raw control characters, takes
// "01" for a number and ends a string at a NUL escape. Everything of that kind is refused here,
// before it is parsed.
#ifndef HOST_TRANSLATE_BARE_JSON_TEXT_H_
#define HOST_TRANSLATE_BARE_JSON_TEXT_H_

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace nexa::host::bare {

// Objects and arrays inside each other that are accepted; deeper input is refused.
inline constexpr int kMaxJsonDepth = 256;

struct JsonTextError {
  std::size_t offset = 0;  // in bytes, from 0
  std::size_t line = 1;    // from 1
  std::size_t column = 1;  // in bytes, from 1
  std::string message;

  // "message at byte O (line L, column C)".
  std::string text() const;
};

// nullopt when `text` is one well-formed document. Any thread; the stack does not grow with the
// input.
std::optional<JsonTextError> check_json_text(std::string_view text);

// The number of bytes of the UTF-8 character (RFC 3629) at the front of `text`; 0 when there is
// none.
std::size_t utf8_length(std::string_view text);

}  // namespace nexa::host::bare

#endif  // HOST_TRANSLATE_BARE_JSON_TEXT_H_
