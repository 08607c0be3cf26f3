// Each looks for the next byte to escape eight bytes at a time and copies what lies before it.
#include "text/escape.h"

#include "text/byte_search.h"

namespace nexa::text {
namespace {

using JsonSpecial = ByteSearch<true, '"', '\\'>;
using XmlSpecial = ByteSearch<false, '&', '<', '>'>;
using AttributeSpecial = ByteSearch<false, '&', '<', '>', '"', '\t', '\n', '\r'>;

void append_json_escape(char byte, std::string& json) {
  constexpr char kHex[] = "0123456789abcdef";
  switch (byte) {
    case '"':
      json += "\\\"";
      return;
    case '\\':
      json += "\\\\";
      return;
    case '\n':
      json += "\\n";
      return;
    case '\r':
      json += "\\r";
      return;
    case '\t':
      json += "\\t";
      return;
    default:
      json += "\\u00";
      json += kHex[static_cast<unsigned char>(byte) >> 4U];
      json += kHex[static_cast<unsigned char>(byte) & 0xFU];
  }
}

void append_xml_escape(char byte, std::string& xml) {
  switch (byte) {
    case '&':
      xml += "&amp;";
      return;
    case '<':
      xml += "&lt;";
      return;
    case '>':
      xml += "&gt;";
      return;
    case '"':
      xml += "&quot;";
      return;
    case '\t':
      xml += "&#x9;";
      return;
    case '\n':
      xml += "&#xA;";
      return;
    default:
      xml += "&#xD;";
  }
}

template <typename Special, typename AppendEscape>
void append_escaped(std::string_view text, std::string& out, AppendEscape append_escape) {
  std::size_t begin = 0;
  while (true) {
    const std::size_t hit = Special::find(text, begin);
    out.append(text, begin, hit - begin);
    if (hit == text.size()) return;
    append_escape(text[hit], out);
    begin = hit + 1;
  }
}

}  // namespace

void append_json_string(std::string_view text, std::string& json) {
  json += '"';
  append_escaped<JsonSpecial>(text, json, append_json_escape);
  json += '"';
}

void append_xml_text(std::string_view text, std::string& xml) {
  append_escaped<XmlSpecial>(text, xml, append_xml_escape);
}

void append_xml_attribute(std::string_view text, std::string& xml) {
  append_escaped<AttributeSpecial>(text, xml, append_xml_escape);
}

void append_xml_leaf(std::string_view name, std::string_view text, std::string& xml) {
  xml.append("<").append(name).append(">");
  append_xml_attribute(text, xml);
  xml.append("</").append(name).append(">");
}

}  // namespace nexa::text
