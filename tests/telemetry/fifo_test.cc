// Against std::deque, and what it keeps while it is empty.
#include "telemetry/fifo.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <deque>
#include <memory>
#include <random>

namespace nexa::telemetry {
namespace {

TEST(Fifo, IsAQueue) {
  std::mt19937 random(1);
  Fifo<std::shared_ptr<int>> queue;
  std::deque<std::shared_ptr<int>> reference;
  for (int step = 0; step < 200'000; ++step) {
    // Long ones and short ones.
    const bool grows = random() % 1000 < (step / 10'000 % 2 == 0 ? 520U : 480U);
    if (grows) {
      const auto item = std::make_shared<int>(step);
      EXPECT_EQ(*queue.push_back(item), step);
      reference.push_back(item);
    } else if (!reference.empty()) {
      const std::weak_ptr<int> gone = reference.front();
      reference.pop_front();
      queue.pop_front();
      EXPECT_TRUE(gone.expired());
    }
    ASSERT_EQ(queue.empty(), reference.empty());
    ASSERT_EQ(queue.size(), reference.size());
    if (reference.empty()) continue;
    ASSERT_EQ(queue.front(), reference.front());
    ASSERT_EQ(queue.back(), reference.back());
    if (step % 1000 != 0) continue;
    EXPECT_TRUE(std::equal(queue.begin(), queue.end(), reference.begin(), reference.end()));
    EXPECT_TRUE(std::equal(queue.rbegin(), queue.rend(), reference.rbegin(), reference.rend()));
  }
  queue.clear();
  EXPECT_TRUE(queue.empty());
  for (const std::shared_ptr<int>& each : reference) EXPECT_EQ(each.use_count(), 1);
}

}  // namespace
}  // namespace nexa::telemetry
