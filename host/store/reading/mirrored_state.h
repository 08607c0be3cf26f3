// The container "state" of a level as the configuration beside it fills it (model/state_mirror.h).
#ifndef HOST_STORE_READING_MIRRORED_STATE_H_
#define HOST_STORE_READING_MIRRORED_STATE_H_

#include "model/state_mirror.h"
#include "store/image/image.h"

namespace nexa::store {

// A new container "state": each leaf of the pair that is there in `config` (the nodes around the
// container "config"), defaults included, and all that `state` (the same of operational data; may
// be null) has in it, which counts more. Null when the configuration has nothing to show. Costs
// what it holds.
ImageSlot mirrored_state(const model::MirroredContainer& pair, const ImageInner& config,
                         const ImageInner* state);

}  // namespace nexa::store

#endif  // HOST_STORE_READING_MIRRORED_STATE_H_
