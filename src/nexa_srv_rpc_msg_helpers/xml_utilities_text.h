// The empty value of JSON_IETF texts, recognised without building a string.
#ifndef NEXA_XML_UTILITIES_TEXT_H_
#define NEXA_XML_UTILITIES_TEXT_H_

#include <string_view>

namespace nexa {

// Whether the whole text matches the ECMAScript pattern "\s*[\s*null\s*]\s*": the brackets are a
// class, so one character out of white space, '*', 'n', 'u', 'l', with white space around it.
bool is_empty_value_text(std::string_view text);

}  // namespace nexa

#endif  // NEXA_XML_UTILITIES_TEXT_H_
