// The connection that appends commits, with the statements that every commit runs.
#ifndef HOST_STORE_LOG_LOG_WRITER_H_
#define HOST_STORE_LOG_LOG_WRITER_H_

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "store/log/log_database.h"
#include "store/log/log_types.h"
#include "store/log/sqlite.h"

namespace nexa::store {

// Not for several threads at a time.
class LogWriter {
 public:
  // Opens the log, makes sure that what it shows is on the disk (see confirm_log), then brings it
  // to the newest format. nullptr with `failure` when one of these fails. `journal_pages` follows
  // the journal's length and outlives the writer.
  static std::unique_ptr<LogWriter> open(const LogOptions& options, bool rewrite,
                                         std::atomic<int>& journal_pages, DiskFailure& failure);

  sqlite3* database() const { return database_.get(); }

  // SQLite's result codes; SQLITE_OK when done.
  int begin() { return begin_.run(); }
  int commit() { return commit_.run(); }
  void rollback();
  int append(const LogEntry& entry, const std::string& hash);
  int change(const PendingChange& change);

  // The newest commit's row, and that of the commit that waits, compared with their checksums.
  bool read_head(std::uint64_t& number, std::string& hash);
  bool read_pending(std::optional<LogPending>& pending);

  // Lets the end of this object move the journal into the database and remove it.
  void tidy_up_at_the_end();

 private:
  explicit LogWriter(DatabasePtr database);

  DatabasePtr database_;
  Statement begin_;
  Statement commit_;
  Statement insert_;
  Statement update_head_;
};

// Keeps `journal_pages` at the journal's length after each commit of the connection.
void follow_journal(sqlite3* database, std::atomic<int>& journal_pages);

}  // namespace nexa::store

#endif  // HOST_STORE_LOG_LOG_WRITER_H_
