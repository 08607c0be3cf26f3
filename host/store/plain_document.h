// Documents as the translation writes them, made into libyang nodes without libyang's XML reader,
// which looks up the module of each element among all modules by its namespace.
#ifndef HOST_STORE_PLAIN_DOCUMENT_H_
#define HOST_STORE_PLAIN_DOCUMENT_H_

#include <string_view>

#include "store/tree.h"

namespace nexa::store {

// Reads elements of the numbered schema's configuration, without the element around them, as
// libyang would with LYD_PARSE_ONLY and LYD_PARSE_STRICT. False, and no tree: there is a fault in
// it, an entry stands there twice, or it has what only libyang reads (attributes, comments,
// anydata, state data, ...).
bool read_plain_document(std::string_view xml, TreePtr& tree);

}  // namespace nexa::store

#endif  // HOST_STORE_PLAIN_DOCUMENT_H_
