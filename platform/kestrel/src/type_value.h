// A value that a libyang type plugin made of a text, and what it says about its JSON type. No data
// tree is involved.
#ifndef KESTREL_SRC_TYPE_VALUE_H_
#define KESTREL_SRC_TYPE_VALUE_H_

#include <libyang/libyang.h>

#include <cstdint>
#include <string>
#include <string_view>

#include "kestrel/values.h"

namespace kestrel {

// What a leaf's value may be, over all members of a union and through leafrefs.
enum TypeClass : std::uint32_t {
  kSmallInteger = 0x1,  // up to 32 bits: a JSON number
  kLargeInteger = 0x2,  // 64 bits: a JSON string
  kDecimal = 0x4,
  kBoolean = 0x8,
  kEmptyType = 0x10,
  kIdentity = 0x20,
  kInstance = 0x40,
  kText = 0x80,    // string, binary, bits, enumeration
  kUnion = 0x100,  // the type is a union
};

inline constexpr std::uint32_t kAnyInteger = kSmallInteger | kLargeInteger;

std::uint32_t class_of(LY_DATA_TYPE type);

// How RFC 7951, section 6, writes values of a class.
Written written_as(std::uint32_t type_class);

// Freed with the object.
class TypeValue {
 public:
  explicit TypeValue(const ly_ctx* context) : context_(context) {}
  ~TypeValue();
  TypeValue(const TypeValue&) = delete;
  TypeValue& operator=(const TypeValue&) = delete;

  // Once for an object. False with `rule` set when the type does not take the text.
  bool store(const lysc_node* node, const lysc_type* type, std::string_view text,
             std::uint32_t hints, std::string& rule);

  // The type that took the value: the member of a union, the target of a leafref.
  const lysc_type* real_type() const;
  std::uint32_t real_class() const { return class_of(real_type()->basetype); }

  std::string print(LY_VALUE_FORMAT format, void* prefixes) const;

 private:
  const ly_ctx* context_;
  const lysc_type* type_ = nullptr;
  lyd_value value_{};
};

}  // namespace kestrel

#endif  // KESTREL_SRC_TYPE_VALUE_H_
