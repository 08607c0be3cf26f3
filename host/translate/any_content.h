// What anydata and anyxml hold, between JSON and XML. XML has no types and no arrays, so the JSON
// text goes with the element where XML alone would not give it back.
#ifndef HOST_TRANSLATE_ANY_CONTENT_H_
#define HOST_TRANSLATE_ANY_CONTENT_H_

#include <string>
#include <string_view>

#include "translate/payload.h"

namespace nexa::translate {

// Whether a name can be that of an XML element below anydata: a YANG identifier (RFC 7950, section
// 6.2), perhaps with a module's name before it.
bool is_any_name(std::string_view name);

struct AnyContent {
  bool xml_tells_all = true;  // JSON made of the XML is what was sent
  // The XML can be written. Otherwise a reader would take a member for a node of the schema, and
  // the element stays empty.
  bool has_xml = true;
};

// Looks at `item`, the value of an anydata or anyxml node.
AnyContent look_at_any(const Payload& payload, const SchemaNames& names, std::uint32_t item);

// The text of a value in a scanned document, as it was sent but for blanks between its tokens.
std::string compact_json(const JsonDocument& document, std::uint32_t item);

}  // namespace nexa::translate

#endif  // HOST_TRANSLATE_ANY_CONTENT_H_
