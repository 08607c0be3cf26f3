// The log's file: how it is made, what is asked of it before anything in it is believed.
//
// Every row carries a SHA-256 over its fields; a commit's also covers the one before it, and one
// row names the newest commit, so that a missing row shows as well as a changed one.
#ifndef HOST_STORE_LOG_LOG_DATABASE_H_
#define HOST_STORE_LOG_LOG_DATABASE_H_

#include <cstdint>
#include <string>

#include "store/log/commit_log.h"
#include "store/log/digest.h"
#include "store/log/sqlite.h"

namespace nexa::host {

// Opens the log of a data directory; makes an empty one for a writer that finds none. nullptr with
// `error`: one line that names the file.
DatabasePtr open_log_database(const LogOptions& options, std::string& error);

// Reads every row and compares it with its checksum, and the rows with each other. False with
// `error`: one line that names the file.
bool verify_log(sqlite3* database, const std::string& file, std::string& error);

std::string log_file(const std::string& directory);

// What SQLite says of its last failure, with the file's name in front.
std::string database_error(sqlite3* database, const std::string& file);

// Checksums of the rows; `before` is the checksum of the commit before.
std::string commit_digest(const std::string& before, const LogEntry& entry);
std::string snapshot_digest(const LogSnapshot& snapshot);
std::string head_digest(std::uint64_t number, const std::string& commit_hash);
std::string schema_digest(const std::string& text);

// Columns of a commit in the order number, time, author, comment, whole, change.
LogEntry entry_of(const Statement& row);
Statement& bind_entry(Statement& statement, const LogEntry& entry);

}  // namespace nexa::host

#endif  // HOST_STORE_LOG_LOG_DATABASE_H_
