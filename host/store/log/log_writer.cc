// A log of an older format becomes one of the newest in one transaction: all of it or none.
#include "store/log/log_writer.h"

#include <sys/stat.h>

#include "store/log/durability.h"
#include "store/log/log_rows.h"

namespace nexa::store {
namespace {

bool journal_is_there(const LogOptions& options) {
  struct stat journal {};
  return stat((log_file(options.directory) + "-wal").c_str(), &journal) == 0 && journal.st_size > 0;
}

// One that fails is rolled back when the connection closes: to do it here would hide why.
int upgrade(sqlite3* database) {
  int result = execute(database, "BEGIN IMMEDIATE");
  if (result == SQLITE_OK) result = execute(database, upgrade_tables(format_of(database)).c_str());
  return result == SQLITE_OK ? execute(database, "COMMIT") : result;
}

int take_length(void* pages, sqlite3* /*database*/, const char* /*name*/, int length) {
  static_cast<std::atomic<int>*>(pages)->store(length, std::memory_order_relaxed);
  return SQLITE_OK;
}

}  // namespace

void follow_journal(sqlite3* database, std::atomic<int>& journal_pages) {
  sqlite3_wal_hook(database, take_length, &journal_pages);
}

LogWriter::LogWriter(DatabasePtr database)
    : database_(std::move(database)),
      begin_(database_.get(), "BEGIN IMMEDIATE", true),
      commit_(database_.get(), "COMMIT", true),
      insert_(database_.get(),
              "INSERT INTO commits(number, time_ns, author, comment, whole, change, hash, effect) "
              "VALUES(?, ?, ?, ?, ?, ?, ?, ?)",
              true),
      update_head_(database_.get(),
                   "UPDATE head SET number = ?, commit_hash = ?, hash = ? WHERE id = 0", true) {}

std::unique_ptr<LogWriter> LogWriter::open(const LogOptions& options, bool rewrite,
                                           std::atomic<int>& journal_pages, DiskFailure& failure) {
  const std::string file = log_file(options.directory);
  // What an earlier process left in the journal may never have been synced, or not with success.
  const bool left = rewrite && journal_is_there(options);
  DatabasePtr database = open_log_writer(options, failure);
  if (database == nullptr) return nullptr;
  int result = confirm_log(database.get(), options, left);
  if (result == SQLITE_OK && format_of(database.get()) < kNewestFormat) {
    result = upgrade(database.get());
  }
  if (result != SQLITE_OK) {
    failure = disk_failure(database.get(), file, result);
    return nullptr;
  }
  follow_journal(database.get(), journal_pages);
  std::unique_ptr<LogWriter> writer(new LogWriter(std::move(database)));
  for (const Statement* const statement :
       {&writer->begin_, &writer->commit_, &writer->insert_, &writer->update_head_}) {
    if (statement->ok()) continue;
    failure = disk_failure(writer->database(), file);
    return nullptr;
  }
  return writer;
}

void LogWriter::rollback() {
  if (sqlite3_get_autocommit(database()) == 0) execute(database(), "ROLLBACK");
}

int LogWriter::append(const LogEntry& entry, const std::string& hash) {
  insert_.bind(1, signed_number(entry.number))
      .bind(2, entry.time_ns)
      .bind(3, std::string_view(entry.author))
      .bind(4, std::string_view(entry.comment))
      .bind(5, std::int64_t{entry.whole ? 1 : 0})
      .bind_blob(7, hash);
  bind_stored(insert_, 6, entry.change);
  bind_stored(insert_, 8, entry.effect);
  if (const int result = insert_.run(); result != SQLITE_OK) return result;
  const std::string head_hash = head_digest(entry.number, hash);
  return update_head_.bind(1, signed_number(entry.number))
      .bind_blob(2, hash)
      .bind_blob(3, head_hash)
      .run();
}

int LogWriter::change(const PendingChange& change) {
  if (change.kind == PendingChange::Kind::kKeep) return SQLITE_OK;
  if (change.kind == PendingChange::Kind::kClear) return execute(database(), "DELETE FROM pending");
  const LogPending& pending = change.pending;
  const std::string hash = pending_digest(pending);
  Statement row(database(), "INSERT OR REPLACE INTO pending VALUES(0, ?, ?, ?, ?, ?, ?)");
  return row.bind(1, signed_number(pending.number))
      .bind(2, signed_number(pending.base))
      .bind(3, std::string_view(pending.id))
      .bind(4, pending.deadline_ns)
      .bind(5, pending.duration_ns)
      .bind_blob(6, hash)
      .run();
}

bool LogWriter::read_pending(std::optional<LogPending>& pending) {
  return store::read_pending(database(), kNewestFormat, pending) == SQLITE_OK;
}

bool LogWriter::read_head(std::uint64_t& number, std::string& hash) {
  Statement row(database(), "SELECT number, commit_hash, hash FROM head");
  if (row.step() != SQLITE_ROW) return false;
  number = static_cast<std::uint64_t>(row.integer(0));
  hash = row.text(1);
  return head_digest(number, hash) == row.view(2);
}

void LogWriter::tidy_up_at_the_end() {
  sqlite3_db_config(database(), SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 0, nullptr);
}

}  // namespace nexa::store
