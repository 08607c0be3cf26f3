// When the C library is told to give memory back.
#include "spare_memory.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

using namespace nexad;
using namespace std::chrono_literals;

constexpr std::size_t kMiB = 1U << 20U;

class SpareMemoryTest : public testing::Test {
 protected:
  // Looks so many times, each after `work`; the numbers of those that trimmed.
  std::vector<int> trims(int looks, std::chrono::nanoseconds work = 0ms) {
    std::vector<int> found;
    for (int look = 1; look <= looks; ++look) {
      cpu_time_ += work;
      const int before = trims_;
      memory_.look();
      if (trims_ != before) found.push_back(look);
    }
    return found;
  }

  std::size_t resident_ = 100 * kMiB;
  std::chrono::nanoseconds cpu_time_{0};
  int trims_ = 0;
  SpareMemory memory_{
      {[this] { return resident_; }, [this] { return cpu_time_; }, [this] { ++trims_; }}};
};

TEST_F(SpareMemoryTest, NothingIsDoneWhileTheProcessIsSmall) {
  EXPECT_EQ(trims(10), std::vector<int>{});
  resident_ += 15 * kMiB;
  EXPECT_EQ(trims(500), std::vector<int>{});
}

TEST_F(SpareMemoryTest, TrimsSoonAfterItGrewAndThenLessOften) {
  resident_ += 100 * kMiB;
  EXPECT_EQ(trims(32), (std::vector<int>{1, 3, 7, 15, 31}));
  EXPECT_GE(trims(1000).size(), 7U);
}

TEST_F(SpareMemoryTest, TrimsSoonAgainAfterItGrewMoreOrShrank) {
  resident_ += 200 * kMiB;
  trims(200);
  resident_ += 100 * kMiB;
  EXPECT_EQ(trims(1).size() + trims(1).size(), 1U);
  trims(200);
  resident_ -= 50 * kMiB;
  EXPECT_LE(trims(3).size(), 2U);
}

TEST_F(SpareMemoryTest, MeasuresGrowthAgainstTheLeastThatThereWas) {
  resident_ = 50 * kMiB;
  EXPECT_EQ(trims(3), std::vector<int>{});
  resident_ = 100 * kMiB;
  EXPECT_EQ(trims(1), std::vector<int>{1});
}

TEST_F(SpareMemoryTest, WaitsWhileThereIsWorkThoughNotForEver) {
  resident_ += 100 * kMiB;
  EXPECT_EQ(trims(100, 500ms), std::vector<int>{});
  EXPECT_EQ(trims(20, 500ms), std::vector<int>{20});
  EXPECT_EQ(trims(1), std::vector<int>{});
}

}  // namespace
