// Texts as JSON strings and as content of XML documents.
#ifndef HOST_TEXT_ESCAPE_H_
#define HOST_TEXT_ESCAPE_H_

#include <string>
#include <string_view>

namespace nexa::text {

// Appends `text` as a JSON string, quotes included (RFC 8259, section 7). Bytes above 0x7F are
// copied.
void append_json_string(std::string_view text, std::string& json);

// Appends `text` as content of an XML element: "&", "<" and ">" escaped.
void append_xml_text(std::string_view text, std::string& xml);

// Appends `text` as the value of an XML attribute in double quotes, which the caller writes. Tab,
// line feed and carriage return are written as character references, because a reader of XML
// replaces them otherwise; so the result also fits an element's content.
void append_xml_attribute(std::string_view text, std::string& xml);

// Appends "<name>text</name>".
void append_xml_leaf(std::string_view name, std::string_view text, std::string& xml);

}  // namespace nexa::text

#endif  // HOST_TEXT_ESCAPE_H_
