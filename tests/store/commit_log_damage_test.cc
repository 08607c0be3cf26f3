// A log that was damaged, cut short, exchanged or written by something else is never read as if
// nothing had happened.
#include <fcntl.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "real/temp_folder.h"
#include "store/log/commit_log.h"
#include "support/results.h"

namespace {

using nexa::store::CommitLog;
using nexa::store::LogEntry;
using nexa::store::LogLimits;
using nexa_test::line_of;
using nexa_test::TempFolder;

constexpr char kRestore[] = "; restore a copy of the directory";

class LogDamage : public testing::Test {
 protected:
  void SetUp() override {
    const auto log = open();
    ASSERT_NE(log, nullptr) << error_;
    ASSERT_TRUE(log->set_schema("m@2026-01-01\n").ok());
    for (std::uint64_t i = 1; i <= 6; ++i) {
      const std::string number = std::to_string(i);
      ASSERT_TRUE(log->append({i, static_cast<std::int64_t>(i) * 1000, "author" + number,
                               "comment" + number, false, "change" + number})
                      .ok());
      if (i == 4) {
        nexa::store::LogSnapshot snapshot;
        snapshot.number = 4;
        snapshot.config = "<config>four</config>";
        ASSERT_TRUE(log->write_snapshot(std::move(snapshot), LogLimits()).ok());
      }
    }
  }

  std::unique_ptr<CommitLog> open(bool verify_all = false, bool read_only = false) {
    nexa::store::LogOptions options;
    options.directory = folder_.path();
    options.sync = false;
    options.verify_all = verify_all;
    options.read_only = read_only;
    auto opened = CommitLog::open(options);
    error_ = line_of(opened);
    return opened.ok() ? std::move(opened).value() : nullptr;
  }
  std::string file() const { return folder_.file("nexa.db"); }

  void run_sql(const char* sql) const {
    sqlite3* handle = nullptr;
    ASSERT_EQ(sqlite3_open(file().c_str(), &handle), SQLITE_OK);
    const nexa::store::DatabasePtr database(handle);
    ASSERT_EQ(nexa::store::execute(handle, sql), SQLITE_OK)
        << sql << ": " << sqlite3_errmsg(handle);
    ASSERT_GT(sqlite3_total_changes(handle), -1);
  }
  void expect_damaged(const char* sql, const std::string& what) {
    run_sql(sql);
    EXPECT_EQ(open(), nullptr) << sql;
    EXPECT_EQ(error_, file() + ": damaged: " + what + kRestore) << sql;
  }

  // Damage to what a start does not need: it is served, and found by who reads everything.
  void expect_found_later(const char* sql, const std::string& what) {
    run_sql(sql);
    const std::string text = file() + ": damaged: " + what + kRestore;
    EXPECT_EQ(open(false, true), nullptr) << sql;
    EXPECT_EQ(error_, text) << sql;
    EXPECT_EQ(open(true), nullptr) << sql;
    EXPECT_EQ(error_, text) << sql;
    const auto log = open();
    ASSERT_NE(log, nullptr) << sql << ": " << error_;
    EXPECT_EQ(log->head(), 6U);
    EXPECT_EQ(line_of(log->verify_history(nullptr)), text) << sql;
  }

  TempFolder folder_;
  std::string error_;
};

TEST_F(LogDamage, AnIntactLogOpens) {
  const auto log = open();
  ASSERT_NE(log, nullptr) << error_;
  EXPECT_EQ(log->head(), 6U);
  EXPECT_EQ(log->schema(), "m@2026-01-01\n");
  LogEntry entry;
  ASSERT_EQ(line_of(log->entry(5, entry)), "");
  EXPECT_EQ(entry.author, "author5");
  EXPECT_EQ(entry.change, "change5");
  EXPECT_EQ(line_of(log->entry(7, entry)), "commit 7 is not kept");
}

TEST_F(LogDamage, EveryFieldOfACommitIsCovered) {
  expect_found_later("UPDATE commits SET author = 'authos3' WHERE number = 3",
                     "commit 3 does not match its checksum");
}
TEST_F(LogDamage, TheTimeIsCovered) {
  expect_found_later("UPDATE commits SET time_ns = 3001 WHERE number = 3",
                     "commit 3 does not match its checksum");
}
TEST_F(LogDamage, TheCommentIsCovered) {
  expect_found_later("UPDATE commits SET comment = '' WHERE number = 1",
                     "commit 1 does not match its checksum");
}
TEST_F(LogDamage, TheChangeIsCovered) {
  expect_damaged("UPDATE commits SET change = 'changf6' WHERE number = 6",
                 "commit 6 does not match its checksum");
}
TEST_F(LogDamage, TheKindIsCovered) {
  expect_found_later("UPDATE commits SET whole = 1 WHERE number = 2",
                     "commit 2 does not match its checksum");
}
TEST_F(LogDamage, AMissingCommitIsNoticed) {
  expect_found_later("DELETE FROM commits WHERE number = 3", "commit 3 is missing");
}
TEST_F(LogDamage, AMissingLastCommitIsNoticed) {
  expect_damaged("DELETE FROM commits WHERE number = 6", "commit 6 is missing");
}
TEST_F(LogDamage, AMissingFirstCommitIsNoticed) {
  expect_found_later("DELETE FROM commits WHERE number = 1", "commit 1 is missing");
}
TEST_F(LogDamage, SnapshotsAreCovered) {
  expect_damaged("UPDATE snapshots SET config = '<config/>' WHERE number = 4",
                 "snapshot 4 does not match its checksum");
}
TEST_F(LogDamage, TheHeadIsCovered) {
  expect_damaged("UPDATE head SET number = 5",
                 "the number of the newest commit does not match its checksum");
}
TEST_F(LogDamage, AMissingHeadIsNoticed) {
  expect_damaged("DELETE FROM head", "the number of the newest commit is missing");
}
TEST_F(LogDamage, TheSchemaIsCovered) {
  expect_damaged("UPDATE schema SET modules = ''",
                 "the record of the schema does not match its checksum");
}
TEST_F(LogDamage, WithoutSnapshotsThereIsNoState) {
  expect_damaged("DELETE FROM snapshots", "no snapshot is left");
}

TEST_F(LogDamage, AnOldCommitIsVerifiedWhenItIsRead) {
  run_sql("UPDATE commits SET author = 'authos3' WHERE number = 3");
  const auto log = open();
  ASSERT_NE(log, nullptr) << error_;
  const std::string text =
      file() + ": damaged: commit 3 does not match its checksum; restore a copy of the directory";
  LogEntry entry;
  EXPECT_EQ(line_of(log->entry(3, entry)), text);
  nexa::store::LogSnapshot base;
  int seen = 0;
  const auto count = [&seen](const LogEntry& /*entry*/) { return ++seen > 0; };
  EXPECT_EQ(line_of(log->replay(3, base, count)), text);
  EXPECT_EQ(seen, 2);
  EXPECT_EQ(line_of(log->replay(6, base, count)), "");
  EXPECT_EQ(base.number, 4U);
}

TEST_F(LogDamage, VerifyingStopsWhenAsked) {
  run_sql("DELETE FROM commits WHERE number = 3");
  const auto log = open();
  ASSERT_NE(log, nullptr) << error_;
  const std::atomic<bool> stop{true};
  EXPECT_EQ(line_of(log->verify_history(&stop)), "");
}

TEST_F(LogDamage, AForeignDatabaseIsRefused) {
  for (const char* const id : {"7", "0", "1"}) {
    run_sql((std::string("PRAGMA application_id = ") + id).c_str());
    EXPECT_EQ(open(), nullptr);
    EXPECT_EQ(error_, file() + ": not a configuration log; name another data directory");
  }
}

TEST_F(LogDamage, ANewerFormatIsRefused) {
  run_sql("PRAGMA user_version = 5");
  EXPECT_EQ(open(), nullptr);
  EXPECT_EQ(error_, file() +
                        ": written in format 5, this program knows 4; use the program that wrote "
                        "it");
}

TEST_F(LogDamage, GarbageIsRefused) {
  std::ofstream(file(), std::ios::binary) << std::string(9000, 'x');
  EXPECT_EQ(open(), nullptr);
  EXPECT_EQ(error_, file() + ": not a database; restore a copy of the directory");
}

TEST_F(LogDamage, AnEmptyFileIsRefused) {
  std::filesystem::resize_file(file(), 0);
  EXPECT_EQ(open(), nullptr);
  EXPECT_EQ(error_, file() + ": damaged: it is empty; restore a copy of the directory");
}

TEST(LogFailure, HasTheFileAsItsPlace) {
  const TempFolder folder;
  nexa::store::LogOptions options;
  options.directory = folder.file("a: b");
  const std::string file = options.directory + "/nexa.db";
  std::filesystem::create_directories(file + ".new");
  const auto not_made = CommitLog::open(options);
  ASSERT_FALSE(not_made.ok());
  EXPECT_EQ(not_made.failure().path, file + ".new");
  EXPECT_EQ(not_made.failure().rule, "cannot make the log: File exists");
  const std::ofstream empty(file);
  const auto damaged = CommitLog::open(options);
  ASSERT_FALSE(damaged.ok());
  EXPECT_EQ(damaged.failure().path, file);
  EXPECT_EQ(damaged.failure().rule, "damaged: it is empty; restore a copy of the directory");
}

TEST_F(LogDamage, EveryLengthOfACutFileIsRefused) {
  const auto size = std::filesystem::file_size(file());
  for (std::uintmax_t cut = size - 1; cut > 0; cut = cut > 1024 ? cut - 1024 : 0) {
    std::filesystem::resize_file(file(), cut);
    EXPECT_EQ(open(), nullptr) << cut;
    EXPECT_EQ(error_.find(file() + ": "), 0U) << error_;
    EXPECT_EQ(error_.find('\n'), std::string::npos) << error_;
  }
}

TEST_F(LogDamage, AJournalWithoutItsLogIsRefused) {
  std::ofstream(file() + "-wal") << "x";
  std::filesystem::remove(file());
  std::filesystem::remove(file() + "-newest");
  EXPECT_EQ(open(), nullptr);
  EXPECT_EQ(error_, file() +
                        ": missing, although its journal is there; restore a copy of the "
                        "directory");
}

// One bit of every 29th byte: either the log is refused in one line, or it reads as it was written.
TEST_F(LogDamage, NoFlippedBitGivesOtherData) {
  std::string content;
  {
    std::ifstream in(file(), std::ios::binary);
    content.assign(std::istreambuf_iterator<char>(in), {});
  }
  ASSERT_GT(content.size(), 4096U);
  int refused = 0;
  for (std::size_t at = 0; at < content.size(); at += 29) {
    std::string damaged = content;
    damaged[at] = static_cast<char>(damaged[at] ^ (1 << (at % 8)));
    std::filesystem::remove(file() + "-wal");
    std::filesystem::remove(file() + "-shm");
    std::ofstream(file(), std::ios::binary) << damaged;
    const auto log = open();
    if (log != nullptr) error_ = line_of(log->verify_history(nullptr));
    if (!error_.empty()) {
      ++refused;
      EXPECT_EQ(error_.find(file() + ": "), 0U) << error_;
      EXPECT_EQ(error_.find('\n'), std::string::npos) << error_;
      continue;
    }
    ASSERT_EQ(log->head(), 6U) << at;
    for (std::uint64_t number = 1; number <= 6; ++number) {
      LogEntry entry;
      ASSERT_EQ(line_of(log->entry(number, entry)), "") << at;
      ASSERT_EQ(entry.change, "change" + std::to_string(number)) << at;
      ASSERT_EQ(entry.author, "author" + std::to_string(number)) << at;
      ASSERT_EQ(entry.time_ns, static_cast<std::int64_t>(number) * 1000) << at;
    }
  }
  EXPECT_GT(refused, 20);
}

}  // namespace
