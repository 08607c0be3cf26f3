// A new log is made under another name and renamed when it is whole: a file of the log's own name
// that is empty or cut short was damaged later.
#include "store/log/log_database.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "store/log/data_directory.h"
#include "store/log/log_copy.h"
#include "store/log/log_rows.h"
#include "text/descriptor.h"

namespace nexa::store {
namespace {

using Kind = DiskFailure::Kind;

constexpr std::int64_t kApplicationId = 0x6e657861;
constexpr int kPatience = 10000;  // milliseconds that other processes are waited for

std::string error_number(const std::string& file, const char* what) {
  return file + ": " + what + ": " + std::strerror(errno);
}

bool is_full(int system_error) {
  return system_error == ENOSPC || system_error == EDQUOT || system_error == EFBIG;
}

constexpr char kFull[] = "the disk is full";

// Nothing of the disk: the log is not what it has to be.
DiskFailure refusal(const std::string& line) { return {Kind::kOther, false, line, line}; }

DiskFailure system_failure(const std::string& file, const char* what) {
  return {is_full(errno) ? Kind::kFull : Kind::kDisk, false,
          is_full(errno) ? kFull : std::strerror(errno), error_number(file, what)};
}

bool write_empty_rows(sqlite3* database) {
  LogSnapshot empty;
  empty.commit_hash.assign(kDigestSize, '\0');
  empty.config = "<config/>";
  Statement head(database, "INSERT INTO head VALUES(0, 0, ?, ?)");
  const std::string head_hash = head_digest(0, empty.commit_hash);
  if (head.bind_blob(1, empty.commit_hash).bind_blob(2, head_hash).run() != SQLITE_OK) {
    return false;
  }
  Statement snapshot(database,
                     "INSERT INTO snapshots(number, commit_hash, config, hash) VALUES(0, ?, ?, ?)");
  const std::string hash = snapshot_digest(empty);
  snapshot.bind_blob(1, empty.commit_hash).bind(2, empty.config).bind_blob(3, hash);
  return snapshot.run() == SQLITE_OK;
}

// The commit comes last, when no statement is left whose end would hide why it failed.
bool write_empty_log(sqlite3* database) {
  return execute(database, "BEGIN IMMEDIATE") == SQLITE_OK &&
         execute(database, kMakeTables) == SQLITE_OK &&
         execute(database, upgrade_tables(kOldestFormat).c_str()) == SQLITE_OK &&
         write_empty_rows(database) && execute(database, "COMMIT") == SQLITE_OK;
}

bool create(const LogOptions& options, const std::string& file, DiskFailure& failure) {
  const std::string made = file + ".new";
  unlink(made.c_str());
  text::Descriptor empty(open(made.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
  if (!empty.is_open()) {
    failure = system_failure(made, "cannot make the log");
    return false;
  }
  empty.close();
  errno = 0;
  DatabasePtr database = connect_to_log(options, made, SQLITE_OPEN_READWRITE);
  if (database == nullptr || !write_empty_log(database.get())) {
    const DiskFailure cause = disk_failure(database.get(), made);
    failure = refusal(cause.kind == Kind::kOther ? cause.line : made + ": " + cause.text);
    return false;
  }
  database.reset();
  if (rename(made.c_str(), file.c_str()) != 0 || !sync_directory(options.directory)) {
    failure = system_failure(file, "cannot make the log");
    return false;
  }
  return true;
}

// Whether a file of the log's name is there that has content. False with `failure` otherwise; its
// kind is kNone when there is nothing at all.
bool file_is_there(const std::string& file, DiskFailure& failure) {
  struct stat found {};
  if (stat(file.c_str(), &found) == 0) {
    if (found.st_size > 0) return true;
    failure = refusal(file + ": damaged: it is empty" + kRestore);
    return false;
  }
  if (errno != ENOENT) {
    failure = refusal(error_number(file, "cannot open"));
  } else if (stat((file + "-wal").c_str(), &found) == 0) {
    failure = refusal(file + ": missing, although its journal is there" + kRestore);
  } else {
    errno = ENOENT;
    failure = {Kind::kNone, false, "", error_number(file, "cannot open")};
  }
  return false;
}

// A log that was closed in order has no journal: then the file alone is all of it.
bool has_journal(const std::string& file) {
  struct stat journal {};
  return stat((file + "-wal").c_str(), &journal) == 0 ? journal.st_size > 0 : errno != ENOENT;
}

// SQLite notices missing pages, not a last one that is cut.
bool is_cut_short(sqlite3* database, const std::string& file) {
  struct stat found {};
  const std::int64_t page_size = integer_of(database, "PRAGMA page_size", 1);
  return !has_journal(file) && stat(file.c_str(), &found) == 0 && found.st_size % page_size != 0;
}

bool is_ours(sqlite3* database, const std::string& file, DiskFailure& failure) {
  const std::int64_t id = integer_of(database, "PRAGMA application_id", -1);
  if (id < 0) {
    const int code = sqlite3_errcode(database) & 0xFF;
    failure = disk_failure(database, file);
    if (code == SQLITE_NOTADB || code == SQLITE_CORRUPT) failure.line += kRestore;
    return false;
  }
  const int format = format_of(database);
  if (id != kApplicationId) {
    failure = refusal(file + ": not a configuration log; name another data directory");
  } else if (format < kOldestFormat || format > kNewestFormat) {
    failure =
        refusal(file + ": written in format " + std::to_string(format) + ", this program knows " +
                std::to_string(kNewestFormat) + "; use the program that wrote it");
  } else if (is_cut_short(database, file)) {
    failure = refusal(file + ": damaged: it was cut short" + kRestore);
  } else {
    failure = {};
    return true;
  }
  return false;
}

// What SQLite says of its last failure.
std::string words_of(sqlite3* database) {
  const int code = database != nullptr ? sqlite3_errcode(database) & 0xFF : SQLITE_CANTOPEN;
  if (code == SQLITE_NOTADB) return "not a database";
  if (code == SQLITE_CORRUPT) return "damaged";
  if (database == nullptr) return "cannot be opened";
  const int system_error = sqlite3_system_errno(database);
  const bool has_cause = code == SQLITE_IOERR || code == SQLITE_CANTOPEN;
  return sqlite3_errmsg(database) +
         (has_cause && system_error != 0 ? std::string(": ") + std::strerror(system_error) : "");
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

}  // namespace

std::string log_file(const std::string& directory) { return directory + "/nexa.db"; }

text::Failure failure_of(const DiskFailure& failure, const std::string& file) {
  constexpr std::string_view kBetween = ": ";
  // The name may have the same in it.
  const std::size_t end = failure.line.find(kBetween, file.size());
  if (end == std::string::npos) return text::unusable("", failure.line);
  return text::unusable(failure.line.substr(0, end), failure.line.substr(end + kBetween.size()));
}

text::Failure database_failure(sqlite3* database, const std::string& file) {
  return text::unusable(file, words_of(database));
}

std::string database_error(sqlite3* database, const std::string& file) {
  return file + ": " + words_of(database);
}

DiskFailure disk_failure(sqlite3* database, const std::string& file, int result) {
  const int last_error = errno;
  const std::string line = database_error(database, file);
  if (database == nullptr) return {Kind::kDisk, false, "cannot be opened", line};
  const int kept_error = sqlite3_system_errno(database);
  const int system_error = kept_error != 0 ? kept_error : last_error;
  const int code = result != 0 ? result : sqlite3_extended_errcode(database);
  const int kind = code & 0xFF;
  const bool sync_failed = code == SQLITE_IOERR_FSYNC || code == SQLITE_IOERR_DIR_FSYNC;
  const bool has_cause = kind == SQLITE_IOERR || kind == SQLITE_CANTOPEN;
  if (kind == SQLITE_FULL || (has_cause && is_full(system_error))) {
    return {Kind::kFull, sync_failed, kFull, line};
  }
  if (has_cause || kind == SQLITE_READONLY || kind == SQLITE_PERM) {
    return {Kind::kDisk, sync_failed,
            has_cause && system_error != 0 ? std::strerror(system_error) : sqlite3_errstr(code),
            line};
  }
  return {Kind::kOther, sync_failed, line, line};
}

DatabasePtr connect_to_log(const LogOptions& options, const std::string& name, int flags) {
  sqlite3* handle = nullptr;
  const int result = sqlite3_open_v2(name.c_str(), &handle, flags | SQLITE_OPEN_FULLMUTEX,
                                     options.vfs.empty() ? nullptr : options.vfs.c_str());
  DatabasePtr database(handle);
  if (result != SQLITE_OK) return nullptr;
  sqlite3_extended_result_codes(handle, 1);
  sqlite3_busy_timeout(handle, kPatience);
  // Closing must not write either: a connection is also closed because the disk cannot be trusted.
  sqlite3_db_config(handle, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
  sqlite3_wal_autocheckpoint(handle, 0);
  return database;
}

DatabasePtr open_log_writer(const LogOptions& options, DiskFailure& failure) {
  const std::string file = log_file(options.directory);
  if (!file_is_there(file, failure) &&
      (failure.kind != Kind::kNone || !create(options, file, failure))) {
    return nullptr;
  }
  errno = 0;
  DatabasePtr database = connect_to_log(options, file, SQLITE_OPEN_READWRITE);
  if (database == nullptr) {
    failure = disk_failure(nullptr, file);
    return nullptr;
  }
  if (!is_ours(database.get(), file, failure)) return nullptr;
  if (execute(database.get(), "PRAGMA journal_mode = WAL") != SQLITE_OK ||
      execute(database.get(), options.sync ? "PRAGMA synchronous = FULL"
                                           : "PRAGMA synchronous = OFF") != SQLITE_OK) {
    failure = disk_failure(database.get(), file);
    return nullptr;
  }
  // A file that is write-protected, or whose header asks for a newer SQLite, opens all the same.
  if (sqlite3_db_readonly(database.get(), "main") == 1) {
    failure = disk_failure(database.get(), file, SQLITE_READONLY);
    return nullptr;
  }
  return database;
}

text::Result<DatabasePtr> open_log_reader(const LogOptions& options) {
  const std::string file = log_file(options.directory);
  DiskFailure failure;
  if (!file_is_there(file, failure)) return failure_of(failure, file);
  DatabasePtr database = connect_to_log(options, file, SQLITE_OPEN_READONLY);
  if (database == nullptr) return database_failure(nullptr, file);
  if (is_ours(database.get(), file, failure)) return database;
  // SQLite makes files beside a log that it only reads, which may be impossible here.
  if (failure.kind == Kind::kFull || failure.kind == Kind::kDisk) {
    const bool copied = has_journal(file);
    database.reset();
    database = copied ? copy_log(options, file)
                      : connect_to_log(options, immutable_uri(file),
                                       SQLITE_OPEN_READONLY | SQLITE_OPEN_URI);
    if (database != nullptr && is_ours(database.get(), file, failure)) return database;
  }
  return failure_of(failure, file);
}

int format_of(sqlite3* database) {
  return static_cast<int>(integer_of(database, "PRAGMA user_version", 0));
}

}  // namespace nexa::store
