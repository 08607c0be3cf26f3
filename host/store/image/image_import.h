// From libyang's trees to images and back.
#ifndef HOST_STORE_IMAGE_IMAGE_IMPORT_H_
#define HOST_STORE_IMAGE_IMAGE_IMPORT_H_

#include "store/image/image.h"

namespace nexa::store {

// An image of all siblings of `first` (null: none), which stand at the top level. Opaque nodes are
// left out.
ImagePtr image_of_tree(const lyd_node* first);

// An image of one node with all below it.
ImageSlot image_of_node(const lyd_node* node);

// Makes libyang nodes of an image's node, of a group all its entries, with everything below, and
// links them below `parent` (null: among the siblings of `top`, the first of which stays known).
// With `explicit_only` without defaults, and without containers that hold nothing explicit. Returns
// the node, null for a group or when none was made. The default flags of `parent` and above are
// libyang's. Throws std::bad_alloc when libyang fails.
lyd_node* link_image(lyd_node*& top, lyd_node* parent, const ImageNode& node, bool explicit_only);

// A whole tree.
TreePtr tree_of_image(const ImageInner& root, bool explicit_only);

// What a group knows a libyang entry, or leaf-list entry, by.
std::string tree_key(const lyd_node* entry);

// The libyang node that stands for an image's (no group) below `parent`, or among `top` and its
// siblings when it is null; null when there is none. Only for a tree that nobody else reads.
lyd_node* find_in_tree(lyd_node* top, lyd_node* parent, const ImageNode& node);

// The child of an image's node that stands for a libyang node; null when there is none.
const ImageNode* find_in_image(const ImageInner& parent, const lyd_node* node);

// The anydata node of a schema node from its own element, as ImageAny::xml() has it; linked
// nowhere. Null when the text cannot be read.
TreePtr any_of_xml(const lysc_node* schema, const std::string& xml);

}  // namespace nexa::store

#endif  // HOST_STORE_IMAGE_IMAGE_IMPORT_H_
