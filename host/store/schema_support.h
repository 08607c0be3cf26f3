// Which schemas can the store not work with? Asked before anything of libyang's is called with
// them.
#ifndef HOST_STORE_SCHEMA_SUPPORT_H_
#define HOST_STORE_SCHEMA_SUPPORT_H_

#include "text/result.h"

namespace nexa::store {

// Fails when libyang 2.1 cannot do something of the loaded schema.
//
// That is a default which one module adds to a case of a choice that stands at the top level of
// another: libyang looks for it for ever. And a `unique` that names a leaf which a deviation took
// out: libyang keeps the freed node.
text::Done check_schema();

}  // namespace nexa::store

#endif  // HOST_STORE_SCHEMA_SUPPORT_H_
