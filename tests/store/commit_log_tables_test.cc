// Rows with sound checksums that do not belong together, and tables that cannot be read.
#include "log_fixture.h"
#include "store/log/log_rows.h"

namespace nexa::store {
namespace commit_log_tables_test {

using nexa_test::line_of;
using Code = LogResult::Code;

constexpr char kNotLast[] = "the newest commit is not the one that was written last";
const auto kAll = [](const LogEntry& /*entry*/) { return true; };

class LogTables : public nexa_test::LogFixture {
 protected:
  void SetUp() override {
    LogFixture::SetUp();
    ASSERT_NO_FATAL_FAILURE(append_up_to(4));
    ASSERT_TRUE(snapshot("<four/>", "image").ok());
    ASSERT_NO_FATAL_FAILURE(append_up_to(6));
  }
  void put(const std::string& sql, std::initializer_list<std::string> blobs) const {
    with_database([&](sqlite3* database) {
      Statement row(database, sql);
      int position = 0;
      for (const std::string& blob : blobs) row.bind_blob(++position, blob);
      ASSERT_EQ(row.run(), SQLITE_OK) << sqlite3_errmsg(database);
    });
  }
  std::string hash_of(std::uint64_t number) const {
    std::string hash;
    with_database([&](sqlite3* database) {
      Statement row(database, "SELECT hash FROM commits WHERE number = ?");
      ASSERT_EQ(row.bind(1, signed_number(number)).step(), SQLITE_ROW);
      hash = row.text(0);
    });
    return hash;
  }
  void put_head(std::uint64_t number, const std::string& hash) const {
    put("UPDATE head SET commit_hash = ?, hash = ?, number = " + std::to_string(number),
        {hash, head_digest(number, hash)});
  }
  void put_snapshot(std::uint64_t number, const std::string& hash) const {
    LogSnapshot snapshot;
    snapshot.number = number;
    snapshot.commit_hash = hash;
    snapshot.config = "<config/>";
    put("INSERT OR REPLACE INTO snapshots(number, commit_hash, hash, config) VALUES(" +
            std::to_string(number) + ", ?, ?, '<config/>')",
        {hash, snapshot_digest(snapshot)});
  }
  void put_image(std::uint64_t number, const std::string& hash) const {
    LogSnapshot image;
    image.number = number;
    image.commit_hash = hash;
    image.schema_hash = "schema";
    const std::string text = image_text_digest(image.image);
    put("INSERT OR REPLACE INTO images(number, commit_hash, schema, hash, judged, image) VALUES(" +
            std::to_string(number) + ", ?, ?, ?, 0, '')",
        {hash, "schema", text + image_digest(image, text)});
  }
  std::string damaged(const std::string& what) const {
    return file() + ": damaged: " + what + "; restore a copy of the directory";
  }
  void expect_found(const std::string& what) {
    EXPECT_EQ(line_of(log_->verify_history(nullptr)), damaged(what));
    const std::atomic<bool> goes_on{false};
    EXPECT_EQ(line_of(log_->verify_history(&goes_on)), damaged(what));
  }
  void expect_found_at_start(const std::string& what) {
    expect_found(what);
    EXPECT_FALSE(open());
    EXPECT_EQ(error_, damaged(what));
  }
};

// That is no damage.
TEST_F(LogTables, AReadThatIsBrokenOffIsToldAsItIs) {
  const nexa_test::AtConnections watched([](sqlite3* database) {
    const auto break_off = [](unsigned, void* connection, void* statement, void*) {
      const std::string sql = sqlite3_sql(static_cast<sqlite3_stmt*>(statement));
      if (sql.find("quick_check") == std::string::npos) return 0;
      sqlite3_progress_handler(
          static_cast<sqlite3*>(connection), 1, [](void*) { return 1; }, nullptr);
      return 0;
    };
    sqlite3_trace_v2(database, SQLITE_TRACE_STMT, break_off, database);
    return SQLITE_OK;
  });
  EXPECT_EQ(line_of(log_->verify_history(nullptr)),
            file() + ": interrupted; restore a copy of the directory");
}

TEST_F(LogTables, TheHeadIsTheLastCommit) {
  put_head(5, hash_of(5));
  expect_found_at_start(kNotLast);
}
TEST_F(LogTables, TheHeadHasTheLastCommitsChecksum) {
  put_head(6, hash_of(5));
  expect_found_at_start(kNotLast);
}
TEST_F(LogTables, NoSnapshotIsOfALaterCommit) {
  put_snapshot(9, hash_of(6));
  expect_found_at_start(kNotLast);
}
TEST_F(LogTables, ASnapshotIsOfACommitOfTheLog) {
  put_snapshot(2, hash_of(3));
  expect_found("snapshot 2 is not of this log");
}
TEST_F(LogTables, AnImageIsOfASnapshot) {
  put_image(3, hash_of(3));
  expect_found("image 3 is not of this log");
}
TEST_F(LogTables, AnImageIsOfTheSnapshotsCommit) {
  put_image(4, hash_of(3));
  expect_found("image 4 is not of this log");
}

// Their checksums are right, but nothing can be made of them.
TEST_F(LogTables, TextsThatCannotBeUnpackedAreDamage) {
  const std::string text = "\x28\xb5\x2f\xfd no frame";
  LogEntry given = entry_of(7);
  given.change = text;
  ASSERT_TRUE(log_->append(given).ok());
  LogEntry entry;
  EXPECT_EQ(line_of(log_->entry(7, entry)), damaged("commit 7 does not match its checksum"));
  given = entry_of(8);
  given.effect = text;
  ASSERT_TRUE(log_->append(given).ok());
  EXPECT_EQ(line_of(log_->entry(8, entry)), damaged("commit 8 does not match its checksum"));
  ASSERT_TRUE(snapshot("<config/>", text).ok());
  LogSnapshot image;
  EXPECT_FALSE(log_->newest_image("schema", 8, image));
  EXPECT_EQ(image.number, 0U);
  expect_found("image 8 does not match its checksum");
  ASSERT_TRUE(snapshot(text).ok());
  EXPECT_EQ(line_of(log_->replay(8, image, kAll)),
            damaged("snapshot 8 does not match its checksum"));
  expect_found_at_start("snapshot 8 does not match its checksum");
}

TEST_F(LogTables, WhatIsNotThereIsNotKept) {
  LogEntry entry;
  LogSnapshot base;
  EXPECT_EQ(line_of(log_->entry(0, entry)), "commit 0 is not kept");
  EXPECT_EQ(line_of(log_->replay(7, base, kAll)), "commit 7 is not kept");
  run_sql("INSERT INTO commits SELECT 7, time_ns, '', '', 0, '', hash, '' FROM commits LIMIT 1");
  EXPECT_EQ(line_of(log_->entry(7, entry)), "commit 7 is not kept") << "nobody appended it";
  EXPECT_EQ(line_of(log_->replay_after(7, kAll)), "commit 8 is not kept");
  run_sql("DELETE FROM commits WHERE number = 3 OR number > 5");
  EXPECT_EQ(line_of(log_->replay_after(1, kAll)), "commit 3 is not kept");
  EXPECT_EQ(line_of(log_->replay_after(4, kAll)), "commit 6 is not kept");
}

TEST_F(LogTables, ATableThatCannotBeReadIsNamed) {
  const std::string no_commits = file() + ": no such table: commits";
  run_sql("ALTER TABLE commits RENAME TO other");
  EXPECT_EQ(line_of(log_->replay_after(6, kAll)), no_commits);
  std::vector<CommitRecord> records(1);
  const LogResult history = log_->history(0, records);
  EXPECT_EQ(history.code, Code::kFailed);
  EXPECT_EQ(history.text, no_commits);
  EXPECT_TRUE(records.empty());
  std::uint64_t number = 0;
  bool is_kept = false;
  const LogResult before = log_->number_before(5000, number, is_kept);
  EXPECT_EQ(before.code, Code::kFailed);
  EXPECT_EQ(before.text, no_commits);
  EXPECT_EQ(line_of(log_->verify_history(nullptr)),
            no_commits + "; restore a copy of the directory");
  run_sql("ALTER TABLE other RENAME TO commits");
  run_sql("ALTER TABLE snapshots RENAME TO others");
  EXPECT_EQ(log_->number_before(5000, number, is_kept).text, file() + ": no such table: snapshots");
  run_sql("ALTER TABLE others RENAME TO snapshots");
  EXPECT_TRUE(log_->number_before(5000, number, is_kept).ok());
  run_sql("UPDATE snapshots SET parts = 5; DROP TABLE parts");
  LogSnapshot base;
  EXPECT_EQ(line_of(log_->replay(6, base, kAll)), file() + ": no such table: parts");
  EXPECT_EQ(line_of(log_->verify_history(nullptr)),
            file() + ": no such table: parts; restore a copy of the directory");
  run_sql("PRAGMA application_id = 7");
  EXPECT_EQ(line_of(log_->verify_history(nullptr)),
            file() + ": not a configuration log; name another data directory");
}

TEST_F(LogTables, AFormatBeforeTheFirstIsRefused) {
  run_sql("PRAGMA user_version = 0");
  for (const bool read_only : {false, true}) {
    options_.read_only = read_only;
    EXPECT_FALSE(open());
    EXPECT_EQ(error_, file() +
                          ": written in format 0, this program knows 4; use the program that wrote "
                          "it");
  }
}

// Nobody could tell what else of it would not be written.
TEST_F(LogTables, ALogThatCannotBeBroughtUpToDateIsNotServed) {
  run_sql("PRAGMA user_version = 2");
  EXPECT_FALSE(open());
  EXPECT_EQ(error_, file() + ": table pending already exists");
  EXPECT_EQ(ask("PRAGMA user_version"), 2);
  options_.read_only = true;
  EXPECT_TRUE(open()) << error_;
}

TEST_F(LogTables, AFileIsNoDirectoryOfALog) {
  options_.directory = file();
  EXPECT_FALSE(open());
  EXPECT_EQ(error_, file() + ": cannot open: Not a directory");
}

}  // namespace commit_log_tables_test
}  // namespace nexa::store
