// Reading, through a connection of its own: it goes on while commits wait for the disk, and while
// nothing can be written. What lies beyond the newest commit that is known does not count.
#include "store/log/commit_log.h"

#include <algorithm>

#include "store/log/log_rows.h"
#include "store/log/log_verify.h"
#include "store/log/packed_text.h"

namespace nexa::store {
namespace {

using Code = LogResult::Code;

text::Failure not_kept(std::uint64_t number) {
  return text::unusable("", "commit " + std::to_string(number) + " is not kept");
}

text::Failure mismatch(const std::string& file, const char* kind, std::uint64_t number) {
  return text::unusable(file, std::string("damaged: ") + kind + " " + std::to_string(number) +
                                  " does not match its checksum" + kRestore);
}

// Empty when the commit is not kept.
std::string hash_in(sqlite3* database, std::uint64_t number) {
  Statement row(database,
                "SELECT hash FROM commits WHERE number = ?1 UNION ALL "
                "SELECT commit_hash FROM snapshots WHERE number = ?1");
  return row.bind(1, signed_number(number)).step() == SQLITE_ROW ? row.text(0) : std::string();
}

// The commits from `after` + 1 to `last`; `hash` is the checksum of commit `after`.
text::Done walk(sqlite3* database, const std::string& file, std::uint64_t after, std::uint64_t last,
                std::string hash, const std::function<bool(const LogEntry&)>& each) {
  Statement rows(database, select_commits(format_of(database),
                                          "WHERE number > ? AND number <= ? ORDER BY number"));
  rows.bind(1, signed_number(after)).bind(2, signed_number(last));
  int result = rows.step();
  for (; result == SQLITE_ROW; result = rows.step()) {
    LogEntry entry = entry_of(rows);
    hash = commit_digest(hash, entry);
    if (entry.number != ++after || hash != rows.view(kEntryHash) || !unpack(entry)) {
      return entry.number != after ? not_kept(after) : mismatch(file, "commit", after);
    }
    if (!each(entry)) return {};
  }
  if (result == SQLITE_DONE && after == last) return {};
  return result == SQLITE_DONE ? not_kept(after + 1) : database_failure(database, file);
}

}  // namespace

std::string CommitLog::hash_of(std::uint64_t number) const {
  if (const WitnessedCommit newest_commit = newest(); number == newest_commit.number) {
    return newest_commit.hash;
  }
  const std::lock_guard<std::mutex> lock(reading_);
  return hash_in(reader_.get(), number);
}

bool CommitLog::newest_image(const std::string& schema_hash, std::uint64_t number,
                             LogSnapshot& image) const {
  number = std::min(number, head());
  const std::lock_guard<std::mutex> lock(reading_);
  if (image_) {
    image = std::move(*image_);
    image_.reset();
    if (image.number <= number && image.schema_hash == schema_hash) return true;
  }
  image = LogSnapshot();
  if (format_ == 1) return false;
  Statement row(reader_.get(), select_images("WHERE number <= ? ORDER BY number DESC LIMIT 1"));
  row.bind(1, signed_number(number));
  if (row.step() == SQLITE_ROW && read_image(reader_.get(), row, image) == SQLITE_OK &&
      image.schema_hash == schema_hash &&
      hash_in(reader_.get(), image.number) == image.commit_hash) {
    return true;
  }
  image = LogSnapshot();
  return false;
}

text::Done CommitLog::replay_after(std::uint64_t number,
                                   const std::function<bool(const LogEntry&)>& each) const {
  const std::uint64_t last = head();
  const std::string hash = hash_of(number);
  if (hash.empty() || number > last) return not_kept(number + 1);
  const std::lock_guard<std::mutex> lock(reading_);
  return walk(reader_.get(), log_file(options_.directory), number, last, hash, each);
}

text::Done CommitLog::replay(std::uint64_t number, LogSnapshot& base,
                             const std::function<bool(const LogEntry&)>& each) const {
  const std::string file = log_file(options_.directory);
  const std::uint64_t last = head();
  const std::lock_guard<std::mutex> lock(reading_);
  image_.reset();
  Statement row(reader_.get(),
                select_snapshots(format_, "WHERE number <= ? ORDER BY number DESC LIMIT 1"));
  if (number > last || row.bind(1, signed_number(number)).step() != SQLITE_ROW) {
    return not_kept(number);
  }
  base = LogSnapshot();
  const int result = read_snapshot(reader_.get(), row, base);
  if (result != SQLITE_OK) {
    return result == SQLITE_MISMATCH ? mismatch(file, "snapshot", base.number)
                                     : database_failure(reader_.get(), file);
  }
  return walk(reader_.get(), file, base.number, number, base.commit_hash, each);
}

LogResult CommitLog::number_before(std::int64_t time_ns, std::uint64_t& number,
                                   bool& is_kept) const {
  const std::uint64_t last = head();
  const std::lock_guard<std::mutex> lock(reading_);
  // What is older than the oldest snapshot is no part of the log any more.
  const std::int64_t oldest = integer_of(reader_.get(), "SELECT min(number) FROM snapshots", -1);
  if (oldest < 0) {
    return {Code::kFailed, database_error(reader_.get(), log_file(options_.directory))};
  }
  Statement row(reader_.get(),
                "SELECT number FROM commits WHERE number <= ? AND number >= ? AND time_ns < ? "
                "ORDER BY number DESC LIMIT 1");
  row.bind(1, signed_number(last)).bind(2, oldest).bind(3, time_ns);
  const int result = row.step();
  is_kept = result == SQLITE_ROW || oldest == 0;
  number = result == SQLITE_ROW ? static_cast<std::uint64_t>(row.integer(0)) : 0;
  if (result == SQLITE_ROW || result == SQLITE_DONE) return {};
  return {Code::kFailed, database_error(reader_.get(), log_file(options_.directory))};
}

LogResult CommitLog::history(std::size_t limit, std::vector<CommitRecord>& out) const {
  out.clear();
  const std::uint64_t last = head();
  const std::lock_guard<std::mutex> lock(reading_);
  Statement rows(reader_.get(),
                 "SELECT number, time_ns, author, comment, change "
                 "FROM commits WHERE number <= ? AND number > (SELECT min(number) FROM snapshots) "
                 "ORDER BY number DESC LIMIT ?");
  rows.bind(1, signed_number(last))
      .bind(2, limit == 0 ? std::int64_t{-1} : static_cast<std::int64_t>(limit));
  int result = rows.step();
  for (; result == SQLITE_ROW; result = rows.step()) {
    CommitRecord record;
    record.number = static_cast<std::uint64_t>(rows.integer(0));
    record.time_ns = rows.integer(1);
    record.author = rows.text(2);
    record.comment = rows.text(3);
    record.change_bytes = unpacked_size(rows.view(4));
    out.push_back(std::move(record));
  }
  if (result == SQLITE_DONE) return {};
  out.clear();
  return {Code::kFailed, database_error(reader_.get(), log_file(options_.directory))};
}

text::Done CommitLog::entry(std::uint64_t number, LogEntry& entry) const {
  const std::uint64_t last = head();
  const std::lock_guard<std::mutex> lock(reading_);
  const std::string before =
      number == 0 || number > last ? std::string() : hash_in(reader_.get(), number - 1);
  if (before.empty()) return not_kept(number);
  const auto take = [&entry](const LogEntry& found) {
    entry = found;
    return true;
  };
  return walk(reader_.get(), log_file(options_.directory), number - 1, number, before, take);
}

std::string CommitLog::schema() const {
  const std::lock_guard<std::mutex> lock(reading_);
  Statement row(reader_.get(), "SELECT modules FROM schema");
  return row.step() == SQLITE_ROW ? row.text(0) : std::string();
}

std::uint64_t CommitLog::newest_snapshot() const { return tail().snapshot; }

text::Done CommitLog::verify_history(const std::atomic<bool>* stop) const {
  text::Result<DatabasePtr> database = open_log_reader(options_);
  if (!database.ok()) return std::move(database).failure();
  VerifiedLog found;
  return verify_all(database.value().get(), log_file(options_.directory), stop, found);
}

}  // namespace nexa::store
