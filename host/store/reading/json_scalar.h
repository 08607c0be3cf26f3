// One value of a leaf as RFC 7951 writes it.
#ifndef HOST_STORE_READING_JSON_SCALAR_H_
#define HOST_STORE_READING_JSON_SCALAR_H_

#include <string>

#include "store/image/image.h"

namespace nexa::store {

// Appends the value of a leaf or of one entry of a leaf-list. `qualify` writes identities with
// their module.
void append_json_scalar(const ImageLeaf& leaf, bool qualify, std::string& json);

}  // namespace nexa::store

#endif  // HOST_STORE_READING_JSON_SCALAR_H_
