// The steps that the conversions of a string, a number and a boolean have in common.
#ifndef NEXA_LEAF_VALUES_H_
#define NEXA_LEAF_VALUES_H_

#include "nexa_srv_rpc_msg_helpers/json2xml_conversion.h"

namespace nexa {

// What handle_json2xml_leaf_value returns.
inline constexpr int kNoHandler = 0;
inline constexpr int kStringHandler = 1;
inline constexpr int kNumberHandler = 2;
inline constexpr int kBooleanHandler = 3;

// The name under which a leaf's element is created: the placeholder where the log shows it,
// otherwise what will most likely stay its name.
const char* first_name(const Conversion& conversion, const cJsonCsnode& binding,
                       const char* placeholder);

// The conversion of an item, chosen by its JSON type.
int handler_of(const cJSON& item);

// The item's binding to a schema node; null, logged, when it has none. `function` is the caller's,
// for the log.
cJsonCsnode* find_leaf_binding(const char* function, cJSON* item, Json2cJsonCsnodeHash* hash);

// Gives the finished element its name. The element, or null after a failure of the naming.
xmlNodePtr finish_leaf(const char* function, const Conversion& conversion, cJSON* item,
                       const cJsonCsnode* binding, XmlNode element);

}  // namespace nexa

#endif  // NEXA_LEAF_VALUES_H_
