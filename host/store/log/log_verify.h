// Reads the log and believes nothing: each row's checksum, the chain of commits, and that the
// newest commit is the one that was written last.
#ifndef HOST_STORE_LOG_LOG_VERIFY_H_
#define HOST_STORE_LOG_LOG_VERIFY_H_

#include <atomic>
#include <optional>
#include <string>

#include "store/log/log_types.h"
#include "store/log/sqlite.h"

namespace nexa::store {

struct VerifiedLog {
  std::uint64_t head = 0;
  std::string head_hash;
  LogTail tail;
  std::optional<LogPending> pending;
  std::optional<LogSnapshot> image;  // of the newest snapshot, if it has one; for_start only
};

// What a start needs: the newest commit's row, the newest image (without one: the newest snapshot),
// and the commits after it. False with `error`: one line that names the file.
bool verify_for_start(sqlite3* database, const std::string& file, VerifiedLog& found,
                      std::string& error);

// Every row, and SQLite's own structure. Also true when `stop` (may be null) became true before the
// end.
bool verify_all(sqlite3* database, const std::string& file, const std::atomic<bool>* stop,
                VerifiedLog& found, std::string& error);

}  // namespace nexa::store

#endif  // HOST_STORE_LOG_LOG_VERIFY_H_
