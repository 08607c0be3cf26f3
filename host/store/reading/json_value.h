// The JSON (RFC 7951) of a node, or of each leaf below it, out of one or two images. Members stand
// in the order of the schema, entries in that of their list. Any number of threads at a time.
#ifndef HOST_STORE_READING_JSON_VALUE_H_
#define HOST_STORE_READING_JSON_VALUE_H_

#include <functional>
#include <string>

#include "store/config_store.h"
#include "store/reading/selection.h"

namespace nexa::store {

struct JsonForm {
  DataPart part = DataPart::kAll;
  // Member names and identities carry their module (JSON_IETF). Without, only names that would
  // stand twice in an object do.
  bool qualify = true;
};

// Appends the value of `node` to `json`: an object for a container or a list entry, a scalar for a
// leaf, one array element for an entry of a leaf-list, an array for a whole leaf-list. False when
// nothing of the wanted part is there; `json` is unchanged then.
bool append_value(const NodePair& node, const JsonForm& form, std::string& json);

// Appends the object of all top-level nodes of the two trees.
bool append_tree(const ImageInner* config, const ImageInner* state, const JsonForm& form,
                 std::string& json);

// Gives each leaf at or below `node` to `sink`, and each leaf-list below it as one array. `path` is
// the node's own path, unchanged at the end; `qualify_names` writes modules into the names below it
// where they change. Anydata count as leaves.
void for_each_leaf(const NodePair& node, gnmi::Path& path, const JsonForm& form, bool qualify_names,
                   const ValueSink& sink);

// The same for all top-level nodes of the two trees.
void for_each_leaf_of_tree(const ImageInner* config, const ImageInner* state, const JsonForm& form,
                           bool qualify_names, const ValueSink& sink);

}  // namespace nexa::store

#endif  // HOST_STORE_READING_JSON_VALUE_H_
