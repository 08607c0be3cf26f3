// How an XML document says what JSON said and XML cannot: attributes of the element. RFC 7951,
// section 6.10, chooses the member of a union by the JSON type of the value.
#ifndef HOST_TEXT_JSON_MARK_H_
#define HOST_TEXT_JSON_MARK_H_

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

namespace nexa::text {

enum class JsonType : std::uint8_t { kString, kNumber, kBoolean, kNull };

inline constexpr char kMarkNamespace[] = "urn:nexa:params:xml:ns:json:1.0";
inline constexpr char kMarkPrefix[] = "json";
inline constexpr char kMarkAttribute[] = "type";
// Of anydata and anyxml instead: the JSON text, where their XML does not give it back.
inline constexpr char kTextAttribute[] = "value";
// By JsonType. kNull stands for [null].
inline constexpr std::array<const char*, 4> kMarkValues = {"string", "number", "boolean", "null"};

inline const char* mark_value(JsonType type) { return kMarkValues[static_cast<std::size_t>(type)]; }

// The declaration of the prefix, with a blank before it; the attribute follows it at once in every
// document, and readers rely on that.
inline std::string mark_declaration() {
  std::string made(" xmlns:");
  made.append(kMarkPrefix).append("=\"").append(kMarkNamespace).append("\"");
  return made;
}

// Both attributes, as they stand in a start tag.
inline std::string mark_attributes(JsonType type) {
  std::string made = mark_declaration();
  made.append(" ").append(kMarkPrefix).append(":").append(kMarkAttribute).append("=\"");
  made.append(mark_value(type)).append("\"");
  return made;
}

}  // namespace nexa::text

#endif  // HOST_TEXT_JSON_MARK_H_
