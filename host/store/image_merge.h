// Puts documents into images and takes nodes out: what RFC 7950, section 7.9 (cases give way) and
// the default flags ask of every single change. Each function takes the slot of the parent, which
// belongs to a draft (image_draft.h), and keeps the default flags of the containers that it passes.
#ifndef HOST_STORE_IMAGE_MERGE_H_
#define HOST_STORE_IMAGE_MERGE_H_

#include <vector>

#include "model/target.h"
#include "store/image/image.h"

namespace nexa::store {

// Merges a document's nodes, libyang siblings, into the children of `parent`.
void merge_siblings(ImageSlot& parent, const lyd_node* sources);

// The explicit children of `parent` become those of the document (null: none). `root`, when given,
// is the target whose root `parent` is: what does not belong to its origin stays.
void replace_siblings(ImageSlot& parent, const lyd_node* sources,
                      const model::Target* root = nullptr);

// The document replaces the node that `chain` (schema nodes from the top down) leads to in it, and
// is merged on the way there. `all_instances`: every instance of the last one is replaced.
void replace_at(ImageSlot& root, const lyd_node* document,
                const std::vector<const lysc_node*>& chain, bool all_instances);

// Marks a container without presence as a default when nothing in it is configured, else as
// explicit.
void refresh_default_flag(ImageSlot& slot);

// Gives the values of `image` that are those of `given`, by text, the JSON types that they have
// there.
void take_json_types(ImageSlot& image, const ImageInner& given);

// The first node of a document that cannot stand beside what `image` says explicitly: a leaf or
// anydata with another value, a node of another case of a choice. Null when there is none.
const lyd_node* contradicting_node(const ImageInner& image, const lyd_node* sources);

// Takes out the node at the end of a chain, if it is still there.
void remove_chain(ImageSlot& root, const ImageChain& chain);

}  // namespace nexa::store

#endif  // HOST_STORE_IMAGE_MERGE_H_
