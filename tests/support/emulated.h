// What a test cannot ask of an emulator of another architecture, it skips in words.
#ifndef TESTS_SUPPORT_EMULATED_H_
#define TESTS_SUPPORT_EMULATED_H_

#include <gtest/gtest.h>

#include <cstdlib>

// Skips the test that it stands in; `why` says what the emulator does not do.
#define NEXA_SKIP_IF_EMULATED(why) \
  if (std::getenv("NEXA_EMULATED") != nullptr) GTEST_SKIP() << (why)

namespace nexa_test {

inline constexpr char kNoReportOfSpawn[] = "the emulator does not say that a program is not there";
inline constexpr char kNoSecondStart[] = "the emulator cannot start the test's own program again";
inline constexpr char kNoSocketCounts[] = "the emulator does not tell how much a socket received";

}  // namespace nexa_test

#endif  // TESTS_SUPPORT_EMULATED_H_
