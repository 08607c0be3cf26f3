// Snapshots and checkpoints that fail half-way or have much to do: commits lose nothing by them.
#include <future>
#include <random>
#include <thread>

#include "failing_disk.h"
#include "log_fixture.h"
#include "store/log/log_rows.h"

namespace nexa::store {
namespace commit_log_upkeep_test {

using nexa_test::AtConnections;
using nexa_test::FailingDisk;
using Code = LogResult::Code;
using Part = FailingDisk::Part;

constexpr std::size_t kMegabyte = std::size_t{1} << 20U;
constexpr char kRefused[] =
    "the disk does not confirm writes: Input/output error; nothing was changed";

// Bytes that nothing packs.
std::string noise(std::size_t size) {
  std::mt19937 random(9);  // NOLINT(cert-msc51-cpp): the same each time
  std::string bytes(size, '\0');
  for (std::size_t at = 0; at < size; at += 4) {
    const auto word = static_cast<std::uint32_t>(random());
    bytes.replace(at, std::min<std::size_t>(4, size - at), reinterpret_cast<const char*>(&word),
                  std::min<std::size_t>(4, size - at));
  }
  return bytes;
}

class LogUpkeep : public nexa_test::LogFixture {
 protected:
  void open_on_disk() {
    log_.reset();
    FailingDisk::fresh();  // what others wrote meanwhile is on it
    options_.vfs = FailingDisk::kName;
    options_.sync = true;
    ASSERT_TRUE(open()) << error_;
  }
  std::uintmax_t journal_size() const { return std::filesystem::file_size(file() + "-wal"); }

  // A log as this one, but with pages of another size.
  void make_pages(int size) {
    log_.reset();
    run_sql("PRAGMA journal_mode = DELETE; PRAGMA page_size = " + std::to_string(size) +
            "; VACUUM; PRAGMA journal_mode = WAL");
    ASSERT_EQ(ask("PRAGMA page_size"), size);
  }

  FailingDisk& disk_ = FailingDisk::fresh();
};

// One file can be copied away.
TEST_F(LogUpkeep, ALogThatWasClosedInOrderHasNoJournal) {
  ASSERT_NO_FATAL_FAILURE(append_up_to(2));
  EXPECT_TRUE(std::filesystem::exists(file() + "-wal"));
  log_.reset();
  EXPECT_FALSE(std::filesystem::exists(file() + "-wal"));
  EXPECT_FALSE(std::filesystem::exists(file() + "-shm"));
}

TEST_F(LogUpkeep, WhoOnlyReadsMakesNoFile) {
  ASSERT_NO_FATAL_FAILURE(append_up_to(2));
  log_.reset();
  const std::string witness = witness_file(options_.directory);
  ASSERT_TRUE(std::filesystem::remove(witness));
  options_.read_only = true;
  ASSERT_TRUE(open()) << error_;
  EXPECT_FALSE(std::filesystem::exists(witness));
  log_.reset();
  options_.read_only = false;
  ASSERT_TRUE(open()) << error_;
  EXPECT_TRUE(std::filesystem::exists(witness));
}

// Nothing was lost.
TEST_F(LogUpkeep, AMissingLogWithoutCommitsIsMadeAnew) {
  log_.reset();
  ASSERT_TRUE(std::filesystem::exists(witness_file(options_.directory)));
  ASSERT_TRUE(std::filesystem::remove(file()));
  ASSERT_TRUE(open()) << error_;
  ASSERT_NO_FATAL_FAILURE(append_up_to(1));
  log_.reset();
  ASSERT_TRUE(std::filesystem::remove(file()));
  EXPECT_FALSE(open());
  EXPECT_EQ(error_.find(file() + ": missing, commit 1 was in it"), 0U) << error_;
}

TEST_F(LogUpkeep, ASnapshotThatTheTablesRefuseIsNotThere) {
  ASSERT_NO_FATAL_FAILURE(append_up_to(2));
  ASSERT_TRUE(snapshot("<a/>", "first").ok());
  // The first two meet what is replaced, the last what the limits drop.
  for (const char* const event :
       {"INSERT ON snapshots", "DELETE ON images", "INSERT ON images", "DELETE ON snapshots"}) {
    ASSERT_NO_FATAL_FAILURE(refuse_rows(event));
    const LogResult refused = snapshot("<b/>", "second", LogLimits{1, 1});
    EXPECT_EQ(refused.code, Code::kFailed) << event;
    EXPECT_EQ(refused.text, refusal()) << event;
    EXPECT_FALSE(log_->writable()) << event;
    ASSERT_NO_FATAL_FAILURE(allow_rows());
    EXPECT_EQ(ask("SELECT count(*) FROM snapshots"), 2) << event;
    EXPECT_EQ(ask("SELECT image = 'first' FROM images"), 1) << event;
    EXPECT_TRUE(log_->settle().ok());
    if (event == std::string("INSERT ON images")) {
      ASSERT_TRUE(append().ok());
    }
  }
  EXPECT_EQ(log_->newest_snapshot(), 2U);
  ASSERT_TRUE(snapshot("<b/>", "second").ok());
  EXPECT_EQ(log_->newest_snapshot(), 3U);
  ASSERT_NO_FATAL_FAILURE(expect_whole(3));
}

TEST_F(LogUpkeep, ASnapshotOfWhichAPartIsRefusedIsNotThere) {
  ASSERT_NO_FATAL_FAILURE(append_up_to(1));
  const std::string text = noise(600000);
  // Parts of the configuration, and then of the image.
  for (const char* const parts : {"1", "4"}) {
    ASSERT_NO_FATAL_FAILURE(
        refuse_rows("INSERT ON parts", std::string("(SELECT count(*) FROM parts) = ") + parts));
    const LogResult refused = snapshot(text, text);
    EXPECT_EQ(refused.code, Code::kFailed) << parts;
    EXPECT_EQ(refused.text, refusal()) << parts;
    EXPECT_EQ(log_->newest_snapshot(), 0U);
    EXPECT_EQ(ask("SELECT count(*) FROM parts"), std::stoi(parts));
    EXPECT_EQ(ask("SELECT count(*) FROM snapshots"), 1);
    ASSERT_NO_FATAL_FAILURE(allow_rows());
    ASSERT_TRUE(append().ok());
  }
  ASSERT_TRUE(snapshot(text, text).ok());
  EXPECT_EQ(ask("SELECT count(*) FROM parts"), 6) << "those before are gone";
  ASSERT_NO_FATAL_FAILURE(expect_whole(3));
}

TEST_F(LogUpkeep, ASnapshotIsNotThereWhenThoseBeforeItCannotBeRead) {
  ASSERT_NO_FATAL_FAILURE(append_up_to(1));
  {
    const AtConnections watched([](sqlite3* database) {
      const auto break_off = [](unsigned, void* connection, void* statement, void*) {
        const std::string sql = sqlite3_sql(static_cast<sqlite3_stmt*>(statement));
        if (sql.find("SELECT number FROM snapshots ORDER") == std::string::npos) return 0;
        static bool is_broken;
        is_broken = false;
        const auto once = [](void* broken) {
          return std::exchange(*static_cast<bool*>(broken), true) ? 0 : 1;
        };
        sqlite3_progress_handler(static_cast<sqlite3*>(connection), 1, once, &is_broken);
        return 0;
      };
      sqlite3_trace_v2(database, SQLITE_TRACE_STMT, break_off, database);
      return SQLITE_OK;
    });
    const LogResult refused = snapshot();
    EXPECT_EQ(refused.code, Code::kFailed);
    EXPECT_EQ(refused.text, file() + ": interrupted");
  }
  EXPECT_EQ(log_->newest_snapshot(), 0U);
  EXPECT_EQ(ask("SELECT count(*) FROM snapshots"), 1);
  ASSERT_TRUE(append().ok());
  ASSERT_NO_FATAL_FAILURE(expect_whole(2));
}

// The newest, and of those before one in ten.
TEST_F(LogUpkeep, OldSnapshotsAreThinnedOut) {
  for (std::uint64_t number = 1; number <= 30; ++number) {
    ASSERT_TRUE(append().ok());
    ASSERT_TRUE(snapshot("<config/>", "", LogLimits{0, 1}).ok());
  }
  EXPECT_EQ(ask("SELECT count(*) FROM snapshots"), 7);
  EXPECT_EQ(ask("SELECT count(*) FROM snapshots WHERE number IN (0, 10, 20, 27, 28, 29, 30)"), 7);
  // The log begins with what is as old as its history is long.
  ASSERT_TRUE(snapshot("<config/>", "", LogLimits{10, 1}).ok());
  EXPECT_EQ(ask("SELECT min(number) FROM snapshots"), 20);
  ASSERT_TRUE(snapshot("<config/>", "", LogLimits{2, 1}).ok());
  EXPECT_EQ(ask("SELECT min(number) FROM snapshots"), 28);
  EXPECT_EQ(ask("SELECT count(*) FROM snapshots"), 3);
  EXPECT_EQ(nexa_test::line_of(log_->verify_history(nullptr)), "");
}

TEST_F(LogUpkeep, ATextThatFitsAColumnHasNoParts) {
  ASSERT_NO_FATAL_FAILURE(append_up_to(1));
  const auto size = std::filesystem::file_size(file());
  ASSERT_TRUE(snapshot(noise(kPartSize)).ok());
  EXPECT_EQ(ask("SELECT count(*) FROM parts"), 0);
  ASSERT_TRUE(snapshot(noise(kPartSize + 1)).ok());
  EXPECT_EQ(ask("SELECT count(*) FROM parts"), 2);
  ASSERT_TRUE(snapshot().ok());
  EXPECT_EQ(ask("SELECT count(*) FROM parts"), 0);
  EXPECT_EQ(std::filesystem::file_size(file()), size) << "so short a journal is not moved";
}

// What is left of others is removed before and after; only before is it in the way.
TEST_F(LogUpkeep, WhatIsLeftMustGoBeforeTheNextSnapshot) {
  ASSERT_NO_FATAL_FAILURE(append_up_to(3));
  run_sql("INSERT INTO parts(part_of, bytes) VALUES(77, 'left')");
  ASSERT_NO_FATAL_FAILURE(refuse_rows("DELETE ON parts"));
  const LogResult refused = snapshot();
  EXPECT_EQ(refused.code, Code::kFailed);
  EXPECT_EQ(refused.text, refusal());
  EXPECT_EQ(log_->newest_snapshot(), 0U);
  ASSERT_NO_FATAL_FAILURE(allow_rows());
  ASSERT_TRUE(log_->settle().ok());
  ASSERT_NO_FATAL_FAILURE(refuse_rows("DELETE ON commits"));
  EXPECT_TRUE(snapshot("<config/>", "", LogLimits{1, 1}).ok());
  EXPECT_EQ(log_->newest_snapshot(), 3U);
  ASSERT_NO_FATAL_FAILURE(append_up_to(6));
  EXPECT_EQ(ask("SELECT min(number) FROM commits"), 1);
  EXPECT_TRUE(snapshot("<config/>", "", LogLimits{1, 1}).ok());
  EXPECT_EQ(log_->newest_snapshot(), 6U);
  ASSERT_TRUE(log_->settle().ok());
  EXPECT_EQ(ask("SELECT min(number) FROM snapshots"), 3) << "the log begins there now";
  EXPECT_EQ(snapshot().text, refusal()) << "and those before are in the way";
  ASSERT_NO_FATAL_FAILURE(allow_rows());
  ASSERT_TRUE(log_->settle().ok());
  ASSERT_TRUE(snapshot().ok());
  EXPECT_EQ(ask("SELECT min(number) FROM commits"), 4);
  ASSERT_NO_FATAL_FAILURE(expect_whole(6));
}

TEST_F(LogUpkeep, AnImageThatCannotBeMarkedIsNot) {
  ASSERT_NO_FATAL_FAILURE(append_up_to(1));
  ASSERT_TRUE(snapshot("<a/>", "image").ok());
  ASSERT_NO_FATAL_FAILURE(refuse_rows("UPDATE ON images"));
  EXPECT_FALSE(log_->mark_judged(1));
  ASSERT_NO_FATAL_FAILURE(allow_rows());
  EXPECT_EQ(ask("SELECT judged FROM images"), 0);
  EXPECT_TRUE(log_->mark_judged(1));
  EXPECT_EQ(ask("SELECT judged FROM images"), 1);
}

TEST_F(LogUpkeep, WithoutAConnectionThereIsNeitherSnapshotNorCheckpoint) {
  ASSERT_NO_FATAL_FAILURE(append_up_to(1));
  {
    const AtConnections none([](sqlite3* /*database*/) { return SQLITE_NOMEM; });
    for (const LogResult& refused : {snapshot(), log_->checkpoint()}) {
      EXPECT_EQ(refused.code, Code::kFailed);
      EXPECT_EQ(refused.text, file() + ": cannot be opened");
    }
    EXPECT_TRUE(append().ok()) << "commits have theirs";
  }
  // SQLite would sync by itself, as often as it likes.
  const AtConnections no_setting([](sqlite3* database) {
    const auto judge = [](void* /*none*/, int action, const char* what, const char* /*value*/,
                          const char* /*database*/, const char* /*trigger*/) {
      return action == SQLITE_PRAGMA && std::string(what) == "synchronous" ? SQLITE_DENY
                                                                           : SQLITE_OK;
    };
    return sqlite3_set_authorizer(database, judge, nullptr);
  });
  for (const LogResult& refused : {snapshot(), log_->checkpoint()}) {
    EXPECT_EQ(refused.code, Code::kFailed);
    EXPECT_EQ(refused.text, file() + ": not authorized");
  }
  EXPECT_EQ(log_->newest_snapshot(), 0U);
  EXPECT_TRUE(log_->writable());
}

// As long as a text is written, no more than a journal of its usual length lies beside the log.
TEST_F(LogUpkeep, TheJournalIsMovedWhileALongTextIsWritten) {
  ASSERT_NO_FATAL_FAILURE(append_up_to(1));
  ASSERT_TRUE(snapshot(noise(6 * kMegabyte)).ok());
  EXPECT_LT(journal_size(), 5 * kMegabyte);
  ASSERT_TRUE(append().ok());
  // Its parts go as they came.
  ASSERT_TRUE(snapshot("<config/>", "", LogLimits{1, 1}).ok());
  ASSERT_TRUE(append().ok());
  ASSERT_TRUE(append().ok());
  ASSERT_TRUE(snapshot("<config/>", "", LogLimits{1, 1}).ok());
  EXPECT_EQ(ask("SELECT count(*) FROM parts"), 0);
  EXPECT_LT(journal_size(), 5 * kMegabyte);
  EXPECT_EQ(nexa_test::line_of(log_->verify_history(nullptr)), "");
}

// In between, a commit may have failed; what it left is not known to be on the disk.
TEST_F(LogUpkeep, ASnapshotEndsWhenACommitFailsMeanwhile) {
  ASSERT_NO_FATAL_FAILURE(open_on_disk());
  ASSERT_NO_FATAL_FAILURE(append_up_to(1));
  const auto writes = std::this_thread::get_id();
  bool has_failed = false;
  disk_.at_syncs([&] {
    if (std::this_thread::get_id() != writes || std::exchange(has_failed, true)) return;
    disk_.fail_syncs(Part::kJournal, 2);
    std::thread([this] { EXPECT_EQ(append().code, Code::kUnknown); }).join();
  });
  const LogResult refused = snapshot(noise(600000));
  disk_.at_syncs(nullptr);
  EXPECT_TRUE(has_failed);
  EXPECT_EQ(refused.code, Code::kUnavailable);
  EXPECT_EQ(refused.text, kRefused);
  EXPECT_EQ(log_->newest_snapshot(), 0U);
  EXPECT_EQ(ask("SELECT count(*) FROM parts"), 1);
  ASSERT_TRUE(log_->settle().ok());
  ASSERT_TRUE(append().ok());
  ASSERT_TRUE(snapshot().ok());
  ASSERT_NO_FATAL_FAILURE(expect_whole(2));
}

TEST_F(LogUpkeep, ACheckpointEndsWhenACommitFailsMeanwhile) {
  ASSERT_NO_FATAL_FAILURE(append_up_to(1));
  ASSERT_NO_FATAL_FAILURE(open_on_disk());
  ASSERT_NO_FATAL_FAILURE(append_up_to(5));
  const auto moves = std::this_thread::get_id();
  std::future<LogResult> commit;
  std::future<bool> mark;
  disk_.at_syncs([&] {
    if (std::this_thread::get_id() != moves || commit.valid()) return;
    disk_.fail_syncs(Part::kJournal, 1);
    commit = std::async(std::launch::async, [this] { return append(); });
    // It waits for the end of the checkpoint to open the log again.
    while (log_->writable()) std::this_thread::yield();
    // Who comes after that waits as well, and not with what the checkpoint needs for its end.
    mark = std::async(std::launch::async, [this] { return log_->mark_judged(99); });
    EXPECT_EQ(mark.wait_for(std::chrono::milliseconds(20)), std::future_status::timeout);
  });
  const LogResult refused = log_->checkpoint();
  ASSERT_TRUE(commit.valid());
  EXPECT_FALSE(mark.get()) << "there is no such image";
  // Until then the commit syncs, too.
  EXPECT_EQ(commit.get().code, Code::kUnavailable);
  disk_.at_syncs(nullptr);
  EXPECT_EQ(refused.code, Code::kUnavailable);
  EXPECT_EQ(refused.text, kRefused);
  ASSERT_TRUE(log_->checkpoint().ok());
  ASSERT_NO_FATAL_FAILURE(expect_whole(5));
}

TEST_F(LogUpkeep, WithoutSyncsNothingIsSynced) {
  ASSERT_NO_FATAL_FAILURE(open_on_disk());
  options_.sync = false;
  ASSERT_TRUE(open()) << error_;
  int syncs = 0;
  disk_.at_syncs([&syncs] { ++syncs; });
  EXPECT_TRUE(append().ok());
  EXPECT_TRUE(snapshot(noise(600000)).ok());
  EXPECT_TRUE(log_->checkpoint().ok());
  disk_.at_syncs(nullptr);
  EXPECT_EQ(syncs, 0);
}

// Its file is given back, not only written again from its beginning.
TEST_F(LogUpkeep, AJournalThatGrewVeryLongIsCut) {
  ASSERT_NO_FATAL_FAILURE(make_pages(512));
  ASSERT_NO_FATAL_FAILURE(open_on_disk());
  for (const bool is_long : {false, true}) {
    const std::uint64_t next = log_->head() + 1;
    LogEntry entry = entry_of(next);
    entry.effect = noise((is_long ? 8 : 1) * kMegabyte);
    ASSERT_TRUE(log_->append(entry).ok());
    ASSERT_TRUE(log_->checkpoint_due());
    const auto moves = std::this_thread::get_id();
    disk_.at_syncs([&] {
      if (std::this_thread::get_id() != moves || log_->head() >= next + 4) return;
      std::thread([this] { EXPECT_TRUE(append().ok()); }).join();
    });
    ASSERT_TRUE(log_->checkpoint().ok());
    disk_.at_syncs(nullptr);
    EXPECT_EQ(journal_size() == 0, is_long) << journal_size();
    EXPECT_FALSE(log_->checkpoint_due());
  }
  ASSERT_NO_FATAL_FAILURE(expect_whole(log_->head()));
}

TEST_F(LogUpkeep, PagesOfAnySizeAreConfirmed) {
  for (const int size : {512, 65536}) {
    ASSERT_NO_FATAL_FAILURE(make_pages(size));
    ASSERT_NO_FATAL_FAILURE(open_on_disk());
    ASSERT_TRUE(append().ok());
    for (const Part part : {Part::kJournal, Part::kDatabase}) {
      ASSERT_TRUE(append().ok());
      disk_.fail_syncs(part, 1);
      EXPECT_EQ(part == Part::kJournal ? append().code : log_->checkpoint().code,
                Code::kUnavailable);
      ASSERT_TRUE(append().ok());
    }
    const nexa_test::TempFolder other;
    const std::string cut = other.file("cut");
    disk_.cut_power(options_.directory, cut);
    const std::uint64_t head = log_->head();
    const std::string before = std::exchange(options_.directory, cut);
    ASSERT_TRUE(open()) << error_;
    ASSERT_NO_FATAL_FAILURE(expect_whole(head));
    log_.reset();
    options_.directory = before;
  }
}

}  // namespace commit_log_upkeep_test
}  // namespace nexa::store
