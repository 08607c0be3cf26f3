// SQLite's handles and calls as the log uses them; knows nothing of commits.
#ifndef HOST_STORE_LOG_SQLITE_H_
#define HOST_STORE_LOG_SQLITE_H_

#include <sqlite3.h>

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace nexa::store {

// Bytes before the frames of a write-ahead journal, and before the page of each frame.
inline constexpr int kJournalHeaderSize = 32;
inline constexpr int kJournalFrameHeaderSize = 24;

struct CloseDatabase {
  void operator()(sqlite3* database) const { sqlite3_close_v2(database); }
};
using DatabasePtr = std::unique_ptr<sqlite3, CloseDatabase>;

// A prepared statement. Binds by position from 1, reads columns from 0.
class Statement {
 public:
  Statement() = default;
  // `sql` is one statement; ok() is false when SQLite does not take it. `kept` says that it will be
  // run often.
  Statement(sqlite3* database, const std::string& sql, bool kept = false);

  bool ok() const { return statement_ != nullptr; }
  Statement& bind(int position, std::int64_t value);
  Statement& bind(int position, std::string_view text);  // valid until the statement has run
  Statement& bind_blob(int position, std::string_view bytes);

  // SQLITE_ROW, SQLITE_DONE, or what went wrong. After a failure to prepare: that failure.
  int step();
  void reset();
  // Steps a statement without rows and makes it ready for the next run. SQLITE_OK when it is done.
  int run();

  bool has_value(int column) const;
  std::int64_t integer(int column) const;
  std::string text(int column) const;       // text or blob, byte for byte
  std::string_view view(int column) const;  // the same, until the next step

 private:
  struct Finalize {
    void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
  };
  std::unique_ptr<sqlite3_stmt, Finalize> statement_;
  int failure_ = SQLITE_OK;
};

// Runs statements without results.
int execute(sqlite3* database, const char* sql);

// The first column of the first row; `otherwise` when there is none or it is null.
std::int64_t integer_of(sqlite3* database, const char* sql, std::int64_t otherwise);

// The files below a connection that has read: owned by it. nullptr when it has none.
sqlite3_file* database_file(sqlite3* database);
sqlite3_file* journal_file(sqlite3* database);

}  // namespace nexa::store

#endif  // HOST_STORE_LOG_SQLITE_H_
