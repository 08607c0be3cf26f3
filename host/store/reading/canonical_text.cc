// The value's own text when it is there, that of a copy otherwise.
#include "store/reading/canonical_text.h"

#include <libyang/plugins_types.h>

namespace nexa::host {

CanonicalText::CanonicalText(const ly_ctx* context, const lyd_value& value) : context_(context) {
  const char* text = value._canonical;
  if (text == nullptr && value.realtype->plugin->duplicate(context, &value, &copy_) == LY_SUCCESS) {
    is_copied_ = true;
    text = lyd_value_get_canonical(context, &copy_);
  }
  if (text != nullptr) text_ = text;
}

CanonicalText::~CanonicalText() {
  if (is_copied_) copy_.realtype->plugin->free(context_, &copy_);
}

}  // namespace nexa::host
