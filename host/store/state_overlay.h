// Operational data of several sources in one image.
#ifndef HOST_STORE_STATE_OVERLAY_H_
#define HOST_STORE_STATE_OVERLAY_H_

#include "store/image/image.h"

namespace nexa::store {

// Lays the children of `above` over those in the slot `below`, which belongs to a draft
// (image_draft.h): leaves, leaf-lists and lists without keys replace those that are there. Costs
// what both have in common; the rest is shared.
void lay_over(ImageSlot& below, const ImageInner& above);

}  // namespace nexa::store

#endif  // HOST_STORE_STATE_OVERLAY_H_
