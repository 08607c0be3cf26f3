// Where among the siblings of one level of a libyang tree does an instance stand? Only reads:
// libyang's search for the first instance of a schema node (lyd_find_sibling_val without a value)
// exchanges the comparison of the parent's hash table while it runs.
#ifndef HOST_STORE_SIBLINGS_H_
#define HOST_STORE_SIBLINGS_H_

#include "store/tree.h"

namespace nexa::store {

// An instance of `schema` among the siblings that start with `first`, or null. libyang keeps the
// instances of a list together, so looking from both ends meets a long list's entries at once.
const lyd_node* some_instance(const lyd_node* first, const lysc_node* schema);

// The first instance of `schema`, or null; the others follow it without a gap.
const lyd_node* first_instance(const lyd_node* first, const lysc_node* schema);

}  // namespace nexa::store

#endif  // HOST_STORE_SIBLINGS_H_
