// What does a transaction change, in XML? The difference of two images as the log keeps it for
// people and for changed schemas: a YANG difference, in the form of libyang's own, without
// defaults: what was configured and nothing that follows from it.
#ifndef HOST_STORE_CHANGE_H_
#define HOST_STORE_CHANGE_H_

#include <string>
#include <string_view>

#include "store/image/image.h"
#include "store/tree.h"
#include "text/result.h"

namespace nexa::store {

// The difference as XML, each top-level node with an operation. Empty when no configured node
// differs. False when it cannot be said: an entry stands behind one whose keys hold both kinds of
// quotes.
bool change_xml(const ImageInner& before, const ImageInner& after, std::string& xml);

// The nodes that differ as they stand in `side`, one of the two, with their ancestors and list
// keys, top element "config". Of a list that the user orders every entry, where one came, went or
// moved.
std::string changed_nodes_xml(const ImageInner& before, const ImageInner& after,
                              const ImageInner& side);

// Reads top-level nodes without validation: configuration only, nothing unknown. Null where there
// are none.
text::Result<TreePtr> parse_nodes(std::string_view xml);

// What stands inside the one top element of a document, an XML declaration before it. nullptr data
// when the text is no such document.
std::string_view inner_xml(std::string_view document);

}  // namespace nexa::store

#endif  // HOST_STORE_CHANGE_H_
