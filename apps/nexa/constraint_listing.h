// What nexa capabilities --constraints prints: the constraints of the loaded modules that cost a
// validation of the whole tree.
#ifndef APPS_NEXA_CONSTRAINT_LISTING_H_
#define APPS_NEXA_CONSTRAINT_LISTING_H_

#include <string>

namespace nexa_tool {

// Over the loaded schema, with a final newline.
std::string constraints_as_text();
std::string constraints_as_json();

}  // namespace nexa_tool

#endif  // APPS_NEXA_CONSTRAINT_LISTING_H_
