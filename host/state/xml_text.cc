// One pass over the bytes each.
#include "state/xml_text.h"

#include <cstdint>

namespace nexa::host {
namespace {

bool is_character(std::uint32_t code) {
  if (code < 0x20) return code == '\t' || code == '\n' || code == '\r';
  if (code >= 0xD800 && code <= 0xDFFF) return false;
  if (code >= 0xFDD0 && code <= 0xFDEF) return false;
  return code <= 0x10FFFF && (code & 0xFFFE) != 0xFFFE;
}

// Takes the first character off the text; false when the bytes are no shortest UTF-8 form.
bool take_character(std::string_view& text, std::uint32_t& code) {
  const auto first = static_cast<unsigned char>(text.front());
  std::size_t length = 1;
  std::uint32_t least = 0;
  code = first;
  if (first >= 0x80) {
    if (first < 0xC2 || first > 0xF4) return false;
    length = first < 0xE0 ? 2 : first < 0xF0 ? 3 : 4;
    least = length == 2 ? 0x80 : length == 3 ? 0x800 : 0x10000;
    code = first & (0xFFU >> (length + 1));
  }
  if (text.size() < length) return false;
  for (std::size_t i = 1; i < length; ++i) {
    const auto byte = static_cast<unsigned char>(text[i]);
    if ((byte & 0xC0) != 0x80) return false;
    code = code << 6 | (byte & 0x3FU);
  }
  text.remove_prefix(length);
  return code >= least;
}

}  // namespace

bool fits_xml(std::string_view text) {
  std::uint32_t code = 0;
  while (!text.empty()) {
    if (!take_character(text, code) || !is_character(code)) return false;
  }
  return true;
}

void append_xml_escaped(std::string_view text, std::string& xml) {
  for (const char byte : text) {
    switch (byte) {
      case '&':
        xml += "&amp;";
        break;
      case '<':
        xml += "&lt;";
        break;
      case '>':
        xml += "&gt;";
        break;
      case '"':
        xml += "&quot;";
        break;
      case '\'':
        xml += "&apos;";
        break;
      case '\r':
        xml += "&#13;";
        break;
      default:
        xml += byte;
    }
  }
}

void append_xml_leaf(std::string_view name, std::string_view text, std::string& xml) {
  xml.append("<").append(name).append(">");
  append_xml_escaped(text, xml);
  xml.append("</").append(name).append(">");
}

}  // namespace nexa::host
