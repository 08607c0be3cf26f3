// Lets allocations of the server fail, where its own code asks for them.
#ifndef TESTS_SERVER_ALLOCATION_FAILING_ALLOCATIONS_H_
#define TESTS_SERVER_ALLOCATION_FAILING_ALLOCATIONS_H_

#include <cstdint>

namespace nexa_test {

enum class Failing : std::uint8_t { kOne, kAllFromThere };

// While it lives, the n-th allocation of the server fails, and as `which` says those after it. One
// at a time.
class FailingAllocations {
 public:
  FailingAllocations(Failing which, int n);
  ~FailingAllocations();
  FailingAllocations(const FailingAllocations&) = delete;
  FailingAllocations& operator=(const FailingAllocations&) = delete;

  // Before the first one: learns which code is whose. False when the program cannot tell.
  static bool prepare();

  // The calling thread is a client's: nothing fails on it.
  static void keep_out();

  static bool has_fired();
};

}  // namespace nexa_test

#endif  // TESTS_SERVER_ALLOCATION_FAILING_ALLOCATIONS_H_
