// Instance identifiers of image nodes, in the form that libyang gives those of its own nodes.
#ifndef HOST_STORE_IMAGE_IMAGE_PATH_H_
#define HOST_STORE_IMAGE_IMAGE_PATH_H_

#include <string>

#include "store/image/image.h"

namespace nexa::store {

// Appends one step: "/module:name" (the module only where it is not that of `parent`, the schema
// node above, null at the top), the keys of an entry, the value of a leaf-list entry.
void append_path_step(const ImageNode& node, const lysc_node* parent, std::string& path);

}  // namespace nexa::store

#endif  // HOST_STORE_IMAGE_IMAGE_PATH_H_
