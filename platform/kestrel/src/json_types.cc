// The hints are those of libyang's own JSON reader.
#include "kestrel/json_types.h"

#include <libyang/libyang.h>

#include "type_value.h"

namespace kestrel {
namespace {

const lysc_type* behind_leafref(const lysc_type* type) {
  return type->basetype == LY_TYPE_LEAFREF
             ? reinterpret_cast<const lysc_type_leafref*>(type)->realtype
             : type;
}

constexpr std::uint32_t bit(Written written) { return 1U << static_cast<std::uint32_t>(written); }

// How the values of a type are written, a bit each.
std::uint32_t written_types(const lysc_type* type) {
  const lysc_type* const real = behind_leafref(type);
  if (real->basetype != LY_TYPE_UNION) return bit(written_as(class_of(real->basetype)));
  const auto* const of_union = reinterpret_cast<const lysc_type_union*>(real);
  std::uint32_t types = 0;
  LY_ARRAY_COUNT_TYPE i = 0;
  LY_ARRAY_FOR(of_union->types, i) { types |= written_types(of_union->types[i]); }
  return types;
}

}  // namespace

std::uint32_t hints_of(Written written) {
  switch (written) {
    case Written::kString:
      return LYD_VALHINT_STRING | LYD_VALHINT_NUM64;
    case Written::kNumber:
      return LYD_VALHINT_DECNUM;
    case Written::kBoolean:
      return LYD_VALHINT_BOOLEAN;
    case Written::kEmpty:
      return LYD_VALHINT_EMPTY;
    case Written::kNull:
      return 0;
    case Written::kText:
      return LYD_VALHINT_STRING | LYD_VALHINT_DECNUM | LYD_VALHINT_NUM64 | LYD_VALHINT_BOOLEAN |
             LYD_VALHINT_EMPTY;
  }
  return 0;
}

bool mixes_json_types(const lysc_type* type) {
  const std::uint32_t types = written_types(type);
  return (types & bit(Written::kString)) != 0 && types != bit(Written::kString);
}

// Bases up to 16 and blanks around a number are libyang's own.
bool is_only_a_string(std::string_view text) {
  constexpr std::string_view kOfNumbers = "0123456789abcdefABCDEFxX+-. \t\r\n";
  if (text == "true" || text == "false") return false;
  const std::size_t other = text.find_first_not_of(kOfNumbers);
  if (other != std::string_view::npos) return true;
  const std::size_t point = text.find('.');
  return point != std::string_view::npos && text.find('.', point + 1) != std::string_view::npos;
}

}  // namespace kestrel
