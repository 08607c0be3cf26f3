// libyang reads an element below anydata whose prefix stands for no namespace, and dies when it
// prints it.
#ifndef HOST_STORE_UNBOUND_PREFIX_H_
#define HOST_STORE_UNBOUND_PREFIX_H_

#include <string>

#include "store/tree.h"

namespace nexa::store {

// The first name in the tree, or in the anydata of it, whose prefix stands for no namespace, as
// "prefix:name"; empty when there is none. `first` and its siblings; may be null.
std::string unbound_prefix(const lyd_node* first);

}  // namespace nexa::store

#endif  // HOST_STORE_UNBOUND_PREFIX_H_
