// ASCII is most of every text, so it is decided by the first comparison.
#include "text/utf8.h"

#include <array>

namespace nexa::text {
namespace {

bool is_continuation(char byte) { return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U; }

}  // namespace

std::size_t decode_utf8(const char* at, const char* end, std::uint32_t& code) {
  const unsigned lead = static_cast<unsigned char>(*at);
  code = lead;
  if (lead < 0x80) return 1;
  const std::size_t size = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : lead >= 0xC2 ? 2 : 0;
  if (size == 0 || lead > 0xF4 || static_cast<std::size_t>(end - at) < size) return 0;
  code = lead & (0xFFU >> (size + 1));
  for (std::size_t index = 1; index < size; ++index) {
    if (!is_continuation(at[index])) return 0;
    code = (code << 6U) | (static_cast<unsigned char>(at[index]) & 0x3FU);
  }
  static constexpr std::array<std::uint32_t, 5> kSmallest = {0, 0, 0x80, 0x800, 0x10000};
  if (code < kSmallest[size] || code > 0x10FFFF || (code >= 0xD800 && code < 0xE000)) return 0;
  return size;
}

char* encode_utf8(std::uint32_t code, char* out) {
  if (code < 0x80) {
    *out++ = static_cast<char>(code);
    return out;
  }
  if (code < 0x800) {
    *out++ = static_cast<char>(0xC0U | (code >> 6U));
  } else {
    if (code < 0x10000) {
      *out++ = static_cast<char>(0xE0U | (code >> 12U));
    } else {
      *out++ = static_cast<char>(0xF0U | (code >> 18U));
      *out++ = static_cast<char>(0x80U | ((code >> 12U) & 0x3FU));
    }
    *out++ = static_cast<char>(0x80U | ((code >> 6U) & 0x3FU));
  }
  *out++ = static_cast<char>(0x80U | (code & 0x3FU));
  return out;
}

const char* yang_text_fault(std::string_view text) {
  const char* const end = text.data() + text.size();
  for (const char* at = text.data(); at < end;) {
    std::uint32_t code = 0;
    const std::size_t size = decode_utf8(at, end, code);
    if (size == 0) return kNotUtf8;
    if (!is_yang_character(code)) return kNoYangCharacter;
    at += size;
  }
  return nullptr;
}

std::size_t prefix_length(std::string_view text, std::size_t bound) {
  if (text.size() <= bound) return text.size();
  std::size_t length = bound;
  // At most three bytes belong to a character that began before the bound.
  for (int back = 0; back < 3 && length > 0 && is_continuation(text[length]); ++back) --length;
  return is_continuation(text[length]) ? bound : length;
}

}  // namespace nexa::text
