// Reads a JSON text (RFC 8259) into a flat document whose scalars keep the characters that were
// sent: number lexemes, decoded strings. Knows no schema. What the lenient parser behind the
// library would alter or accept by mistake is refused here, with its line and column.
#ifndef HOST_TRANSLATE_JSON_SCANNER_H_
#define HOST_TRANSLATE_JSON_SCANNER_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "text/result.h"

namespace nexa::translate {

enum class JsonKind : std::uint8_t { kNull, kFalse, kTrue, kNumber, kString, kArray, kObject };

inline constexpr std::uint32_t kNoItem = 0;

// One value. Items refer to each other by index; item 0 stands for "none".
struct JsonItem {
  JsonKind kind = JsonKind::kNull;
  bool surrogates = false;   // the text or the name came as a pair of surrogate escapes
  std::uint32_t offset = 0;  // of the value, in bytes
  std::uint32_t parent = 0;
  std::uint32_t child = 0;  // first element or member
  std::uint32_t next = 0;   // next element or member of the same parent
  std::uint32_t count = 0;  // number of elements or members
  std::string_view name;    // member name, decoded; empty for an element
  std::string_view text;    // string value, decoded, or number lexeme
};

// Owns nothing of the text it was scanned from: the text must outlive it.
class JsonDocument {
 public:
  std::vector<JsonItem> items;
  std::uint32_t root = kNoItem;
  std::string_view source;
  // Where the scan of a text that is no document ended, in bytes, and in which object or array.
  std::size_t fault_offset = 0;
  std::uint32_t fault_parent = kNoItem;

  // A stable place for a text that the document refers to.
  std::string_view keep(std::string text);

  // "line L, column C" of a byte offset, both from 1, columns in bytes.
  std::string place(std::size_t offset) const;

  std::unique_ptr<char[]> decoded;  // strings that had escapes
  std::vector<std::unique_ptr<std::string>> kept;
};

// Objects and arrays inside each other that are accepted.
inline constexpr int kMaxPayloadDepth = 200;

// Scans one complete document. Fails when `text` is none, with the rule alone: the caller says the
// place in its own way, as `document` has it. Any thread.
text::Done scan_json(std::string_view text, JsonDocument& document);

}  // namespace nexa::translate

#endif  // HOST_TRANSLATE_JSON_SCANNER_H_
