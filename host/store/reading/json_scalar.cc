// The value's own type decides: that of a union is the member that took the value, that of a
// leafref its target's.
#include "store/reading/json_scalar.h"

#include <array>
#include <charconv>

#include "store/reading/canonical_text.h"

namespace nexa::host {
namespace {

constexpr char kHex[] = "0123456789abcdef";

bool needs_escape(unsigned char byte) { return byte < 0x20 || byte == '"' || byte == '\\'; }

void append_escape(unsigned char byte, std::string& json) {
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
      json += kHex[byte >> 4];
      json += kHex[byte & 0xF];
  }
}

template <typename Number>
void append_number(Number number, std::string& json) {
  std::array<char, 24> digits;
  const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), number);
  json.append(digits.data(), end.ptr);
}

template <typename Number>
void append_quoted_number(Number number, std::string& json) {
  json += '"';
  append_number(number, json);
  json += '"';
}

void append_identity(const lysc_ident& identity, bool qualify, std::string& json) {
  json += '"';
  if (qualify) {
    json += identity.module->name;
    json += ':';
  }
  json += identity.name;
  json += '"';
}

void append_value(const ly_ctx* context, const lyd_value& value, bool qualify, std::string& json) {
  switch (value.realtype->basetype) {
    case LY_TYPE_UNION:
      // A member of a union is no union: libyang flattens them.
      return append_value(context, value.subvalue->value, qualify, json);
    case LY_TYPE_BOOL:
      json += value.boolean != 0 ? "true" : "false";
      return;
    case LY_TYPE_EMPTY:
      json += "[null]";
      return;
    case LY_TYPE_INT8:
      return append_number(int{value.int8}, json);
    case LY_TYPE_INT16:
      return append_number(value.int16, json);
    case LY_TYPE_INT32:
      return append_number(value.int32, json);
    case LY_TYPE_UINT8:
      return append_number(unsigned{value.uint8}, json);
    case LY_TYPE_UINT16:
      return append_number(value.uint16, json);
    case LY_TYPE_UINT32:
      return append_number(value.uint32, json);
    case LY_TYPE_INT64:
      return append_quoted_number(value.int64, json);
    case LY_TYPE_UINT64:
      return append_quoted_number(value.uint64, json);
    case LY_TYPE_IDENT:
      return append_identity(*value.ident, qualify, json);
    case LY_TYPE_UNKNOWN:
    case LY_TYPE_BINARY:
    case LY_TYPE_STRING:
    case LY_TYPE_BITS:
    case LY_TYPE_DEC64:
    case LY_TYPE_ENUM:
    case LY_TYPE_INST:
    case LY_TYPE_LEAFREF:
      break;
  }
  append_json_string(CanonicalText(context, value).view(), json);
}

}  // namespace

void append_json_string(std::string_view text, std::string& json) {
  json += '"';
  std::size_t begin = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto byte = static_cast<unsigned char>(text[i]);
    if (!needs_escape(byte)) continue;
    json.append(text, begin, i - begin);
    append_escape(byte, json);
    begin = i + 1;
  }
  json.append(text, begin);
  json += '"';
}

void append_json_scalar(const lyd_node* leaf, bool qualify, std::string& json) {
  append_value(LYD_CTX(leaf), reinterpret_cast<const lyd_node_term*>(leaf)->value, qualify, json);
}

}  // namespace nexa::host
