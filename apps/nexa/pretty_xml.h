// Configuration XML for people: one element a line, indented, in colour if wanted.
#ifndef APPS_NEXA_PRETTY_XML_H_
#define APPS_NEXA_PRETTY_XML_H_

#include <string>
#include <string_view>

namespace nexa_tool {

// `xml` as the library serialises it, unindented and without comments, as indented text with a
// final newline. Leaf texts stay as they are.
std::string pretty_xml(std::string_view xml, bool colour);

}  // namespace nexa_tool

#endif  // APPS_NEXA_PRETTY_XML_H_
