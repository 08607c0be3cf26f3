// Owners of cJSON's objects.
#ifndef HOST_TEXT_JSON_OWNER_H_
#define HOST_TEXT_JSON_OWNER_H_

#include <cjson/cJSON.h>

#include <memory>

namespace nexa::text {

struct DeleteJson {
  void operator()(cJSON* item) const { cJSON_Delete(item); }
  void operator()(char* text) const { cJSON_free(text); }
};
using JsonPtr = std::unique_ptr<cJSON, DeleteJson>;     // an item with all below it
using JsonTextPtr = std::unique_ptr<char, DeleteJson>;  // what cJSON printed

}  // namespace nexa::text

#endif  // HOST_TEXT_JSON_OWNER_H_
