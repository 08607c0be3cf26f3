// A log with what a test needs to put it to trouble: its tables through a connection of their own,
// triggers that refuse a row, and a word before each connection that is made.
#ifndef TESTS_STORE_LOG_FIXTURE_H_
#define TESTS_STORE_LOG_FIXTURE_H_

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <utility>

#include "real/temp_folder.h"
#include "store/log/commit_log.h"
#include "support/results.h"

namespace nexa_test {

// Asks `answer` at each connection that SQLite makes, until the end of the object: one that it
// gives another result than SQLITE_OK cannot be made. One object at a time.
class AtConnections {
 public:
  using Answer = std::function<int(sqlite3*)>;

  explicit AtConnections(Answer answer) {
    answer_() = std::move(answer);
    EXPECT_EQ(sqlite3_auto_extension(reinterpret_cast<void (*)()>(ask)), SQLITE_OK);
  }
  ~AtConnections() {
    sqlite3_cancel_auto_extension(reinterpret_cast<void (*)()>(ask));
    answer_() = nullptr;
  }
  AtConnections(const AtConnections&) = delete;
  AtConnections& operator=(const AtConnections&) = delete;

 private:
  static Answer& answer_() {
    static Answer answer;
    return answer;
  }
  static int ask(sqlite3* database, char** /*words*/, const void* /*api*/) {
    return answer_()(database);
  }
};

class LogFixture : public testing::Test {
 protected:
  using CommitLog = nexa::store::CommitLog;
  using LogResult = nexa::store::LogResult;
  using LogSnapshot = nexa::store::LogSnapshot;

  bool open() {
    log_.reset();
    auto opened = CommitLog::open(options_);
    error_ = line_of(opened);
    if (opened.ok()) log_ = std::move(opened).value();
    return opened.ok();
  }
  void SetUp() override {
    options_.directory = folder_.path();
    options_.sync = false;
    ASSERT_TRUE(open()) << error_;
  }

  std::string file() const { return options_.directory + "/nexa.db"; }
  static std::string change_of(std::uint64_t number) { return "change" + std::to_string(number); }
  static nexa::store::LogEntry entry_of(std::uint64_t number) {
    return {number,           static_cast<std::int64_t>(number) * 1000, "author", "", false,
            change_of(number)};
  }
  LogResult append(const nexa::store::PendingChange& pending = {}) {
    return log_->append(entry_of(log_->head() + 1), pending);
  }
  void append_up_to(std::uint64_t number) {
    while (log_->head() < number) ASSERT_TRUE(append().ok());
  }
  LogResult snapshot(const std::string& config = "<config/>", const std::string& image = "",
                     nexa::store::LogLimits limits = {}) {
    LogSnapshot snapshot;
    snapshot.number = log_->head();
    snapshot.config = config;
    snapshot.image = image;
    if (!image.empty()) snapshot.schema_hash = "schema";
    return log_->write_snapshot(std::move(snapshot), limits);
  }

  void with_database(const std::function<void(sqlite3*)>& work) const {
    sqlite3* handle = nullptr;
    ASSERT_EQ(sqlite3_open(file().c_str(), &handle), SQLITE_OK);
    const nexa::store::DatabasePtr database(handle);
    work(handle);
  }
  void run_sql(const std::string& sql) const {
    with_database([&sql](sqlite3* database) {
      ASSERT_EQ(nexa::store::execute(database, sql.c_str()), SQLITE_OK)
          << sql << ": " << sqlite3_errmsg(database);
    });
  }
  std::int64_t ask(const std::string& sql) const {
    std::int64_t answer = -1;
    with_database(
        [&](sqlite3* database) { answer = nexa::store::integer_of(database, sql.c_str(), -1); });
    return answer;
  }
  // "INSERT ON commits" and the like fail with "no" until allow_rows().
  void refuse_rows(const std::string& event, const std::string& when = "1") const {
    run_sql("CREATE TRIGGER refusal BEFORE " + event + " WHEN " + when +
            " BEGIN SELECT RAISE(ABORT, 'no'); END");
  }
  void allow_rows() const { run_sql("DROP TRIGGER refusal"); }
  std::string refusal() const { return file() + ": no"; }

  // The log holds the commits up to `head` as they were given, and nothing else; also after a
  // restart.
  void expect_whole(std::uint64_t head) {
    for (const bool is_new : {false, true}) {
      if (is_new) {
        ASSERT_TRUE(open()) << error_;
      }
      ASSERT_EQ(log_->head(), head);
      for (std::uint64_t number = head; number > 0 && number + 3 > head; --number) {
        nexa::store::LogEntry entry;
        ASSERT_EQ(line_of(log_->entry(number, entry)), "");
        EXPECT_EQ(entry.change, change_of(number));
      }
      EXPECT_EQ(line_of(log_->verify_history(nullptr)), "");
      EXPECT_TRUE(log_->writable()) << log_->obstacle();
    }
  }

  TempFolder folder_;
  nexa::store::LogOptions options_;
  std::string error_;
  std::unique_ptr<CommitLog> log_;
};

}  // namespace nexa_test

#endif  // TESTS_STORE_LOG_FIXTURE_H_
