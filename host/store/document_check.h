// Does a document say one thing? Reads the nodes of an operation and refuses what contradicts
// itself before any of it is applied.
#ifndef HOST_STORE_DOCUMENT_CHECK_H_
#define HOST_STORE_DOCUMENT_CHECK_H_

#include <optional>
#include <string_view>

#include "store/tree.h"
#include "store/validation/validation.h"

namespace nexa::store {

// Reads configuration nodes in XML, no element around them. A violation names the first problem: a
// name or value that the schema does not take, operational data.
std::optional<Violation> read_nodes(std::string_view xml, TreePtr& tree);

// The same for what a client sent: also refuses a node given twice and data of two cases of a
// choice.
std::optional<Violation> read_document(std::string_view xml, TreePtr& tree);

// The same for a whole document, for a caller that has no store: numbers the schema, and keeps
// libyang's messages off standard error from then on.
std::optional<Violation> judge_document(std::string_view document);

}  // namespace nexa::store

#endif  // HOST_STORE_DOCUMENT_CHECK_H_
