// Who waits for the lock has it before the thread that takes it again and again.
#include "store/log/fair_mutex.h"

#include <gtest/gtest.h>
#include <sched.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

namespace {

using nexa::store::FairMutex;

TEST(FairMutex, LocksOutAllOthers) {
  FairMutex mutex;
  int count = 0;
  std::vector<std::thread> threads;
  constexpr int kThreads = 4;
  constexpr int kTimes = 2000;
  for (int i = 0; i < kThreads; ++i) {
    threads.emplace_back([&] {
      for (int time = 0; time < kTimes; ++time) {
        const std::lock_guard<FairMutex> lock(mutex);
        ++count;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(count, kThreads * kTimes);
}

// The calling thread, and those that it starts, share one processor and give way there.
void wait_for_the_processor() {
  cpu_set_t one;
  CPU_ZERO(&one);
  CPU_SET(static_cast<std::size_t>(sched_getcpu()), &one);
  ASSERT_EQ(sched_setaffinity(0, sizeof one, &one), 0);
  ASSERT_EQ(setpriority(PRIO_PROCESS, static_cast<id_t>(gettid()), 10), 0);
}

// One that is slow to come when it is woken, as on a busy machine, against one that holds the lock
// nearly always, as commits do while they are synced.
TEST(FairMutex, GoesToWhoWaits) {
  FairMutex mutex;
  std::atomic<int> turns{0};
  std::atomic<bool> done{false};
  std::thread again_and_again([&] {
    while (!done) {
      const std::lock_guard<FairMutex> lock(mutex);
      ++turns;
      std::this_thread::sleep_for(std::chrono::microseconds(100));
    }
  });
  std::vector<int> waited;
  std::thread waits([&] {
    wait_for_the_processor();
    std::thread others([&done] {
      while (!done) continue;
    });
    for (int i = 0; i < 11; ++i) {
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
      const int before = turns;
      const std::lock_guard<FairMutex> lock(mutex);
      waited.push_back(turns - before);
    }
    done = true;
    others.join();
  });
  waits.join();
  again_and_again.join();
  ASSERT_EQ(waited.size(), 11U);
  // Between reading the count and asking for the lock anything may happen, but not always.
  std::nth_element(waited.begin(), waited.begin() + 5, waited.end());
  EXPECT_LE(waited[5], 2);
}

}  // namespace
