// One pass over the characters; each is copied or escaped byte by byte.
#include "text/display.h"

#include <array>
#include <cstdint>

#include "text/utf8.h"

namespace nexa::text {
namespace {

enum class Form : std::uint8_t { kLine, kLines, kField };

bool is_command(std::uint32_t code) {
  const bool is_control = code < 0x20 || (code >= 0x7F && code <= 0x9F);
  const bool is_direction = code == 0x061C || code == 0x200E || code == 0x200F ||
                            (code >= 0x2028 && code <= 0x202E) ||
                            (code >= 0x2066 && code <= 0x2069);
  return is_control || is_direction;
}

void append_escape(char byte, std::string& out) {
  constexpr std::array<char, 17> kDigits{"0123456789ABCDEF"};
  const auto value = static_cast<unsigned char>(byte);
  out.append("\\x");
  out.push_back(kDigits.at(value >> 4U));
  out.push_back(kDigits.at(value & 0xFU));
}

void append_command(std::string_view character, std::string& out) {
  switch (character.front()) {
    case '\n':
      out.append("\\n");
      return;
    case '\r':
      out.append("\\r");
      return;
    case '\t':
      out.append("\\t");
      return;
    default:
      for (const char byte : character) append_escape(byte, out);
  }
}

void append_shown(std::string_view text, Form form, std::string& out) {
  const char* const end = text.data() + text.size();
  for (const char* at = text.data(); at < end;) {
    std::uint32_t code = 0;
    const std::size_t size = decode_utf8(at, end, code);
    if (size == 0) {
      append_escape(*at++, out);
      continue;
    }
    const bool is_layout = code == '\n' || code == '\t';
    if (is_command(code) && !(is_layout && form == Form::kLines)) {
      append_command({at, size}, out);
    } else {
      if (form == Form::kField && (code == '"' || code == '\\')) out.push_back('\\');
      out.append(at, size);
    }
    at += size;
  }
}

std::string shown(std::string_view text, std::size_t bound, Form form) {
  const std::size_t length = prefix_length(text, bound);
  std::string out;
  out.reserve(length + kCut.size() + 2);
  if (form == Form::kField) out.push_back('"');
  append_shown(text.substr(0, length), form, out);
  if (length < text.size()) out.append(kCut);
  if (form == Form::kField) out.push_back('"');
  return out;
}

}  // namespace

std::string printable(std::string_view text, std::size_t bound) {
  return shown(text, bound, Form::kLine);
}

std::string printable_lines(std::string_view text) { return shown(text, kNoBound, Form::kLines); }

std::string quoted(std::string_view text, std::size_t bound) {
  return shown(text, bound, Form::kField);
}

}  // namespace nexa::text
