// UTF-8 (RFC 3629) and the characters that a YANG string can hold (RFC 7950, section 14,
// "yang-char"). Every door that takes text from outside asks here, so that nothing is stored that
// XML or JSON could not give back.
#ifndef HOST_TEXT_UTF8_H_
#define HOST_TEXT_UTF8_H_

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace nexa::text {

// Why a text is refused, as messages say it.
inline constexpr char kNotUtf8[] = "not UTF-8";
inline constexpr char kNoYangCharacter[] = "a character that no YANG string can hold";

// The number of bytes of the character that begins at `at`, with its code point in `code`; 0 when
// the bytes before `end` are not its shortest form, or it is a surrogate or beyond U+10FFFF.
// `at` is before `end`.
std::size_t decode_utf8(const char* at, const char* end, std::uint32_t& code);

// Writes the character's one to four bytes to `out` and returns the place behind them. `code` is a
// code point and no surrogate.
char* encode_utf8(std::uint32_t code, char* out);

// Whether a YANG string can hold the code point: no control character below U+0020 but tab, line
// feed and carriage return, no surrogate, no noncharacter.
constexpr bool is_yang_character(std::uint32_t code) {
  if (code < 0x20) return code == '\t' || code == '\n' || code == '\r';
  if (code < 0xD800) return true;
  if (code <= 0xDFFF || (code >= 0xFDD0 && code <= 0xFDEF)) return false;
  return code <= 0x10FFFF && (code & 0xFFFEU) != 0xFFFEU;
}

// kNotUtf8 or kNoYangCharacter for the first fault in `text`; null when a YANG string can hold it.
const char* yang_text_fault(std::string_view text);

// The length of the longest prefix of `text` that is at most `bound` bytes and cuts no character.
std::size_t prefix_length(std::string_view text, std::size_t bound);

}  // namespace nexa::text

#endif  // HOST_TEXT_UTF8_H_
