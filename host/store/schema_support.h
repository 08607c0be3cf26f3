// Which schemas can the store not work with? Asked before anything of libyang's is called with
// them.
#ifndef HOST_STORE_SCHEMA_SUPPORT_H_
#define HOST_STORE_SCHEMA_SUPPORT_H_

#include <string>

namespace nexa::store {

// One line that says what of the loaded schema libyang 2.1 cannot do; empty when it can do all.
//
// That is a default which one module adds to a case of a choice that stands at the top level of
// another: libyang looks for it for ever. And a `unique` that names a leaf which a deviation took
// out: libyang keeps the freed node.
std::string unsupported_schema();

}  // namespace nexa::store

#endif  // HOST_STORE_SCHEMA_SUPPORT_H_
