// What anydata and anyxml hold, as JSON: XML without a schema, so objects and strings; names that
// come twice are arrays. Nodes that the schema knows are written by the caller.
#ifndef HOST_STORE_READING_JSON_ANY_H_
#define HOST_STORE_READING_JSON_ANY_H_

#include <functional>
#include <string>

#include "store/tree.h"

namespace nexa::store {

// Appends the value of a node that has a schema node.
using KnownNodeWriter = std::function<void(const lyd_node* node)>;

// Appends the content of an anydata or anyxml node; `qualify` writes modules into names where they
// change.
void append_json_any(const lyd_node* node, bool qualify, const KnownNodeWriter& known,
                     std::string& json);

}  // namespace nexa::store

#endif  // HOST_STORE_READING_JSON_ANY_H_
