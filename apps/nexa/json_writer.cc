// A failed allocation ends the command like any other.
#include "json_writer.h"

#include <new>

namespace nexa_tool {

void add_item(cJSON* parent, const char* name, JsonPtr item) {
  if (item == nullptr) throw std::bad_alloc();
  cJSON* linked = item.get();
  const bool added = *name == '\0' ? cJSON_AddItemToArray(parent, linked) != 0
                                   : cJSON_AddItemToObject(parent, name, linked) != 0;
  if (!added) throw std::bad_alloc();
  static_cast<void>(item.release());
}

void add_text(cJSON* parent, const char* name, const std::string& text) {
  add_item(parent, name, JsonPtr(cJSON_CreateString(text.c_str())));
}

std::string to_text(const cJSON* item) {
  const nexa::text::JsonTextPtr text(cJSON_Print(item));
  if (text == nullptr) throw std::bad_alloc();
  return std::string(text.get()) + "\n";
}

}  // namespace nexa_tool
