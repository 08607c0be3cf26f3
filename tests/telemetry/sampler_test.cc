// The one thread that all streams wait on goes on when one of them has no memory.
#include "telemetry/sampler.h"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <new>
#include <thread>

namespace nexa::telemetry {
namespace {

using std::chrono::milliseconds;

class Counted : public Sampler::Sampled {
 public:
  explicit Counted(int failures) : failures_(failures) {}
  void due() override {
    if (++calls <= failures_) throw std::bad_alloc();
  }
  // Waits for so many calls.
  bool reach(int wanted) const {
    for (int i = 0; i < 500 && calls < wanted; ++i) std::this_thread::sleep_for(milliseconds(10));
    return calls >= wanted;
  }
  std::atomic<int> calls{0};

 private:
  const int failures_;
};

TEST(Sampler, CallsAgainWhatHadNoMemory) {
  Sampler sampler;
  const auto poor = std::make_shared<Counted>(3);
  const auto other = std::make_shared<Counted>(0);
  const MonotonicTime now = std::chrono::steady_clock::now();
  sampler.schedule(now, poor);
  sampler.schedule(now + milliseconds(50), other);
  EXPECT_TRUE(other->reach(1));
  EXPECT_TRUE(poor->reach(4));
  std::this_thread::sleep_for(milliseconds(250));
  EXPECT_EQ(poor->calls, 4);
  EXPECT_EQ(other->calls, 1);
}

TEST(Sampler, StopsWhileSomeoneHasNoMemory) {
  Sampler sampler;
  const auto poor = std::make_shared<Counted>(1'000'000);
  sampler.schedule(std::chrono::steady_clock::now(), poor);
  EXPECT_TRUE(poor->reach(1));
  sampler.stop();
  const int calls = poor->calls;
  std::this_thread::sleep_for(milliseconds(250));
  EXPECT_EQ(poor->calls, calls);
}

}  // namespace
}  // namespace nexa::telemetry
