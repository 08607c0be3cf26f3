// Reads the log and believes nothing: each row's checksum, the chain of commits, and that the
// newest commit is the one that was written last.
#ifndef HOST_STORE_LOG_LOG_VERIFY_H_
#define HOST_STORE_LOG_LOG_VERIFY_H_

#include <atomic>
#include <optional>
#include <string>

#include "store/log/log_types.h"
#include "store/log/sqlite.h"
#include "text/result.h"

namespace nexa::store {

struct VerifiedLog {
  std::uint64_t head = 0;
  std::string head_hash;
  LogTail tail;
  std::optional<LogPending> pending;
  std::optional<LogSnapshot> image;  // of the newest snapshot, if it has one; for_start only
};

// What a start needs: the newest commit's row, the newest image (without one: the newest snapshot),
// and the commits after it. A failure names the file.
text::Done verify_for_start(sqlite3* database, const std::string& file, VerifiedLog& found);

// Every row, and SQLite's own structure. Also done when `stop` (may be null) became true before the
// end.
text::Done verify_all(sqlite3* database, const std::string& file, const std::atomic<bool>* stop,
                      VerifiedLog& found);

}  // namespace nexa::store

#endif  // HOST_STORE_LOG_LOG_VERIFY_H_
