// libyang counts the items of its arrays in 64 bits, whatever the machine's sizes have.
#ifndef TESTS_SUPPORT_LIBYANG_ARRAYS_H_
#define TESTS_SUPPORT_LIBYANG_ARRAYS_H_

#include <libyang/libyang.h>

#include <cstddef>

namespace nexa_test {

// The items of one of libyang's sized arrays; 0 for null.
template <typename Item>
std::size_t count_of(const Item* array) {
  return static_cast<std::size_t>(LY_ARRAY_COUNT(array));
}

}  // namespace nexa_test

#endif  // TESTS_SUPPORT_LIBYANG_ARRAYS_H_
