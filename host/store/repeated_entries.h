// Does a document give an entry twice? libyang keeps what is equal in one chain of its hash table
// and walks it for each, so a document of many equal entries would hold the writer for hours.
#ifndef HOST_STORE_REPEATED_ENTRIES_H_
#define HOST_STORE_REPEATED_ENTRIES_H_

#include <string>
#include <string_view>

namespace nexa::store {

// `xml` cut behind the first list entry, or leaf-list value, that was given before with the same
// text, open elements closed: a short document with the same fault. Empty when there is none, or
// where elements have prefixes. `xml` is well-formed, keys stand in the schema's order.
std::string cut_at_repetition(std::string_view xml);

}  // namespace nexa::store

#endif  // HOST_STORE_REPEATED_ENTRIES_H_
