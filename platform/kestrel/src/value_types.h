// Which value type code (kestrel_cs_node::shallow_type) a YANG type has. The codes are those that
// every reader of the schema counts as a leaf's: 4-20, 23, 27-30, 35, 39-44, 46-50. README.md
// explains the table; the codes are fixed, new types take unused ones.
#ifndef KESTREL_SRC_VALUE_TYPES_H_
#define KESTREL_SRC_VALUE_TYPES_H_

#include <libyang/libyang.h>

#include <cstdint>
#include <string_view>

namespace kestrel {

// Containers, lists, anydata and anyxml: no leaf's code.
inline constexpr std::uint32_t kNoValueType = 0;

struct BuiltInType {
  LY_DATA_TYPE type;
  std::uint32_t code;
};

// RFC 7950 section 4.2.4. A leafref has the code of its target instead.
inline constexpr BuiltInType kBuiltInTypes[] = {
    {LY_TYPE_STRING, 4},  {LY_TYPE_INT8, 5},    {LY_TYPE_INT16, 6},   {LY_TYPE_INT32, 7},
    {LY_TYPE_INT64, 8},   {LY_TYPE_UINT8, 9},   {LY_TYPE_UINT16, 10}, {LY_TYPE_UINT32, 11},
    {LY_TYPE_UINT64, 12}, {LY_TYPE_DEC64, 13},  {LY_TYPE_BOOL, 14},   {LY_TYPE_ENUM, 15},
    {LY_TYPE_BITS, 16},   {LY_TYPE_BINARY, 17}, {LY_TYPE_EMPTY, 18},  {LY_TYPE_UNION, 19},
    {LY_TYPE_INST, 20},   {LY_TYPE_IDENT, 44},
};

// The types of RFC 6991 and RFC 8341 whose values have a form of their own: the name is the part of
// a libyang type plugin's identification that says which type it is for.
struct DerivedType {
  std::string_view name;
  std::uint32_t code;
};

inline constexpr DerivedType kDerivedTypes[] = {
    {"date-and-time", 23},        {"ipv4-address", 27},         {"ipv6-address", 28},
    {"ipv4-prefix", 29},          {"ipv6-prefix", 30},          {"xpath1.0", 35},
    {"ipv4-address-no-zone", 39}, {"ipv6-address-no-zone", 40}, {"node-instance-identifier", 41},
};

constexpr std::uint32_t built_in_code(LY_DATA_TYPE type) {
  for (const BuiltInType& entry : kBuiltInTypes) {
    if (entry.type == type) return entry.code;
  }
  return kNoValueType;
}

// `identification` reads "libyang 2 - ipv4-address, version 1". kNoValueType when the plugin serves
// no derived type.
constexpr std::uint32_t derived_code(std::string_view identification) {
  constexpr std::string_view kSeparator = " - ";
  const std::size_t separator = identification.find(kSeparator);
  if (separator == std::string_view::npos) return kNoValueType;
  identification.remove_prefix(separator + kSeparator.size());
  const std::string_view name = identification.substr(0, identification.find(','));
  for (const DerivedType& entry : kDerivedTypes) {
    if (entry.name == name) return entry.code;
  }
  return kNoValueType;
}

}  // namespace kestrel

#endif  // KESTREL_SRC_VALUE_TYPES_H_
