// One connection, one transaction at a time. When SQLite cannot say whether a commit reached the
// disk, the file is closed and read again: what a later start would find is what counts.
#include "store/log/commit_log.h"

#include <cerrno>
#include <filesystem>

#include "store/log/log_database.h"

namespace nexa::host {
namespace {

constexpr char kDiskFull[] = "the disk is full";
constexpr char kClosed[] = "the log is closed after a failure";
constexpr char kGoOn[] =
    "; restore a copy of the directory, or go on with what is there by removing ";
constexpr char kBeginAnew[] = "; restore a copy of the directory, or begin anew by removing ";
constexpr char kInsertCommit[] = "INSERT INTO commits VALUES(?, ?, ?, ?, ?, ?, ?)";
constexpr char kUpdateHead[] = "UPDATE head SET number = ?, commit_hash = ?, hash = ?";
constexpr char kSelectEntries[] =
    "SELECT number, time_ns, author, comment, whole, change FROM commits "
    "WHERE number > ? AND number <= ? ORDER BY number";
constexpr std::uint64_t kRecentSnapshots = 4;
constexpr std::uint64_t kThinning = 10;

using Code = LogResult::Code;

bool is_full(int result, int system_error) {
  return (result & 0xFF) == SQLITE_FULL ||
         ((result & 0xFF) == SQLITE_IOERR &&
          (system_error == ENOSPC || system_error == EDQUOT || system_error == EFBIG));
}

std::int64_t signed_number(std::uint64_t number) { return static_cast<std::int64_t>(number); }

int done(Statement& statement) {
  const int result = statement.step();
  return result == SQLITE_DONE ? SQLITE_OK : result;
}

}  // namespace

CommitLog::CommitLog(LogOptions options, DatabasePtr database)
    : options_(std::move(options)),
      witness_(options_.directory, options_.read_only),
      database_(std::move(database)) {}

CommitLog::~CommitLog() = default;

std::unique_ptr<CommitLog> CommitLog::open(const LogOptions& options, std::string& error) {
  const std::string file = log_file(options.directory);
  // Read before the log: another process may be adding to both.
  const auto witnessed = CommitWitness(options.directory, true).read();
  if (witnessed && witnessed->number > 0 && !std::filesystem::exists(file)) {
    error = file + ": missing, commit " + std::to_string(witnessed->number) + " was in it" +
            kBeginAnew + witness_file(options.directory);
    return nullptr;
  }
  DatabasePtr database = open_log_database(options, error);
  if (database == nullptr || !verify_log(database.get(), file, error)) return nullptr;
  std::unique_ptr<CommitLog> log(new CommitLog(options, std::move(database)));
  if (!log->read_head()) {
    error = database_error(log->database_.get(), file);
    return nullptr;
  }
  if (witnessed && !log->check_witness(*witnessed, error)) return nullptr;
  log->bear_witness();
  return log;
}

bool CommitLog::read_head() {
  Statement row(database_.get(), "SELECT number, commit_hash FROM head");
  if (row.step() != SQLITE_ROW) return false;
  head_ = static_cast<std::uint64_t>(row.integer(0));
  head_hash_ = row.text(1);
  return true;
}

// Empty when the commit is not kept.
std::string CommitLog::hash_of(std::uint64_t number) const {
  if (number == head_) return head_hash_;
  Statement row(database_.get(),
                "SELECT hash FROM commits WHERE number = ?1 UNION ALL "
                "SELECT commit_hash FROM snapshots WHERE number = ?1");
  return row.bind(1, signed_number(number)).step() == SQLITE_ROW ? row.text(0) : std::string();
}

void CommitLog::bear_witness() const {
  if (!options_.read_only) witness_.write({head_, head_hash_});
}

// Whether the commit that was the newest once is in the log.
bool CommitLog::check_witness(const WitnessedCommit& witnessed, std::string& error) const {
  const std::string number = std::to_string(witnessed.number);
  const std::string file = log_file(options_.directory);
  if (head_ < witnessed.number) {
    error = file + ": damaged: it ends with commit " + std::to_string(head_) + ", commit " +
            number + " was in it";
  } else if (const std::string hash = hash_of(witnessed.number);
             !hash.empty() && hash != witnessed.hash) {
    error = file + ": damaged: commit " + number + " is not the one that was in it";
  } else {
    return true;
  }
  error.append(kGoOn).append(witness_file(options_.directory));
  return false;
}

std::uint64_t CommitLog::head() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return head_;
}

LogResult CommitLog::failure() const {
  // SQLite does not keep the cause of every failed write; errno is of this transaction then.
  const int last_error = errno;
  const int kept_error = sqlite3_system_errno(database_.get());
  const int result = sqlite3_extended_errcode(database_.get());
  if (is_full(result, kept_error != 0 ? kept_error : last_error)) return {Code::kFull, kDiskFull};
  return {Code::kFailed, database_error(database_.get(), log_file(options_.directory))};
}

// kUnknown when the failure came from the commit itself.
LogResult CommitLog::transaction(const std::function<int()>& work) {
  if (database_ == nullptr) return {Code::kFailed, kClosed};
  errno = 0;
  if (execute(database_.get(), "BEGIN IMMEDIATE") != SQLITE_OK) return failure();
  if (work() != SQLITE_OK) {
    LogResult result = failure();
    if (sqlite3_get_autocommit(database_.get()) == 0) execute(database_.get(), "ROLLBACK");
    return result;
  }
  if (execute(database_.get(), "COMMIT") == SQLITE_OK) return {};
  const LogResult result = failure();
  return {Code::kUnknown, result.text};
}

LogResult CommitLog::reopen() {
  database_.reset();
  std::string error;
  DatabasePtr database = open_log_database(options_, error);
  if (database == nullptr) return {Code::kUnknown, error};
  database_ = std::move(database);
  const WitnessedCommit before{head_, head_hash_};
  if (!read_head()) {
    error = log_file(options_.directory) + ": cannot be read";
  } else if (check_witness(before, error)) {
    bear_witness();
    return {};
  }
  database_.reset();
  head_ = before.number;
  head_hash_ = before.hash;
  return {Code::kUnknown, error};
}

LogResult CommitLog::settle() {
  const std::lock_guard<std::mutex> lock(mutex_);
  return database_ != nullptr ? LogResult() : reopen();
}

int CommitLog::run_append(const LogEntry& entry, const std::string& hash) {
  Statement insert(database_.get(), kInsertCommit);
  if (const int result = done(bind_entry(insert, entry).bind_blob(7, hash)); result != SQLITE_OK) {
    return result;
  }
  const std::string head_hash = head_digest(entry.number, hash);
  Statement update(database_.get(), kUpdateHead);
  update.bind(1, signed_number(entry.number)).bind_blob(2, hash).bind_blob(3, head_hash);
  return done(update);
}

LogResult CommitLog::append(const LogEntry& entry) {
  const std::lock_guard<std::mutex> lock(mutex_);
  if (database_ == nullptr) {
    if (const LogResult opened = reopen(); !opened.ok()) return {Code::kFailed, opened.text};
  }
  if (entry.number != head_ + 1) return {Code::kFailed, "commits are numbered without gaps"};
  const std::string hash = commit_digest(head_hash_, entry);
  if (hash.empty()) return {Code::kFailed, "no checksum could be made"};
  LogResult result = transaction([&] { return run_append(entry, hash); });
  if (result.code == Code::kUnknown) {
    const std::string text = result.text;
    result = reopen();
    if (result.ok() && head_ != entry.number) {
      return {text == kDiskFull ? Code::kFull : Code::kFailed, text};
    }
    return result;
  }
  if (!result.ok()) return result;
  head_ = entry.number;
  head_hash_ = hash;
  bear_witness();
  return result;
}

LogResult CommitLog::write_snapshot(std::uint64_t number, const std::string& config,
                                    const LogLimits& limits) {
  const std::lock_guard<std::mutex> lock(mutex_);
  if (database_ == nullptr) return {Code::kFailed, kClosed};
  LogSnapshot snapshot;
  snapshot.number = number;
  snapshot.config = config;
  if (number == head_) {
    snapshot.commit_hash = head_hash_;
  } else {
    Statement row(database_.get(), "SELECT hash FROM commits WHERE number = ?");
    if (row.bind(1, signed_number(number)).step() != SQLITE_ROW) {
      return {Code::kFailed, "commit " + std::to_string(number) + " is not kept"};
    }
    snapshot.commit_hash = row.text(0);
  }
  const LogResult result = transaction([&] { return run_snapshot(snapshot, limits); });
  // A snapshot that was not written, or was although it seems not, changes no configuration.
  if (result.code == Code::kUnknown) static_cast<void>(reopen());
  return result.code == Code::kUnknown ? LogResult{Code::kFailed, result.text} : result;
}

int CommitLog::run_snapshot(const LogSnapshot& snapshot, const LogLimits& limits) {
  const std::string hash = snapshot_digest(snapshot);
  if (hash.empty()) return SQLITE_NOMEM;
  Statement insert(database_.get(), "INSERT OR REPLACE INTO snapshots VALUES(?, ?, ?, ?)");
  insert.bind(1, signed_number(snapshot.number))
      .bind_blob(2, snapshot.commit_hash)
      .bind(3, std::string_view(snapshot.config))
      .bind_blob(4, hash);
  if (const int result = done(insert); result != SQLITE_OK) return result;
  return prune(snapshot.number, limits);
}

int CommitLog::prune(std::uint64_t newest, const LogLimits& limits) {
  std::vector<std::uint64_t> numbers;
  Statement rows(database_.get(), "SELECT number FROM snapshots ORDER BY number");
  int result = rows.step();
  for (; result == SQLITE_ROW; result = rows.step()) {
    numbers.push_back(static_cast<std::uint64_t>(rows.integer(0)));
  }
  if (result != SQLITE_DONE) return result;
  std::uint64_t base = numbers.front();
  for (const std::uint64_t number : numbers) {
    if (limits.history != 0 && number + limits.history <= newest) base = number;
  }
  if (base != numbers.front()) {
    if (result = drop_before(base); result != SQLITE_OK) return result;
  }
  std::uint64_t kept = base;
  for (std::size_t i = 0; i + kRecentSnapshots < numbers.size(); ++i) {
    if (numbers[i] <= base) continue;
    if (numbers[i] - kept >= kThinning * limits.interval) {
      kept = numbers[i];
      continue;
    }
    Statement drop(database_.get(), "DELETE FROM snapshots WHERE number = ?");
    if (result = done(drop.bind(1, signed_number(numbers[i]))); result != SQLITE_OK) return result;
  }
  return SQLITE_OK;
}

// The snapshot of `base` becomes what the log begins with.
int CommitLog::drop_before(std::uint64_t base) {
  Statement commits(database_.get(), "DELETE FROM commits WHERE number <= ?");
  if (const int result = done(commits.bind(1, signed_number(base))); result != SQLITE_OK) {
    return result;
  }
  Statement snapshots(database_.get(), "DELETE FROM snapshots WHERE number < ?");
  return done(snapshots.bind(1, signed_number(base)));
}

std::uint64_t CommitLog::newest_snapshot() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  Statement row(database_.get(), "SELECT max(number) FROM snapshots");
  return row.step() == SQLITE_ROW ? static_cast<std::uint64_t>(row.integer(0)) : 0;
}

bool CommitLog::replay(std::uint64_t number, LogSnapshot& base,
                       const std::function<bool(const LogEntry&)>& each, std::string& error) const {
  const std::lock_guard<std::mutex> lock(mutex_);
  const std::string file = log_file(options_.directory);
  if (database_ == nullptr) {
    error = kClosed;
    return false;
  }
  Statement row(database_.get(),
                "SELECT number, commit_hash, config FROM snapshots WHERE number <= ? "
                "ORDER BY number DESC LIMIT 1");
  if (number > head_ || row.bind(1, signed_number(number)).step() != SQLITE_ROW) {
    error = "commit " + std::to_string(number) + " is not kept";
    return false;
  }
  base.number = static_cast<std::uint64_t>(row.integer(0));
  base.commit_hash = row.text(1);
  base.config = row.text(2);
  Statement rows(database_.get(), kSelectEntries);
  rows.bind(1, signed_number(base.number)).bind(2, signed_number(number));
  int result = rows.step();
  for (; result == SQLITE_ROW; result = rows.step()) {
    if (!each(entry_of(rows))) return true;
  }
  if (result == SQLITE_DONE) return true;
  error = database_error(database_.get(), file);
  return false;
}

LogResult CommitLog::history(std::size_t limit, std::vector<CommitRecord>& out) const {
  out.clear();
  const std::lock_guard<std::mutex> lock(mutex_);
  if (database_ == nullptr) return {Code::kFailed, kClosed};
  Statement rows(database_.get(),
                 "SELECT number, time_ns, author, comment, length(CAST(change AS BLOB)) "
                 "FROM commits ORDER BY number DESC LIMIT ?");
  rows.bind(1, limit == 0 ? std::int64_t{-1} : static_cast<std::int64_t>(limit));
  int result = rows.step();
  for (; result == SQLITE_ROW; result = rows.step()) {
    CommitRecord record;
    record.number = static_cast<std::uint64_t>(rows.integer(0));
    record.time_ns = rows.integer(1);
    record.author = rows.text(2);
    record.comment = rows.text(3);
    record.change_bytes = static_cast<std::size_t>(rows.integer(4));
    out.push_back(std::move(record));
  }
  if (result == SQLITE_DONE) return {};
  out.clear();
  return failure();
}

bool CommitLog::entry(std::uint64_t number, LogEntry& entry, std::string& error) const {
  const std::lock_guard<std::mutex> lock(mutex_);
  if (database_ == nullptr) {
    error = kClosed;
    return false;
  }
  Statement row(database_.get(), kSelectEntries);
  if (number != 0 &&
      row.bind(1, signed_number(number - 1)).bind(2, signed_number(number)).step() == SQLITE_ROW) {
    entry = entry_of(row);
    return true;
  }
  error = "commit " + std::to_string(number) + " is not kept";
  return false;
}

std::string CommitLog::schema() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  Statement row(database_.get(), "SELECT modules FROM schema");
  return row.step() == SQLITE_ROW ? row.text(0) : std::string();
}

LogResult CommitLog::set_schema(const std::string& text) {
  const std::lock_guard<std::mutex> lock(mutex_);
  const std::string hash = schema_digest(text);
  return transaction([&] {
    Statement row(database_.get(), "INSERT OR REPLACE INTO schema VALUES(0, ?, ?)");
    return done(row.bind(1, std::string_view(text)).bind_blob(2, hash));
  });
}

}  // namespace nexa::host
