// The form of the leaf decides: that of a union's value is its member's, that of a leafref's its
// target's.
#include "store/reading/json_scalar.h"

#include "store/text_scan.h"

namespace nexa::host {
namespace {

using JsonSpecial = ByteSearch<true, '"', '\\'>;

constexpr char kHex[] = "0123456789abcdef";

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

}  // namespace

void append_json_string(std::string_view text, std::string& json) {
  json += '"';
  std::size_t begin = 0;
  while (true) {
    const std::size_t hit = JsonSpecial::find(text, begin);
    json.append(text, begin, hit - begin);
    if (hit == text.size()) break;
    append_escape(static_cast<unsigned char>(text[hit]), json);
    begin = hit + 1;
  }
  json += '"';
}

void append_json_scalar(const ImageLeaf& leaf, bool qualify, std::string& json) {
  std::string_view text = leaf.text();
  switch (leaf.form()) {
    case ScalarForm::kString:
      return append_json_string(text, json);
    case ScalarForm::kBare:
      json += text;
      return;
    case ScalarForm::kIdentity:
      // Names of modules and identities hold nothing that JSON escapes.
      if (!qualify) text.remove_prefix(text.find(':') + 1);
      json += '"';
      json += text;
      json += '"';
      return;
    case ScalarForm::kEmpty:
      json += "[null]";
      return;
  }
}

}  // namespace nexa::host
