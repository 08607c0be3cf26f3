// Which operation of a transaction is at fault? Asked after a refusal alone.
#ifndef HOST_STORE_EDIT_BLAME_H_
#define HOST_STORE_EDIT_BLAME_H_

#include <string_view>
#include <vector>

#include "store/config_store.h"
#include "store/image/image.h"

namespace nexa::store {

// The index of the edit to blame for a node at fault (instance identifier): the last one that
// changed it or something above it, or alone something below it. -1 when there is none. Applies
// the edits to `before` once more, one after the other.
int edit_to_blame(const ImagePtr& before, const std::vector<Edit>& edits, std::string_view path);

}  // namespace nexa::store

#endif  // HOST_STORE_EDIT_BLAME_H_
