// Snapshots beside the commits: when they are written, and who hears of one that cannot be.
#include "store/log/snapshot_writer.h"

#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <new>

#include "real/temp_folder.h"
#include "support/results.h"

namespace nexa::store {
namespace {

LogSnapshot snapshot_of(std::uint64_t number) {
  LogSnapshot snapshot;
  snapshot.number = number;
  snapshot.config = "<config/>";
  return snapshot;
}

class SnapshotWriting : public testing::Test {
 protected:
  void SetUp() override {
    LogOptions options;
    options.directory = folder_.path();
    options.sync = false;
    log_ = nexa_test::value_of(CommitLog::open(options));
    for (std::uint64_t number = 1; number <= 3; ++number) {
      ASSERT_TRUE(log_->append({number, 1000, "author", "", false, "change"}).ok());
    }
  }

  // Writes what is due for commit 3 and returns what was told.
  std::vector<std::string> write(std::uint64_t number) {
    std::vector<std::string> told;
    SnapshotWriter(
        *log_, LogLimits{0, 1000}, [number] { return snapshot_of(number); },
        [&told](const std::string& line) { told.push_back(line); });
    return told;
  }

  nexa_test::TempFolder folder_;
  std::unique_ptr<CommitLog> log_;
};

TEST_F(SnapshotWriting, LeavesASnapshotOfTheNewestCommitAtTheEnd) {
  EXPECT_EQ(write(3), std::vector<std::string>{});
  EXPECT_EQ(log_->newest_snapshot(), 3U);
}

TEST_F(SnapshotWriting, TellsOfOneThatCouldNotBeWritten) {
  EXPECT_EQ(write(9),
            (std::vector<std::string>{"no snapshot of commit 9: commit 9 is not kept; no commit is "
                                      "lost, but a start has more of them to replay"}));
  EXPECT_EQ(log_->newest_snapshot(), 0U);
}

// The texts of a snapshot are the largest thing that a server makes: it goes on without.
TEST_F(SnapshotWriting, TellsOfOneThatNoMemoryWasLeftFor) {
  std::mutex mutex;
  std::condition_variable changed;
  std::vector<std::string> told;
  const auto tell = [&](const std::string& line) {
    const std::lock_guard<std::mutex> lock(mutex);
    told.push_back(line);
    changed.notify_all();
  };
  {
    SnapshotWriter writer(
        *log_, LogLimits{0, 1}, []() -> std::optional<LogSnapshot> { throw std::bad_alloc(); },
        tell);
    writer.committed();
    std::unique_lock<std::mutex> lock(mutex);
    EXPECT_TRUE(
        changed.wait_for(lock, std::chrono::seconds(20), [&told] { return !told.empty(); }));
  }
  EXPECT_EQ(told, (std::vector<std::string>{"no snapshot of commit 3: out of memory; no commit is "
                                            "lost, but a start has more of them to replay"}));
  EXPECT_EQ(log_->newest_snapshot(), 0U);
  EXPECT_EQ(write(3), std::vector<std::string>{});
  EXPECT_EQ(log_->newest_snapshot(), 3U);
}

TEST_F(SnapshotWriting, LeavesNoneWhereThereIsNothingToWrite) {
  std::vector<std::string> told;
  int asked = 0;
  {
    SnapshotWriter writer(
        *log_, LogLimits{0, 1000},
        [&asked]() -> std::optional<LogSnapshot> {
          ++asked;
          return std::nullopt;
        },
        [&told](const std::string& line) { told.push_back(line); });
  }
  EXPECT_EQ(asked, 1);
  EXPECT_EQ(told, std::vector<std::string>{});
  EXPECT_EQ(log_->newest_snapshot(), 0U);
}

TEST_F(SnapshotWriting, TellsNobodyWhenNobodyListens) {
  {
    SnapshotWriter writer(
        *log_, LogLimits{0, 1000}, [] { return snapshot_of(9); }, nullptr);
  }
  EXPECT_EQ(log_->newest_snapshot(), 0U);
}

}  // namespace
}  // namespace nexa::store
