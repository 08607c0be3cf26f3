// What of somebody else's text may stand on a terminal.
#ifndef APPS_NEXA_PRINTABLE_H_
#define APPS_NEXA_PRINTABLE_H_

#include <string>
#include <string_view>

namespace nexa_tool {

enum class Lines { kOne, kMany };

// `text` with a "?" for each character that a terminal may take as a command or that changes the
// order of what stands around it, and for each byte that is no UTF-8. Line ends and tabs stay in
// kMany.
std::string printable(std::string_view text, Lines lines);

}  // namespace nexa_tool

#endif  // APPS_NEXA_PRINTABLE_H_
