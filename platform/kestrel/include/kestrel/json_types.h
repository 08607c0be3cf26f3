// How RFC 7951, section 6, has the values of a type written: what code needs that calls libyang's
// type plugins itself.
#ifndef KESTREL_JSON_TYPES_H_
#define KESTREL_JSON_TYPES_H_

#include <cstdint>
#include <string_view>

#include "kestrel/values.h"

struct lysc_type;

namespace kestrel {

// The hints (LYD_VALHINT_*) with which a type plugin reads a text as it was written in JSON; of
// kText every hint, so that the text alone decides; of kNull none. Any thread.
KESTREL_EXPORT std::uint32_t hints_of(Written written);

// Whether `type` is a union, or a leafref to one, in which a text may stand for values of two JSON
// types: one member is written as a string and another is not. Numbers, true and false, and [null]
// share no text among themselves. Any thread.
KESTREL_EXPORT bool mixes_json_types(const struct lysc_type* type);

// Whether `text` spells no number, true, false or empty value, so that every type reads it as it
// reads a JSON string, whichever hints it has. Any thread.
KESTREL_EXPORT bool is_only_a_string(std::string_view text);

}  // namespace kestrel

#endif  // KESTREL_JSON_TYPES_H_
