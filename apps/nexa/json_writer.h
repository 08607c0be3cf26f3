// Builds the JSON answers of the commands.
#ifndef APPS_NEXA_JSON_WRITER_H_
#define APPS_NEXA_JSON_WRITER_H_

#include <string>

#include "text/json_owner.h"

namespace nexa_tool {

using nexa::text::JsonPtr;

// Appends `item` to an object, or to an array for an empty name, which owns it from then on.
void add_item(cJSON* parent, const char* name, JsonPtr item);
void add_text(cJSON* parent, const char* name, const std::string& text);

// Indented, with a final newline.
std::string to_text(const cJSON* item);

}  // namespace nexa_tool

#endif  // APPS_NEXA_JSON_WRITER_H_
