// Owners of the C objects that the translation holds.
#ifndef HOST_TRANSLATE_BARE_HANDLES_H_
#define HOST_TRANSLATE_BARE_HANDLES_H_

#include <cjson/cJSON.h>
#include <libxml/tree.h>

#include <memory>

namespace nexa::host::bare {

struct JsonDeleter {
  void operator()(cJSON* item) const { cJSON_Delete(item); }
};
using JsonPtr = std::unique_ptr<cJSON, JsonDeleter>;

struct XmlNodeDeleter {
  void operator()(xmlNodePtr node) const { xmlFreeNode(node); }
};
using XmlNodePtr = std::unique_ptr<xmlNode, XmlNodeDeleter>;

struct XmlTextDeleter {
  void operator()(xmlChar* text) const { xmlFree(text); }
};
using XmlTextPtr = std::unique_ptr<xmlChar, XmlTextDeleter>;

}  // namespace nexa::host::bare

#endif  // HOST_TRANSLATE_BARE_HANDLES_H_
