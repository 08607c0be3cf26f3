// The plugins' callbacks are libyang's public interface for who has no data tree.
#include "type_value.h"

#include <libyang/plugins_types.h>

#include <cstdlib>
#include <cstring>

namespace kestrel {

std::uint32_t class_of(LY_DATA_TYPE type) {
  switch (type) {
    case LY_TYPE_INT8:
    case LY_TYPE_INT16:
    case LY_TYPE_INT32:
    case LY_TYPE_UINT8:
    case LY_TYPE_UINT16:
    case LY_TYPE_UINT32:
      return kSmallInteger;
    case LY_TYPE_INT64:
    case LY_TYPE_UINT64:
      return kLargeInteger;
    case LY_TYPE_DEC64:
      return kDecimal;
    case LY_TYPE_BOOL:
      return kBoolean;
    case LY_TYPE_EMPTY:
      return kEmptyType;
    case LY_TYPE_IDENT:
      return kIdentity;
    case LY_TYPE_INST:
      return kInstance;
    default:
      return kText;
  }
}

Written written_as(std::uint32_t type_class) {
  switch (type_class) {
    case kSmallInteger:
      return Written::kNumber;
    case kBoolean:
      return Written::kBoolean;
    case kEmptyType:
      return Written::kEmpty;
    default:
      return Written::kString;
  }
}

TypeValue::~TypeValue() {
  if (type_ != nullptr) type_->plugin->free(context_, &value_);
}

bool TypeValue::store(const lysc_node* node, const lysc_type* type, std::string_view text,
                      std::uint32_t hints, std::string& rule) {
  // The callback of a union refuses a null pointer.
  if (text.data() == nullptr) text = "";
  ly_err_item* problem = nullptr;
  const LY_ERR result =
      type->plugin->store(context_, type, text.data(), text.size(), 0, LY_VALUE_JSON, nullptr,
                          hints, node, &value_, nullptr, &problem);
  // Incomplete: whether the value's target exists is a question to the data, not to the type.
  const bool taken = result == LY_SUCCESS || result == LY_EINCOMPLETE;
  if (taken) {
    type_ = type;
  } else {
    rule = problem != nullptr && problem->msg != nullptr ? problem->msg : "not a value of its type";
    std::memset(&value_, 0, sizeof value_);
  }
  ly_err_free(problem);
  return taken;
}

const lysc_type* TypeValue::real_type() const {
  const lyd_value* value = &value_;
  while (value->realtype->basetype == LY_TYPE_UNION) value = &value->subvalue->value;
  return value->realtype;
}

std::string TypeValue::print(LY_VALUE_FORMAT format, void* prefixes) const {
  ly_bool dynamic = 0;
  std::size_t size = 0;
  const auto* text = static_cast<const char*>(
      value_.realtype->plugin->print(context_, &value_, format, prefixes, &dynamic, &size));
  if (text == nullptr) return {};
  std::string copy(text, size);
  if (dynamic != 0) std::free(const_cast<char*>(text));
  return copy;
}

}  // namespace kestrel
