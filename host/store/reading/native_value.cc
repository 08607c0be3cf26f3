// The schema tells the kind of a number, for the image keeps texts. Of a union only those members
// are looked at that can have such a text; where their kinds differ, libyang says which it is.
#include "store/reading/native_value.h"

#include <charconv>
#include <cstdint>
#include <string_view>

#include "store/image/union_value.h"
#include "text/base64.h"

namespace nexa::store {
namespace {

enum class NativeKind : std::uint8_t { kText, kSigned, kUnsigned, kBoolean, kDecimal, kBytes };

NativeKind kind_of(LY_DATA_TYPE type) {
  switch (type) {
    case LY_TYPE_INT8:
    case LY_TYPE_INT16:
    case LY_TYPE_INT32:
    case LY_TYPE_INT64:
      return NativeKind::kSigned;
    case LY_TYPE_UINT8:
    case LY_TYPE_UINT16:
    case LY_TYPE_UINT32:
    case LY_TYPE_UINT64:
      return NativeKind::kUnsigned;
    case LY_TYPE_BOOL:
    case LY_TYPE_EMPTY:
      return NativeKind::kBoolean;
    case LY_TYPE_DEC64:
      return NativeKind::kDecimal;
    case LY_TYPE_BINARY:
      return NativeKind::kBytes;
    case LY_TYPE_UNKNOWN:
    case LY_TYPE_STRING:
    case LY_TYPE_BITS:
    case LY_TYPE_ENUM:
    case LY_TYPE_IDENT:
    case LY_TYPE_INST:
    case LY_TYPE_LEAFREF:
    case LY_TYPE_UNION:
      break;
  }
  return NativeKind::kText;
}

const lysc_type* without_reference(const lysc_type* type) {
  while (type->basetype == LY_TYPE_LEAFREF) {
    type = reinterpret_cast<const lysc_type_leafref*>(type)->realtype;
  }
  return type;
}

// Numbers of 64 bits and decimals are strings in JSON, and so are they in the image.
bool may_have_form(LY_DATA_TYPE type, ScalarForm form) {
  const bool is_bare = type == LY_TYPE_INT8 || type == LY_TYPE_INT16 || type == LY_TYPE_INT32 ||
                       type == LY_TYPE_UINT8 || type == LY_TYPE_UINT16 || type == LY_TYPE_UINT32 ||
                       type == LY_TYPE_BOOL;
  return is_bare == (form == ScalarForm::kBare);
}

NativeKind kind_in_union(const ImageLeaf& leaf, const lysc_type* type) {
  const auto* const choice = reinterpret_cast<const lysc_type_union*>(type);
  bool is_first = true;
  NativeKind kind = NativeKind::kText;
  LY_ARRAY_COUNT_TYPE i = 0;
  LY_ARRAY_FOR(choice->types, i) {
    const LY_DATA_TYPE member = without_reference(choice->types[i])->basetype;
    if (member == LY_TYPE_UNION) return kind_of(chosen_member(leaf));
    if (!may_have_form(member, leaf.form())) continue;
    if (!is_first && kind != kind_of(member)) return kind_of(chosen_member(leaf));
    kind = kind_of(member);
    is_first = false;
  }
  return kind;
}

NativeKind kind_of(const ImageLeaf& leaf) {
  if (leaf.form() == ScalarForm::kIdentity) return NativeKind::kText;
  if (leaf.form() == ScalarForm::kEmpty) return NativeKind::kBoolean;
  const lysc_type* const type = without_reference(type_of(leaf.schema()));
  return type->basetype == LY_TYPE_UNION ? kind_in_union(leaf, type) : kind_of(type->basetype);
}

// False for a text that is no such number.
template <typename Number>
bool read_number(std::string_view text, Number& number) {
  const char* const end = text.data() + text.size();
  const auto [last, fault] = std::from_chars(text.data(), end, number);
  return fault == std::errc() && last == end;
}

}  // namespace

void set_native_value(const ImageLeaf& leaf, gnmi::TypedValue& value) {
  const std::string_view text = leaf.text();
  std::int64_t signed_number = 0;
  std::uint64_t unsigned_number = 0;
  double decimal = 0;
  switch (kind_of(leaf)) {
    case NativeKind::kSigned:
      if (read_number(text, signed_number)) return value.set_int_val(signed_number);
      break;
    case NativeKind::kUnsigned:
      if (read_number(text, unsigned_number)) return value.set_uint_val(unsigned_number);
      break;
    case NativeKind::kDecimal:
      if (read_number(text, decimal)) return value.set_double_val(decimal);
      break;
    case NativeKind::kBoolean:
      return value.set_bool_val(text != "false");
    case NativeKind::kBytes:
      if (text::append_decoded_base64(text, *value.mutable_bytes_val())) return;
      break;
    case NativeKind::kText:
      break;
  }
  value.set_string_val(text.data(), text.size());
}

}  // namespace nexa::store
