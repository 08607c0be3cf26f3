// The log's file: how it is made, opened for writing and for reading, and what is asked of it
// before anything in it is believed.
#ifndef HOST_STORE_LOG_LOG_DATABASE_H_
#define HOST_STORE_LOG_LOG_DATABASE_H_

#include <string>

#include "store/log/log_types.h"
#include "store/log/sqlite.h"
#include "text/result.h"

namespace nexa::store {

std::string log_file(const std::string& directory);

// What went wrong at the disk. Made right after the call that failed: SQLite does not keep the
// cause of every failed write, and errno may still be of it.
struct DiskFailure {
  enum class Kind : std::uint8_t { kNone, kFull, kDisk, kOther };
  Kind kind = Kind::kNone;
  bool sync_failed = false;  // pages that the kernel holds as written may not be
  std::string text{};        // "the disk is full", "Input/output error"; else as `line`
  std::string line{};        // with the file's name in front
};

// Of the last failure on a connection (null: it could not be made); `result` is the code that was
// returned, 0 to ask the connection for it.
DiskFailure disk_failure(sqlite3* database, const std::string& file, int result = 0);

// The record of what its line says of the log's file, or of one beside it whose name begins so.
text::Failure failure_of(const DiskFailure& failure, const std::string& file);

// What SQLite says of its last failure (null: the connection could not be made), as the record and
// as its line.
text::Failure database_failure(sqlite3* database, const std::string& file);
std::string database_error(sqlite3* database, const std::string& file);

// A connection with what every connection to the log has: extended codes, patience with other
// processes, no checkpoint that nobody asked for. nullptr when it cannot be made.
DatabasePtr connect_to_log(const LogOptions& options, const std::string& name, int flags);

// Opens the log of a data directory to be written; makes an empty one where there is none. Reads
// nothing of it but what tells that it is one. nullptr with `failure`; its kind is kFull or kDisk
// when the log may still be read.
DatabasePtr open_log_writer(const LogOptions& options, DiskFailure& failure);

// Opens it to be read, however that is possible: beside who writes it, or alone where nothing can
// be written, from a copy in memory if it must be. A failure names the file.
text::Result<DatabasePtr> open_log_reader(const LogOptions& options);

// The format of an opened log.
int format_of(sqlite3* database);

}  // namespace nexa::store

#endif  // HOST_STORE_LOG_LOG_DATABASE_H_
