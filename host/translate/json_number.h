// JSON numbers as text: an exponent is worked out digit by digit, never through a floating-point
// value.
#ifndef HOST_TRANSLATE_JSON_NUMBER_H_
#define HOST_TRANSLATE_JSON_NUMBER_H_

#include <optional>
#include <string>
#include <string_view>

namespace nexa::translate {

inline bool has_exponent(std::string_view number) {
  return number.find_first_of("eE") != std::string_view::npos;
}

// The number without its exponent, zeros behind the point dropped: "1.5e1" is "15". nullopt when
// more than 40 digits would be needed: no YANG type has them.
std::optional<std::string> without_exponent(std::string_view number);

}  // namespace nexa::translate

#endif  // HOST_TRANSLATE_JSON_NUMBER_H_
