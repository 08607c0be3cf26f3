// Texts of the machine in XML: escaped, or refused when XML cannot hold them.
#ifndef HOST_STATE_XML_TEXT_H_
#define HOST_STATE_XML_TEXT_H_

#include <string>
#include <string_view>

namespace nexa::host {

// Whether the text is UTF-8 of characters that a YANG string can have (RFC 7950, section 9.4).
bool fits_xml(std::string_view text);

// Appends the text with markup characters escaped; also fit for attribute values in quotes.
void append_xml_escaped(std::string_view text, std::string& xml);

// Appends "<name>text</name>", the text escaped.
void append_xml_leaf(std::string_view name, std::string_view text, std::string& xml);

}  // namespace nexa::host

#endif  // HOST_STATE_XML_TEXT_H_
