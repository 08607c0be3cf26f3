// What differs between two images? A walk that costs what differs: shared parts are passed over.
#ifndef HOST_STORE_IMAGE_IMAGE_DIFFERENCE_H_
#define HOST_STORE_IMAGE_IMAGE_DIFFERENCE_H_

#include <cstdint>

#include "store/image/image.h"

namespace nexa::store {

// One node (no group) that differs; `order` is its place where it is an entry of a group, else 0.
struct NodeDifference {
  const ImageNode* before = nullptr;  // null: it came
  const ImageNode* after = nullptr;   // null: it went
  std::uint64_t order_before = 0;
  std::uint64_t order_after = 0;
};

// Calls `visit` for each child of a container, entry or root that differs: those that went or
// changed in any order within a group, those that came in their order; schema node by schema node.
// Either side may be null and stands for nothing then.
using DifferenceSink = std::function<void(const NodeDifference&)>;
void each_child_difference(const ImageInner* before, const ImageInner* after,
                           const DifferenceSink& visit);

}  // namespace nexa::store

#endif  // HOST_STORE_IMAGE_IMAGE_DIFFERENCE_H_
