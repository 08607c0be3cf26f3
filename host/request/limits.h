// What one request may ask for at most, unless the service says otherwise.
#ifndef HOST_REQUEST_LIMITS_H_
#define HOST_REQUEST_LIMITS_H_

#include <cstddef>

namespace nexa::request {

inline constexpr std::size_t kMostOperations = 100000;  // of one Set

}  // namespace nexa::request

#endif  // HOST_REQUEST_LIMITS_H_
