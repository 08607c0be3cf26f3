// C texts of the schema library and of cJSON as strings. A null text is a fault that no caller can
// repair, so it is thrown, in words that do not depend on the standard library in use.
#ifndef NEXA_NEXA_SRV_KESTREL_TEXT_H_
#define NEXA_NEXA_SRV_KESTREL_TEXT_H_

#include <stdexcept>
#include <string>

namespace nexa {

// A copy of `text`. Throws std::logic_error when it is null.
inline std::string schema_text(const char* text) {
  if (text == nullptr) throw std::logic_error("basic_string::_M_construct null not valid");
  return text;
}

}  // namespace nexa

#endif  // NEXA_NEXA_SRV_KESTREL_TEXT_H_
