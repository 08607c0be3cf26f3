// The JSON (RFC 7951) of a node out of one or two images. Members stand in the order of the schema,
// entries in that of their list. Any number of threads at a time.
#ifndef HOST_STORE_READING_JSON_VALUE_H_
#define HOST_STORE_READING_JSON_VALUE_H_

#include <cstdint>
#include <string>

#include "model/model_set.h"
#include "store/config_store.h"
#include "store/node_pairs.h"
#include "store/reading/selection.h"

namespace nexa::store {

struct JsonForm {
  DataPart part = DataPart::kAll;
  // Member names and identities carry their module (JSON_IETF). Without, only names that would
  // stand twice in an object do.
  bool qualify = true;
  const model::ModelSet* models = nullptr;  // which nodes and identities there are; null: all
  std::uint32_t depth = 0;  // levels of nodes that are shown; 0: all of them (Query::depth)
};

// Appends the value of `node` to `json`: an object for a container or a list entry, a scalar for a
// leaf, one array element for an entry of a leaf-list, an array for a whole leaf-list. False when
// nothing of the wanted part is there; `json` is unchanged then.
bool append_value(const NodePair& node, const JsonForm& form, std::string& json);

// Appends the object of all top-level nodes of the two trees.
bool append_tree(const PairLevel& top, const JsonForm& form, std::string& json);

}  // namespace nexa::store

#endif  // HOST_STORE_READING_JSON_VALUE_H_
