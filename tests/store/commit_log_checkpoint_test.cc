// The journal is moved into the log's file beside commits and readers: nothing is lost when that
// fails, it begins anew, and nobody is held up.
#include <chrono>
#include <future>
#include <thread>
#include <vector>

#include "log_on_a_failing_disk.h"

namespace nexa_test {
namespace commit_log_checkpoint_test {

TEST_F(LogOnAFailingDisk, AFailedCheckpointLosesNothing) {
  for (int round = 0; round < 3; ++round) {
    for (const int failures : {1, 2}) {
      for (const Part part : {Part::kDatabase, Part::kJournal}) {
        for (int i = 0; i < 20; ++i) ASSERT_TRUE(append(3000).ok());
        disk_.fail_syncs(part, failures);
        EXPECT_FALSE(log_->checkpoint().ok());
        disk_.fail_syncs(part, 0);
        static_cast<void>(log_->settle());
        ASSERT_TRUE(log_->checkpoint().ok());
        for (int i = 0; i < 20; ++i) ASSERT_TRUE(append(3000).ok());
        ASSERT_TRUE(log_->checkpoint().ok());
        cut_power();
        ASSERT_NO_FATAL_FAILURE(check());
      }
    }
  }
}

// SQLite counts pages as copied before it syncs the database when a reader keeps it from the end of
// the journal, and copies them no second time.
TEST_F(LogOnAFailingDisk, AFailedSyncAfterHalfACheckpointLosesNothing) {
  for (int i = 0; i < 20; ++i) ASSERT_TRUE(append(3000).ok());
  sqlite3* handle = nullptr;
  ASSERT_EQ(sqlite3_open_v2((data_ + "/nexa.db").c_str(), &handle, SQLITE_OPEN_READONLY,
                            FailingDisk::kName),
            SQLITE_OK);
  nexa::store::DatabasePtr reader(handle);
  ASSERT_EQ(nexa::store::execute(handle, "BEGIN; SELECT count(*) FROM commits"), SQLITE_OK);
  for (int i = 0; i < 20; ++i) ASSERT_TRUE(append(3000).ok());
  ASSERT_TRUE(log_->checkpoint().ok());
  reader.reset();
  disk_.fail_syncs(Part::kDatabase, 1);
  ASSERT_EQ(log_->checkpoint().code, Code::kUnavailable);
  ASSERT_TRUE(append().ok());
  ASSERT_TRUE(log_->checkpoint().ok());
  ASSERT_TRUE(append().ok());
  cut_power();
  ASSERT_NO_FATAL_FAILURE(check());
}

// One that never begins anew grows with every commit, and is moved again after each.
TEST_F(LogOnAFailingDisk, TheJournalBeginsAnewAlthoughACommitComesWhileItIsMoved) {
  bool comes = false;
  disk_.at_syncs([this, &comes] {
    if (!comes) return;
    comes = false;
    std::thread([this] { EXPECT_TRUE(append().ok()); }).join();
  });
  for (int i = 0; i < 20; ++i) ASSERT_TRUE(append(3000).ok());
  for (int round = 0; round < 3; ++round) {
    comes = true;
    ASSERT_TRUE(log_->checkpoint().ok());
    ASSERT_FALSE(comes);
    const auto length = std::filesystem::file_size(data_ + "/nexa.db-wal");
    for (int i = 0; i < 5; ++i) ASSERT_TRUE(append().ok());
    EXPECT_EQ(std::filesystem::file_size(data_ + "/nexa.db-wal"), length);
  }
  disk_.at_syncs(nullptr);
  cut_power();
  ASSERT_NO_FATAL_FAILURE(check());
}

// What came while the journal was moved may be much; commits do not wait for that either.
TEST_F(LogOnAFailingDisk, CommitsGoOnWhileACheckpointMovesWhatCameMeanwhile) {
  for (int i = 0; i < 20; ++i) ASSERT_TRUE(append(3000).ok());
  const auto checkpoints = std::this_thread::get_id();
  constexpr int kSyncsOfAPass = 2;  // journal, database
  int syncs = 0;
  std::vector<std::future<LogResult>> commits;
  disk_.at_syncs([&] {
    if (std::this_thread::get_id() != checkpoints) return;
    if (const int sync = syncs++; sync != 0 && sync != kSyncsOfAPass) return;
    commits.push_back(std::async(std::launch::async, [this] { return append(); }));
    EXPECT_EQ(commits.back().wait_for(std::chrono::seconds(10)), std::future_status::ready);
  });
  ASSERT_TRUE(log_->checkpoint().ok());
  disk_.at_syncs(nullptr);
  ASSERT_EQ(commits.size(), 2U);
  for (auto& commit : commits) EXPECT_TRUE(commit.get().ok());
  const auto length = std::filesystem::file_size(data_ + "/nexa.db-wal");
  for (int i = 0; i < 5; ++i) ASSERT_TRUE(append().ok());
  EXPECT_EQ(std::filesystem::file_size(data_ + "/nexa.db-wal"), length);
}

// Commits wait for the checkpoint's last part, so it does not wait for readers.
TEST_F(LogOnAFailingDisk, AReaderOfTheJournalHoldsNoCommitUp) {
  for (int i = 0; i < 20; ++i) ASSERT_TRUE(append(3000).ok());
  sqlite3* handle = nullptr;
  ASSERT_EQ(sqlite3_open_v2((data_ + "/nexa.db").c_str(), &handle, SQLITE_OPEN_READONLY,
                            FailingDisk::kName),
            SQLITE_OK);
  const nexa::store::DatabasePtr reader(handle);
  ASSERT_EQ(nexa::store::execute(handle, "BEGIN; SELECT count(*) FROM commits"), SQLITE_OK);
  ASSERT_TRUE(append(3000).ok());
  const auto before = std::chrono::steady_clock::now();
  constexpr int kTimes = 50;
  for (int i = 0; i < kTimes; ++i) ASSERT_TRUE(log_->checkpoint().ok());
  // It waited 20 ms each time once.
  EXPECT_LT(std::chrono::steady_clock::now() - before, kTimes * std::chrono::milliseconds(20));
  EXPECT_FALSE(log_->checkpoint_due());
}

}  // namespace commit_log_checkpoint_test
}  // namespace nexa_test
