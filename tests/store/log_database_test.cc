// What a failure at the disk is called, and that a new log is made whole or not at all.
#include "store/log/log_database.h"

#include <cerrno>
#include <cstring>

#include "failing_disk.h"
#include "log_fixture.h"

namespace nexa::store {
namespace log_database_test {

using nexa_test::AtConnections;
using nexa_test::FailingDisk;
using nexa_test::TempFolder;
using Kind = DiskFailure::Kind;

class LogDiskFailure : public testing::Test {
 protected:
  void SetUp() override {
    sqlite3* handle = nullptr;
    ASSERT_EQ(sqlite3_open(":memory:", &handle), SQLITE_OK);
    database_.reset(handle);
  }
  DiskFailure of(int result, int cause = 0) const {
    errno = cause;
    return disk_failure(database_.get(), "F", result);
  }

  DatabasePtr database_;
};

TEST_F(LogDiskFailure, IsAFullDiskByItsCodeOrByItsCause) {
  for (const int cause : {ENOSPC, EDQUOT, EFBIG}) {
    for (const int result : {SQLITE_IOERR_WRITE, SQLITE_IOERR_FSYNC, SQLITE_CANTOPEN}) {
      EXPECT_EQ(of(result, cause).kind, Kind::kFull) << result << " " << cause;
      EXPECT_EQ(of(result, cause).text, "the disk is full");
    }
    EXPECT_EQ(of(SQLITE_READONLY, cause).kind, Kind::kDisk) << "it was not written";
    EXPECT_EQ(of(SQLITE_CORRUPT, cause).kind, Kind::kOther);
  }
  EXPECT_EQ(of(SQLITE_FULL).kind, Kind::kFull);
}

TEST_F(LogDiskFailure, IsInTheSystemsWordsOrInSqlites) {
  EXPECT_EQ(of(SQLITE_IOERR_WRITE, EIO).text, std::strerror(EIO));
  EXPECT_EQ(of(SQLITE_CANTOPEN, EACCES).text, std::strerror(EACCES));
  EXPECT_EQ(of(SQLITE_IOERR_WRITE).text, "disk I/O error");
  EXPECT_EQ(of(SQLITE_READONLY, EIO).text, "attempt to write a readonly database");
  EXPECT_EQ(of(SQLITE_PERM).text, "access permission denied");
  for (const int result : {SQLITE_IOERR_WRITE, SQLITE_CANTOPEN, SQLITE_READONLY, SQLITE_PERM}) {
    EXPECT_EQ(of(result).kind, Kind::kDisk) << result;
  }
  EXPECT_EQ(of(SQLITE_CORRUPT).kind, Kind::kOther);
  EXPECT_EQ(of(SQLITE_CORRUPT).text, of(SQLITE_CORRUPT).line);
}

TEST_F(LogDiskFailure, TellsWhetherASyncFailed) {
  EXPECT_TRUE(of(SQLITE_IOERR_FSYNC, EIO).sync_failed);
  EXPECT_TRUE(of(SQLITE_IOERR_DIR_FSYNC, EIO).sync_failed);
  EXPECT_TRUE(of(SQLITE_IOERR_FSYNC, ENOSPC).sync_failed);
  EXPECT_FALSE(of(SQLITE_IOERR_WRITE, EIO).sync_failed);
  EXPECT_FALSE(of(SQLITE_FULL).sync_failed);
}

TEST_F(LogDiskFailure, WithoutAConnectionNothingElseIsKnown) {
  const DiskFailure failure = disk_failure(nullptr, "F");
  EXPECT_EQ(failure.kind, Kind::kDisk);
  EXPECT_FALSE(failure.sync_failed);
  EXPECT_EQ(failure.text, "cannot be opened");
  EXPECT_EQ(failure.line, "F: cannot be opened");
}

TEST_F(LogDiskFailure, ALineWithoutAPlaceIsAllWords) {
  const text::Failure failure = failure_of({Kind::kOther, false, "", "a: b"}, "a: b");
  EXPECT_EQ(failure.path, "");
  EXPECT_EQ(failure.rule, "a: b");
}

// Which statement of those that make a log is refused.
struct Refused {
  int action;
  std::string what;
};

int judge(void* data, int action, const char* what, const char* /*more*/, const char* /*database*/,
          const char* /*trigger*/) {
  const auto& refused = *static_cast<const Refused*>(data);
  return action == refused.action && what != nullptr && refused.what == what ? SQLITE_DENY
                                                                             : SQLITE_OK;
}

TEST(LogCreation, IsWholeOrThereIsNoLog) {
  const TempFolder folder;
  LogOptions options;
  options.directory = folder.path();
  const std::string file = log_file(options.directory);
  for (Refused refused :
       {Refused{SQLITE_TRANSACTION, "BEGIN"}, Refused{SQLITE_CREATE_TABLE, "schema"},
        Refused{SQLITE_CREATE_TABLE, "pending"}, Refused{SQLITE_INSERT, "head"},
        Refused{SQLITE_INSERT, "snapshots"}, Refused{SQLITE_TRANSACTION, "COMMIT"}}) {
    const AtConnections refusing([&refused](sqlite3* database) {
      return sqlite3_set_authorizer(database, judge, &refused);
    });
    DiskFailure failure;
    EXPECT_EQ(open_log_writer(options, failure), nullptr) << refused.what;
    EXPECT_EQ(failure.kind, Kind::kOther) << refused.what;
    EXPECT_EQ(failure.line, file + ".new: not authorized") << refused.what;
    EXPECT_FALSE(std::filesystem::exists(file)) << refused.what;
  }
  DiskFailure failure;
  EXPECT_NE(open_log_writer(options, failure), nullptr) << failure.line;
}

TEST(LogCreation, SaysThatTheDiskIsFull) {
  const TempFolder folder;
  LogOptions options;
  options.directory = folder.path();
  options.vfs = FailingDisk::kName;
  FailingDisk& disk = FailingDisk::fresh();
  disk.fill(true);
  DiskFailure failure;
  EXPECT_EQ(open_log_writer(options, failure), nullptr);
  disk.fill(false);
  EXPECT_EQ(failure.kind, Kind::kOther) << "there is nothing to be read";
  EXPECT_EQ(failure.line, log_file(options.directory) + ".new: the disk is full");
}

// A place for the name that something else took meanwhile.
TEST(LogCreation, NeedsItsName) {
  const TempFolder folder;
  LogOptions options;
  options.directory = folder.path();
  const std::string file = log_file(options.directory);
  DiskFailure failure;
  {
    const AtConnections takes_it([&file](sqlite3* /*database*/) {
      std::filesystem::create_directory(file);
      return SQLITE_OK;
    });
    EXPECT_EQ(open_log_writer(options, failure), nullptr);
  }
  EXPECT_EQ(failure.kind, Kind::kDisk);
  EXPECT_EQ(failure.line, file + ": cannot make the log: Is a directory");
  std::filesystem::remove(file);
  const AtConnections none([](sqlite3* /*database*/) { return SQLITE_NOMEM; });
  EXPECT_EQ(open_log_writer(options, failure), nullptr);
  EXPECT_EQ(failure.line, file + ".new: cannot be opened");
  EXPECT_FALSE(std::filesystem::exists(file));
}

}  // namespace log_database_test
}  // namespace nexa::store
