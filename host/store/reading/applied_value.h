// Does a leaf of the state repeat one of the configuration? Models that follow OpenConfig's pattern
// have a container "state" beside each container "config"; a leaf of both is the value in use of
// what was configured, a leaf of "state" alone is operational.
#ifndef HOST_STORE_READING_APPLIED_VALUE_H_
#define HOST_STORE_READING_APPLIED_VALUE_H_

#include "store/tree.h"

namespace nexa::store {

// For a config false leaf or leaf-list.
bool is_applied_value(const lysc_node* leaf);

}  // namespace nexa::store

#endif  // HOST_STORE_READING_APPLIED_VALUE_H_
