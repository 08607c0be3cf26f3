// What work costs in processor time, for tests that compare two sizes: other programs may be
// at work beside them.
#ifndef TESTS_SUPPORT_PROCESSOR_TIME_H_
#define TESTS_SUPPORT_PROCESSOR_TIME_H_

#include <ctime>

#include <algorithm>
#include <limits>

namespace nexa_test {

// Seconds of the processor that this process has used, in all of its threads.
inline double processor_seconds() {
  timespec now{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

// The least of what `work` costs in several runs. A machine that other machines share slows any
// single run down, never all that it could be quick in.
template <typename Work>
double least_processor_seconds(Work&& work, int runs = 5) {
  double least = std::numeric_limits<double>::max();
  for (int i = 0; i < runs; ++i) {
    const double begin = processor_seconds();
    work();
    least = std::min(least, processor_seconds() - begin);
  }
  return least;
}

}  // namespace nexa_test

#endif  // TESTS_SUPPORT_PROCESSOR_TIME_H_
