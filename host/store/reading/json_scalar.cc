// The form of the leaf decides: that of a union's value is its member's, that of a leafref's its
// target's.
#include "store/reading/json_scalar.h"

#include "text/escape.h"

namespace nexa::store {

void append_json_scalar(const ImageLeaf& leaf, bool qualify, std::string& json) {
  std::string_view text = leaf.text();
  switch (leaf.form()) {
    case ScalarForm::kString:
      return text::append_json_string(text, json);
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

}  // namespace nexa::store
