// Where do two images differ that were made in different ways, so that they share nothing?
#ifndef HOST_STORE_IMAGE_IMAGE_COMPARISON_H_
#define HOST_STORE_IMAGE_IMAGE_COMPARISON_H_

#include <cstdint>
#include <optional>
#include <string>

#include "store/image/image.h"

namespace nexa::store {

enum class Compared : std::uint8_t {
  kConfigured,  // what somebody configured
  kAll,         // defaults, too, and that they are defaults
};

// The instance identifier of a node that only one of them has or that has another value in each, or
// of the first entry out of its order; nothing when there is no difference. The order of entries
// counts where the user decides it.
std::optional<std::string> first_difference(const ImageInner& left, const ImageInner& right,
                                            Compared compared);

}  // namespace nexa::store

#endif  // HOST_STORE_IMAGE_IMAGE_COMPARISON_H_
