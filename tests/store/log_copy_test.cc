// What a copy shows of a log and its journal, whatever has become of the journal, is what SQLite
// itself makes of the same files.
#include "store/log/log_copy.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <random>

#include "real/temp_folder.h"

namespace nexa::store {
namespace log_copy_test {

namespace fs = std::filesystem;

constexpr std::size_t kSumsAt = 24;
constexpr std::size_t kFrameSumsAt = 16;

std::string bytes_of(const std::string& file) {
  std::ifstream in(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

DatabasePtr open_database(const std::string& file) {
  sqlite3* handle = nullptr;
  EXPECT_EQ(
      sqlite3_open_v2(file.c_str(), &handle, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr),
      SQLITE_OK);
  return DatabasePtr(handle);
}

// All rows; what SQLite says where there are none to be had.
std::string rows_of(sqlite3* database) {
  if (database == nullptr) return "no database";
  Statement rows(database, "SELECT id, length(v), hex(substr(v, 1, 4)) FROM t ORDER BY id");
  std::string text;
  int result = rows.step();
  for (; result == SQLITE_ROW; result = rows.step()) {
    text += rows.text(0) + " " + rows.text(1) + " " + rows.text(2) + "\n";
  }
  return result == SQLITE_DONE ? text : text + sqlite3_errmsg(database);
}

class LogCopy : public testing::Test {
 protected:
  void make(int page_size = 4096) {
    database_.reset();
    for (const char* const end : {"", "-wal", "-shm"}) fs::remove(file() + end);
    database_ = open_database(file());
    const std::string pages = "PRAGMA page_size = " + std::to_string(page_size);
    for (const std::string& sql :
         {pages, std::string("PRAGMA journal_mode = WAL"), std::string("PRAGMA synchronous = OFF"),
          std::string("PRAGMA wal_autocheckpoint = 0"),
          std::string("CREATE TABLE t(id INTEGER PRIMARY KEY, v BLOB)")}) {
      ASSERT_EQ(execute(database_.get(), sql.c_str()), SQLITE_OK) << sql;
    }
  }

  // Transactions of so many bytes each.
  void add(int count, int bytes) {
    for (int i = 0; i < count; ++i) {
      const std::string sql = "INSERT INTO t(v) VALUES(randomblob(" + std::to_string(bytes) + "))";
      ASSERT_EQ(execute(database_.get(), sql.c_str()), SQLITE_OK);
    }
  }

  void checkpoint(int mode) {
    ASSERT_EQ(sqlite3_wal_checkpoint_v2(database_.get(), "main", mode, nullptr, nullptr),
              SQLITE_OK);
  }

  std::string file() const { return folder_.file("log.db"); }
  std::string journal() const { return bytes_of(file() + "-wal"); }

  // Of the database as it is beside this journal.
  void expect_same(const std::string& journal, const std::string& what) {
    const nexa_test::TempFolder other;
    const std::string beside = other.file("log.db");
    other.write("log.db", bytes_of(file()));
    other.write("log.db-wal", journal);
    const std::string copied = rows_of(copy_log({other.path()}, beside).get());
    const DatabasePtr reference = open_database(beside);
    EXPECT_EQ(copied, rows_of(reference.get())) << what;
  }

  const nexa_test::TempFolder folder_;
  DatabasePtr database_;
};

TEST_F(LogCopy, ShowsWhatTheJournalCommitted) {
  for (const int page_size : {512, 4096, 65536}) {
    ASSERT_NO_FATAL_FAILURE(make(page_size));
    expect_same("", "no journal");
    ASSERT_NO_FATAL_FAILURE(add(5, 3000));
    EXPECT_NE(journal(), "");
    const DatabasePtr copy = copy_log({folder_.path()}, file());
    EXPECT_EQ(integer_of(copy.get(), "SELECT count(*) FROM t", -1), 5);
    EXPECT_EQ(integer_of(copy.get(), "PRAGMA page_size", -1), page_size);
    expect_same(journal(), "written");
  }
}

TEST_F(LogCopy, FramesOfAnEarlierUseOfTheJournalCountNoMore) {
  ASSERT_NO_FATAL_FAILURE(make());
  ASSERT_NO_FATAL_FAILURE(add(20, 3000));
  const std::size_t length = journal().size();
  ASSERT_NO_FATAL_FAILURE(checkpoint(SQLITE_CHECKPOINT_RESTART));
  ASSERT_EQ(execute(database_.get(), "DELETE FROM t WHERE id < 15"), SQLITE_OK);
  ASSERT_NO_FATAL_FAILURE(add(2, 10));
  ASSERT_EQ(journal().size(), length);
  const DatabasePtr copy = copy_log({folder_.path()}, file());
  EXPECT_EQ(integer_of(copy.get(), "SELECT count(*) FROM t", -1), 8);
  EXPECT_EQ(rows_of(copy.get()), rows_of(database_.get()));
  expect_same(journal(), "begun anew");
}

TEST_F(LogCopy, ATransactionThatHasNoEndIsNotThere) {
  ASSERT_NO_FATAL_FAILURE(make());
  ASSERT_NO_FATAL_FAILURE(add(2, 100));
  ASSERT_EQ(execute(database_.get(), "PRAGMA cache_size = 2; PRAGMA cache_spill = 1; BEGIN"),
            SQLITE_OK);
  const std::size_t length = journal().size();
  ASSERT_NO_FATAL_FAILURE(add(40, 3000));
  ASSERT_GT(journal().size(), length) << "nothing was written before the end";
  const DatabasePtr copy = copy_log({folder_.path()}, file());
  EXPECT_EQ(integer_of(copy.get(), "SELECT count(*) FROM t", -1), 2);
  expect_same(journal(), "not ended");
  ASSERT_EQ(execute(database_.get(), "ROLLBACK"), SQLITE_OK);
}

// Frames before hold pages that the database has no more.
TEST_F(LogCopy, ADatabaseThatBecameSmallerIsShownSo) {
  ASSERT_NO_FATAL_FAILURE(make());
  ASSERT_NO_FATAL_FAILURE(add(60, 3000));
  ASSERT_EQ(execute(database_.get(), "DELETE FROM t WHERE id > 3"), SQLITE_OK);
  ASSERT_EQ(execute(database_.get(), "VACUUM"), SQLITE_OK);
  const DatabasePtr copy = copy_log({folder_.path()}, file());
  EXPECT_EQ(integer_of(copy.get(), "PRAGMA page_count", -1),
            integer_of(database_.get(), "PRAGMA page_count", -2));
  EXPECT_EQ(rows_of(copy.get()), rows_of(database_.get()));
  expect_same(journal(), "made smaller");
}

TEST_F(LogCopy, AFileWithoutAWholeHeaderIsNone) {
  const nexa_test::TempFolder folder;
  folder.write("log.db-wal", "");
  for (const std::size_t size : {std::size_t{0}, std::size_t{19}, std::size_t{99}}) {
    folder.write("log.db", std::string(size, 'x'));
    EXPECT_EQ(copy_log({folder.path()}, folder.file("log.db")), nullptr) << size;
  }
}

TEST_F(LogCopy, ADamagedJournalCountsUpToTheDamage) {
  std::mt19937 random(20);  // NOLINT(cert-msc51-cpp): the same each time
  const auto below = [&random](std::size_t end) {
    return std::uniform_int_distribution<std::size_t>(0, end - 1)(random);
  };
  ASSERT_NO_FATAL_FAILURE(make(1024));
  ASSERT_NO_FATAL_FAILURE(add(8, 700));
  ASSERT_NO_FATAL_FAILURE(checkpoint(SQLITE_CHECKPOINT_RESTART));
  ASSERT_NO_FATAL_FAILURE(add(8, 700));
  const std::string sound = journal();
  constexpr int kTimes = 150;
  for (int i = 0; i < kTimes; ++i) {
    std::string cut = sound.substr(0, below(sound.size()));
    expect_same(cut, "cut to " + std::to_string(cut.size()));
    const std::size_t at = i < 40 ? static_cast<std::size_t>(i) : below(sound.size());
    std::string flipped = sound;
    flipped[at] = static_cast<char>(flipped[at] ^ static_cast<char>(1U << below(8)));
    expect_same(flipped, "another byte at " + std::to_string(at));
  }
}

std::uint32_t number(const std::string& bytes, std::size_t at) {
  std::uint32_t value = 0;
  for (std::size_t i = at; i < at + 4; ++i) {
    value = value << 8U | static_cast<unsigned char>(bytes[i]);
  }
  return value;
}

void put_number(std::string& bytes, std::size_t at, std::uint32_t value) {
  for (std::size_t i = 4; i-- > 0; value >>= 8U) bytes[at + i] = static_cast<char>(value & 0xFFU);
}

// The journal as a machine of the other byte order writes it: its checksums add other numbers up.
std::string other_byte_order(std::string journal) {
  const bool is_big = (number(journal, 0) & 1U) == 0;
  put_number(journal, 0, number(journal, 0) ^ 1U);
  std::uint32_t first = 0;
  std::uint32_t second = 0;
  const auto word = [&](std::size_t at) {
    const std::uint32_t big = number(journal, at);
    return is_big ? big : __builtin_bswap32(big);
  };
  const auto sum_up = [&](std::size_t at, std::size_t size) {
    for (const std::size_t end = at + size; at < end; at += 8) {
      first += word(at) + second;
      second += word(at + 4) + first;
    }
  };
  const auto put_sums = [&](std::size_t at) {
    put_number(journal, at, first);
    put_number(journal, at + 4, second);
  };
  sum_up(0, kSumsAt);
  put_sums(kSumsAt);
  const std::size_t page = number(journal, 8);
  for (std::size_t at = kJournalHeaderSize; at < journal.size();
       at += kJournalFrameHeaderSize + page) {
    sum_up(at, 8);
    sum_up(at + kJournalFrameHeaderSize, page);
    put_sums(at + kFrameSumsAt);
  }
  return journal;
}

TEST_F(LogCopy, AJournalFromAMachineOfTheOtherByteOrderIsRead) {
  ASSERT_NO_FATAL_FAILURE(make());
  ASSERT_NO_FATAL_FAILURE(add(5, 3000));
  const std::string other = other_byte_order(journal());
  expect_same(other, "the other byte order");
  const nexa_test::TempFolder folder;
  folder.write("log.db", bytes_of(file()));
  folder.write("log.db-wal", other);
  const DatabasePtr copy = copy_log({folder.path()}, folder.file("log.db"));
  EXPECT_EQ(integer_of(copy.get(), "SELECT count(*) FROM t", -1), 5);
}

TEST_F(LogCopy, NeedsBothFiles) {
  ASSERT_NO_FATAL_FAILURE(make());
  ASSERT_NO_FATAL_FAILURE(add(1, 10));
  const nexa_test::TempFolder folder;
  EXPECT_EQ(copy_log({folder.path()}, folder.file("log.db")), nullptr);
  folder.write("log.db", bytes_of(file()));
  EXPECT_EQ(copy_log({folder.path()}, folder.file("log.db")), nullptr);
  folder.write("log.db-wal", journal());
  EXPECT_NE(copy_log({folder.path()}, folder.file("log.db")), nullptr);
  LogOptions options{folder.path()};
  options.vfs = "no such";
  EXPECT_EQ(copy_log(options, folder.file("log.db")), nullptr);
}

TEST_F(LogCopy, IsOnlyForReading) {
  ASSERT_NO_FATAL_FAILURE(make());
  ASSERT_NO_FATAL_FAILURE(add(1, 10));
  const DatabasePtr copy = copy_log({folder_.path()}, file());
  ASSERT_NE(copy, nullptr);
  EXPECT_EQ(execute(copy.get(), "DELETE FROM t") & 0xFF, SQLITE_READONLY);
}

}  // namespace log_copy_test
}  // namespace nexa::store
