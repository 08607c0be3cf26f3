// A new log is made under another name and renamed when it is whole: a file of the log's own name
// that is empty or cut short was damaged later.
#include "store/log/log_database.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>

#include "store/log/data_directory.h"

namespace nexa::host {
namespace {

constexpr std::int64_t kApplicationId = 0x6e657861;
constexpr std::int64_t kFormat = 1;
constexpr char kTables[] =
    "BEGIN IMMEDIATE;"
    "PRAGMA application_id = 0x6e657861;"
    "PRAGMA user_version = 1;"
    "CREATE TABLE commits(number INTEGER PRIMARY KEY, time_ns INTEGER NOT NULL,"
    " author TEXT NOT NULL, comment TEXT NOT NULL, whole INTEGER NOT NULL, change TEXT NOT NULL,"
    " hash BLOB NOT NULL);"
    "CREATE TABLE snapshots(number INTEGER PRIMARY KEY, commit_hash BLOB NOT NULL,"
    " config TEXT NOT NULL, hash BLOB NOT NULL);"
    "CREATE TABLE head(id INTEGER PRIMARY KEY CHECK (id = 0), number INTEGER NOT NULL,"
    " commit_hash BLOB NOT NULL, hash BLOB NOT NULL);"
    "CREATE TABLE schema(id INTEGER PRIMARY KEY CHECK (id = 0), modules TEXT NOT NULL,"
    " hash BLOB NOT NULL);";
constexpr char kRestore[] = "; restore a copy of the directory";
constexpr char kCopy[] =
    "; its journal can be read only where it can be written: copy the directory";

std::string error_number(const std::string& file, const char* what) {
  return file + ": " + what + ": " + std::strerror(errno);
}

std::int64_t pragma(sqlite3* database, const char* sql) {
  Statement statement(database, sql);
  return statement.step() == SQLITE_ROW ? statement.integer(0) : -1;
}

DatabasePtr connect(const std::string& file, int flags) {
  sqlite3* handle = nullptr;
  const int result = sqlite3_open_v2(file.c_str(), &handle, flags | SQLITE_OPEN_FULLMUTEX, nullptr);
  DatabasePtr database(handle);
  if (result != SQLITE_OK) return nullptr;
  sqlite3_extended_result_codes(handle, 1);
  sqlite3_busy_timeout(handle, 10000);
  return database;
}

bool write_empty_log(sqlite3* database) {
  if (execute(database, kTables) != SQLITE_OK) return false;
  LogSnapshot empty;
  empty.commit_hash.assign(kDigestSize, '\0');
  empty.config = "<config/>";
  Statement head(database, "INSERT INTO head VALUES(0, 0, ?, ?)");
  const std::string head_hash = head_digest(0, empty.commit_hash);
  if (head.bind_blob(1, empty.commit_hash).bind_blob(2, head_hash).step() != SQLITE_DONE) {
    return false;
  }
  Statement snapshot(database, "INSERT INTO snapshots VALUES(0, ?, ?, ?)");
  const std::string hash = snapshot_digest(empty);
  snapshot.bind_blob(1, empty.commit_hash).bind(2, empty.config).bind_blob(3, hash);
  return snapshot.step() == SQLITE_DONE && execute(database, "COMMIT") == SQLITE_OK;
}

bool create(const LogOptions& options, const std::string& file, std::string& error) {
  const std::string made = file + ".new";
  unlink(made.c_str());
  const int descriptor = open(made.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
  if (descriptor < 0) {
    error = error_number(made, "cannot make the log");
    return false;
  }
  close(descriptor);
  DatabasePtr database = connect(made, SQLITE_OPEN_READWRITE);
  if (database == nullptr || !write_empty_log(database.get())) {
    error = database_error(database.get(), made);
    return false;
  }
  database.reset();
  if (rename(made.c_str(), file.c_str()) != 0 || !sync_directory(options.directory)) {
    error = error_number(file, "cannot make the log");
    return false;
  }
  return true;
}

// The folder may not be written here, and SQLite makes files beside a log that it only reads. A log
// that was closed in order has no journal: then the file alone is all of it.
bool needs_no_journal(sqlite3* database, const std::string& file) {
  if (pragma(database, "PRAGMA application_id") >= 0) return false;
  const int code = sqlite3_errcode(database) & 0xFF;
  if (code != SQLITE_CANTOPEN && code != SQLITE_READONLY) return false;
  struct stat journal {};
  return stat((file + "-wal").c_str(), &journal) != 0 ? errno == ENOENT : journal.st_size == 0;
}

std::string immutable_uri(const std::string& file) {
  std::string uri = file.compare(0, 1, "/") == 0 ? "file://" : "file:";
  for (const char character : file) {
    const auto code = static_cast<unsigned char>(character);
    constexpr char kDigits[] = "0123456789ABCDEF";
    if (character == '?' || character == '#' || character == '%') {
      uri.append(1, '%').append(1, kDigits[code / 16]).append(1, kDigits[code % 16]);
    } else {
      uri.push_back(character);
    }
  }
  return uri + "?immutable=1";
}

bool is_ours(sqlite3* database, const std::string& file, std::string& error) {
  const std::int64_t id = pragma(database, "PRAGMA application_id");
  if (id < 0) {
    const int code = sqlite3_errcode(database) & 0xFF;
    error = database_error(database, file);
    if (code == SQLITE_NOTADB || code == SQLITE_CORRUPT) error += kRestore;
    if (code == SQLITE_READONLY) error += kCopy;
    return false;
  }
  const std::int64_t format = pragma(database, "PRAGMA user_version");
  if (id != kApplicationId) {
    error = file + ": not a configuration log; name another data directory";
  } else if (format != kFormat) {
    error = file + ": written in format " + std::to_string(format) + ", this program knows " +
            std::to_string(kFormat) + "; use the program that wrote it";
  } else {
    return true;
  }
  return false;
}

}  // namespace

std::string log_file(const std::string& directory) { return directory + "/nexa.db"; }

std::string database_error(sqlite3* database, const std::string& file) {
  const int code = database != nullptr ? sqlite3_errcode(database) & 0xFF : SQLITE_CANTOPEN;
  if (code == SQLITE_NOTADB) return file + ": not a database";
  if (code == SQLITE_CORRUPT) return file + ": damaged";
  if (database == nullptr) return file + ": cannot be opened";
  const int system_error = sqlite3_system_errno(database);
  const bool has_cause = code == SQLITE_IOERR || code == SQLITE_CANTOPEN;
  return file + ": " + sqlite3_errmsg(database) +
         (has_cause && system_error != 0 ? std::string(": ") + std::strerror(system_error) : "");
}

DatabasePtr open_log_database(const LogOptions& options, std::string& error) {
  const std::string file = log_file(options.directory);
  struct stat found {};
  if (stat(file.c_str(), &found) != 0) {
    struct stat journal {};
    if (errno != ENOENT || options.read_only) {
      error = error_number(file, "cannot open");
      return nullptr;
    }
    if (stat((file + "-wal").c_str(), &journal) == 0) {
      error = file + ": missing, although its journal is there" + kRestore;
      return nullptr;
    }
    if (!create(options, file, error)) return nullptr;
  } else if (found.st_size == 0) {
    error = file + ": damaged: it is empty" + kRestore;
    return nullptr;
  }
  DatabasePtr database =
      connect(file, options.read_only ? SQLITE_OPEN_READONLY : SQLITE_OPEN_READWRITE);
  if (database == nullptr) {
    error = file + ": cannot be opened";
    return nullptr;
  }
  if (options.read_only && needs_no_journal(database.get(), file)) {
    database = connect(immutable_uri(file), SQLITE_OPEN_READONLY | SQLITE_OPEN_URI);
    if (database == nullptr) {
      error = file + ": cannot be opened";
      return nullptr;
    }
  }
  if (!is_ours(database.get(), file, error)) return nullptr;
  if (options.read_only) return database;
  if (execute(database.get(), "PRAGMA journal_mode = WAL") != SQLITE_OK ||
      execute(database.get(), options.sync ? "PRAGMA synchronous = FULL"
                                           : "PRAGMA synchronous = OFF") != SQLITE_OK) {
    error = database_error(database.get(), file);
    return nullptr;
  }
  if (options.sync && !sync_directory(options.directory)) {
    error = error_number(options.directory, "cannot be synchronised");
    return nullptr;
  }
  return database;
}

std::string commit_digest(const std::string& before, const LogEntry& entry) {
  return Digest()
      .add("commit")
      .add(before)
      .add(entry.number)
      .add(static_cast<std::uint64_t>(entry.time_ns))
      .add(entry.author)
      .add(entry.comment)
      .add(entry.whole ? std::uint64_t{1} : std::uint64_t{0})
      .add(entry.change)
      .finish();
}

std::string snapshot_digest(const LogSnapshot& snapshot) {
  return Digest()
      .add("snapshot")
      .add(snapshot.number)
      .add(snapshot.commit_hash)
      .add(snapshot.config)
      .finish();
}

std::string head_digest(std::uint64_t number, const std::string& commit_hash) {
  return Digest().add("head").add(number).add(commit_hash).finish();
}

std::string schema_digest(const std::string& text) {
  return Digest().add("schema").add(text).finish();
}

LogEntry entry_of(const Statement& row) {
  LogEntry entry;
  entry.number = static_cast<std::uint64_t>(row.integer(0));
  entry.time_ns = row.integer(1);
  entry.author = row.text(2);
  entry.comment = row.text(3);
  entry.whole = row.integer(4) != 0;
  entry.change = row.text(5);
  return entry;
}

Statement& bind_entry(Statement& statement, const LogEntry& entry) {
  return statement.bind(1, static_cast<std::int64_t>(entry.number))
      .bind(2, entry.time_ns)
      .bind(3, std::string_view(entry.author))
      .bind(4, std::string_view(entry.comment))
      .bind(5, std::int64_t{entry.whole ? 1 : 0})
      .bind(6, std::string_view(entry.change));
}

}  // namespace nexa::host
