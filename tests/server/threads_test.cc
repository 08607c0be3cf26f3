// The pool that runs tasks and the clock that calls streams.
#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <string>
#include <vector>

#include "server/worker_pool.h"
#include "telemetry/sampler.h"

namespace {

using namespace std::chrono_literals;
using nexa::server::WorkerPool;
using nexa::telemetry::MonotonicTime;
using nexa::telemetry::next_beat;
using nexa::telemetry::Sampler;

void ignore_faults(const std::string& /*line*/) {}

TEST(WorkerPool, RunsTasksInOrder) {
  std::vector<int> order;
  WorkerPool pool(1, 100, ignore_faults);
  for (int index = 0; index < 10; ++index) {
    ASSERT_TRUE(pool.post([&order, index] { order.push_back(index); }));
  }
  pool.stop();
  EXPECT_EQ(order, (std::vector<int>{0, 1, 2, 3, 4, 5, 6, 7, 8, 9}));
}

TEST(WorkerPool, RefusesMoreThanMayWait) {
  WorkerPool pool(1, 2, ignore_faults);
  std::promise<void> begun;
  std::promise<void> door;
  ASSERT_TRUE(pool.post([&] {
    begun.set_value();
    door.get_future().wait();
  }));
  begun.get_future().wait();
  std::atomic<int> runs{0};
  EXPECT_TRUE(pool.post([&] { ++runs; }));
  EXPECT_TRUE(pool.post([&] { ++runs; }));
  EXPECT_FALSE(pool.post([&] { ++runs; }));
  EXPECT_TRUE(pool.post_unbounded([&] { ++runs; }));
  door.set_value();
  pool.stop();
  EXPECT_EQ(runs, 3);
}

TEST(WorkerPool, TakesNothingAfterItsEnd) {
  WorkerPool pool(2, 10, ignore_faults);
  pool.stop();
  pool.stop();
  EXPECT_FALSE(pool.post([] {}));
  EXPECT_FALSE(pool.post_unbounded([] {}));
}

TEST(WorkerPool, OutlivesATaskThatThrows) {
  std::vector<std::string> faults;
  WorkerPool pool(1, 10, [&faults](const std::string& line) { faults.push_back(line); });
  std::atomic<int> runs{0};
  ASSERT_TRUE(pool.post([] { throw std::runtime_error("no memory"); }));
  ASSERT_TRUE(pool.post([] { throw 1; }));
  ASSERT_TRUE(pool.post([&] { ++runs; }));
  pool.stop();
  EXPECT_EQ(runs, 1);
  EXPECT_EQ(faults, (std::vector<std::string>{"a task failed: no memory", "a task failed"}));
}

TEST(NextBeat, KeepsTheBeatAndSkipsWhatWasMissed) {
  const MonotonicTime start{};
  EXPECT_EQ(next_beat(start, 10ns, start), start + 10ns);
  EXPECT_EQ(next_beat(start, 10ns, start + 9ns), start + 10ns);
  EXPECT_EQ(next_beat(start, 10ns, start + 10ns), start + 20ns);
  EXPECT_EQ(next_beat(start, 10ns, start + 57ns), start + 60ns);
}

class Caller : public Sampler::Sampled {
 public:
  explicit Caller(std::vector<int>& calls, int number) : calls_(calls), number_(number) {}
  void due() override {
    calls_.push_back(number_);
    if (number_ == 9) last_.set_value();
  }
  void await() { last_.get_future().wait(); }

 private:
  std::vector<int>& calls_;
  int number_;
  std::promise<void> last_;
};

TEST(Sampler, CallsInTheOrderOfTime) {
  std::vector<int> calls;
  const auto first = std::make_shared<Caller>(calls, 1);
  const auto second = std::make_shared<Caller>(calls, 2);
  const auto last = std::make_shared<Caller>(calls, 9);
  Sampler sampler;
  const auto now = std::chrono::steady_clock::now();
  sampler.schedule(now + 60ms, last);
  sampler.schedule(now + 40ms, second);
  sampler.schedule(now + 20ms, first);
  last->await();
  EXPECT_GE(std::chrono::steady_clock::now(), now + 60ms);
  sampler.stop();
  EXPECT_EQ(calls, (std::vector<int>{1, 2, 9}));
}

TEST(Sampler, ForgetsTheCancelledAndTheDead) {
  std::vector<int> calls;
  const auto cancelled = std::make_shared<Caller>(calls, 1);
  auto dead = std::make_shared<Caller>(calls, 2);
  const auto last = std::make_shared<Caller>(calls, 9);
  Sampler sampler;
  const auto now = std::chrono::steady_clock::now();
  const Sampler::Appointment appointment = sampler.schedule(now + 10ms, cancelled);
  sampler.schedule(now + 10ms, dead);
  sampler.schedule(now + 30ms, last);
  sampler.cancel(appointment);
  sampler.cancel(Sampler::Appointment());
  dead.reset();
  last->await();
  sampler.stop();
  EXPECT_EQ(calls, std::vector<int>{9});
}

TEST(Sampler, CallsNobodyAfterItsEnd) {
  std::vector<int> calls;
  const auto caller = std::make_shared<Caller>(calls, 1);
  Sampler sampler;
  sampler.schedule(std::chrono::steady_clock::now() + 1h, caller);
  sampler.stop();
  sampler.schedule(std::chrono::steady_clock::now(), caller);
  EXPECT_TRUE(calls.empty());
}

}  // namespace
