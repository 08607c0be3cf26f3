// One pass over the bytes; UTF-8 is judged by RFC 3629 (no surrogates, no overlong forms).
#include "server/text_form.h"

#include <array>

namespace nexa::host {
namespace {

constexpr std::string_view kCut = "...";

unsigned char byte_at(std::string_view text, std::size_t at) {
  return static_cast<unsigned char>(text[at]);
}

// Bytes of the UTF-8 character at `at`, 0 when there is none.
std::size_t character_length(std::string_view text, std::size_t at) {
  const unsigned char lead = byte_at(text, at);
  if (lead < 0x80) return 1;
  if (lead < 0xC2 || lead > 0xF4) return 0;
  const std::size_t length = lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
  if (at + length > text.size()) return 0;
  for (std::size_t next = at + 1; next < at + length; ++next) {
    if ((byte_at(text, next) & 0xC0) != 0x80) return 0;
  }
  const unsigned char second = byte_at(text, at + 1);
  if (lead == 0xE0 && second < 0xA0) return 0;
  if (lead == 0xED && second > 0x9F) return 0;
  if (lead == 0xF0 && second < 0x90) return 0;
  if (lead == 0xF4 && second > 0x8F) return 0;
  return length;
}

void append_escape(unsigned char byte, std::string& out) {
  constexpr std::array<char, 17> kDigits{"0123456789ABCDEF"};
  out.append("\\x");
  out.push_back(kDigits.at(byte >> 4U));
  out.push_back(kDigits.at(byte & 0xFU));
}

bool is_control(std::string_view text, std::size_t at) {
  const unsigned char byte = byte_at(text, at);
  if (byte < 0x20 || byte == 0x7F) return true;
  // C1 controls, as UTF-8.
  return byte == 0xC2 && at + 1 < text.size() && byte_at(text, at + 1) < 0xA0;
}

void append_shown(std::string_view text, bool escape_quotes, std::string& out) {
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t length = character_length(text, at);
    if (length == 0) {
      append_escape(byte_at(text, at++), out);
      continue;
    }
    if (is_control(text, at)) {
      for (std::size_t end = at + length; at < end; ++at) append_escape(byte_at(text, at), out);
      continue;
    }
    if (escape_quotes && (text[at] == '"' || text[at] == '\\')) out.push_back('\\');
    out.append(text.substr(at, length));
    at += length;
  }
}

void append_bounded(std::string_view text, std::size_t bound, bool escape_quotes,
                    std::string& out) {
  const std::size_t length = prefix_length(text, bound);
  append_shown(text.substr(0, length), escape_quotes, out);
  if (length < text.size()) out.append(kCut);
}

}  // namespace

std::size_t prefix_length(std::string_view text, std::size_t bound) {
  if (text.size() <= bound) return text.size();
  std::size_t length = bound;
  // At most three bytes belong to a character that began before the bound.
  for (int back = 0; back < 3 && length > 0 && (byte_at(text, length) & 0xC0) == 0x80; ++back) {
    --length;
  }
  return (byte_at(text, length) & 0xC0) == 0x80 ? bound : length;
}

std::string printable(std::string_view text, std::size_t bound) {
  std::string out;
  append_bounded(text, bound, false, out);
  return out;
}

std::string quoted(std::string_view text, std::size_t bound) {
  std::string out = "\"";
  append_bounded(text, bound, true, out);
  out.push_back('"');
  return out;
}

}  // namespace nexa::host
