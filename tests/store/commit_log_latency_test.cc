// What a commit waits for: not for the snapshot that is written meanwhile.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <thread>

#include "real/temp_folder.h"
#include "store/log/commit_log.h"
#include "support/results.h"

namespace commit_log_latency_test {

using nexa::store::CommitLog;
using nexa::store::LogOptions;
using nexa::store::LogSnapshot;
using Clock = std::chrono::steady_clock;

// Sorted, in microseconds.
std::vector<double> append(CommitLog& log, int count, const std::atomic<bool>* until) {
  std::vector<double> times;
  const std::string change(300, 'c');
  const std::string effect(100, 'e');
  for (int i = 0; i < count || (until != nullptr && !*until); ++i) {
    const auto before = Clock::now();
    EXPECT_TRUE(log.append({log.head() + 1, 1, "author", "", false, change, effect}).ok());
    times.push_back(std::chrono::duration<double, std::micro>(Clock::now() - before).count());
  }
  std::sort(times.begin(), times.end());
  return times;
}

void tell(const char* what, const std::vector<double>& times) {
  std::printf("%s: %zu commits, median %.0f, p99 %.0f, worst %.0f us\n", what, times.size(),
              times[times.size() / 2], times[times.size() * 99 / 100], times.back());
}

TEST(LogLatency, OfACommitWhileALargeSnapshotIsWritten) {
  const nexa_test::TempFolder folder;
  LogOptions options;
  options.directory = folder.path();
  const auto log = nexa_test::value_of(CommitLog::open(options));
  const std::vector<double> without = append(*log, 500, nullptr);
  LogSnapshot snapshot;
  snapshot.number = log->head();
  snapshot.config = "<config>" + std::string(50U << 20U, 'c') + "</config>";
  snapshot.image = std::string(50U << 20U, 'i');
  snapshot.schema_hash = "schema";
  std::atomic<bool> written{false};
  double seconds = 0;
  std::thread writer([&] {
    const auto before = Clock::now();
    EXPECT_TRUE(log->write_snapshot(std::move(snapshot), nexa::store::LogLimits()).ok());
    seconds = std::chrono::duration<double>(Clock::now() - before).count();
    written = true;
  });
  const std::vector<double> with = append(*log, 2000, &written);
  writer.join();
  tell("without", without);
  tell("while 100 MB were written", with);
  std::printf("the snapshot took %.2f s\n", seconds);
  // A wide bound: the machine and its disk are shared. A commit that waited for the snapshot would
  // take as long as that.
  const double worst = with[with.size() * 999 / 1000];
  EXPECT_LT(worst, std::max(seconds * 1e6 / 5, 10 * without[without.size() * 99 / 100]));
  LogSnapshot image;
  EXPECT_TRUE(log->newest_image("schema", log->head(), image));
  EXPECT_EQ(nexa_test::line_of(log->verify_history(nullptr)), "");
}

}  // namespace commit_log_latency_test
