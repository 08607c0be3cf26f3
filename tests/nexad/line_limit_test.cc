// How many lines the log takes from the libraries.
#include "line_limit.h"

#include <gtest/gtest.h>

namespace {

using nexad::LineLimit;
using namespace std::chrono_literals;

constexpr LineLimit::Time kStart{1000h};

int taken(LineLimit& limit, LineLimit::Time now, int lines) {
  int count = 0;
  for (int i = 0; i < lines; ++i) count += limit.take(now) ? 1 : 0;
  return count;
}

TEST(LineLimit, TakesABurstAndCountsTheRest) {
  LineLimit limit;
  EXPECT_EQ(taken(limit, kStart, 1000), 200);
  EXPECT_EQ(limit.take_left_out(), 800U);
  EXPECT_EQ(limit.take_left_out(), 0U);
}

TEST(LineLimit, TakesTenLinesASecondInTheLongRun) {
  LineLimit limit;
  taken(limit, kStart, 1000);
  EXPECT_EQ(taken(limit, kStart + 1s, 100), 10);
  EXPECT_EQ(taken(limit, kStart + 1050ms, 100), 0);
  EXPECT_EQ(taken(limit, kStart + 2s, 100), 10);
}

TEST(LineLimit, ForgetsTheBurstAfterAWhileAndSavesNoMoreThanOne) {
  LineLimit limit;
  taken(limit, kStart, 1000);
  EXPECT_EQ(taken(limit, kStart + 1h, 1000), 200);
}

}  // namespace
