// Snapshots, what they make needless, and checkpoints: each job through a connection of its own, in
// transactions so short that a commit hardly waits for one.
//
// A long text is written as parts, a transaction each; a last transaction makes the snapshot of
// them. Parts that belong to no snapshot were left by one that was not finished.
//
// These transactions are not synced one by one: a sync of the journal vouches for all before it, so
// the next commit's would wait for them. They are flushed in between, outside of every lock.
#include <algorithm>
#include <cerrno>

#include "store/log/commit_log.h"
#include "store/log/log_rows.h"
#include "store/log/packed_text.h"
#include "store/log/patient_work.h"

namespace nexa::store {
namespace {

constexpr std::size_t kRecentSnapshots = 4;
constexpr std::uint64_t kThinning = 10;
constexpr int kPartsAtATime = 8;
constexpr int kCommitsAtATime = 50;
constexpr int kPassesBesideCommits = 2;
constexpr int kLongJournalPages = 16000;  // its file shall shrink as well
constexpr int kReadersPatience = 20;      // milliseconds, with the lock held: for that alone

using Code = LogResult::Code;

constexpr char kLeftParts[] =
    "FROM parts WHERE part_of NOT IN (SELECT parts FROM snapshots UNION SELECT parts FROM images)";
constexpr char kLeftCommits[] = "FROM commits WHERE number <= (SELECT min(number) FROM snapshots)";

// A function of its own: the end of a statement that succeeded hides why a later one failed.
int snapshot_numbers(sqlite3* database, std::vector<std::uint64_t>& numbers) {
  Statement rows(database, "SELECT number FROM snapshots ORDER BY number");
  int result = rows.step();
  for (; result == SQLITE_ROW; result = rows.step()) {
    numbers.push_back(static_cast<std::uint64_t>(rows.integer(0)));
  }
  return result == SQLITE_DONE ? SQLITE_OK : result;
}

int drop_snapshots(sqlite3* database, std::uint64_t newest, const LogLimits& limits) {
  std::vector<std::uint64_t> numbers;
  int result = snapshot_numbers(database, numbers);
  if (result != SQLITE_OK) return result;
  // What the log begins with.
  std::uint64_t base = numbers.front();
  for (const std::uint64_t number : numbers) {
    if (limits.history != 0 && number + limits.history <= newest) base = number;
  }
  Statement drop(database, "DELETE FROM snapshots WHERE number = ?");
  const std::uint64_t recent = numbers[numbers.size() - std::min(numbers.size(), kRecentSnapshots)];
  std::uint64_t kept = base;
  for (const std::uint64_t number : numbers) {
    if (number >= base) {
      if (number >= recent) break;
      if (number == base || number - kept >= kThinning * limits.interval) {
        kept = number;
        continue;
      }
    }
    if (result = drop.bind(1, signed_number(number)).run(); result != SQLITE_OK) return result;
  }
  return execute(database,
                 "DELETE FROM images WHERE number NOT IN (SELECT number FROM snapshots) OR number "
                 "NOT IN (SELECT number FROM images ORDER BY number DESC LIMIT 2)");
}

int insert_snapshot(sqlite3* database, const LogSnapshot& snapshot, std::int64_t parts,
                    const std::string& hash) {
  Statement row(database,
                "INSERT OR REPLACE INTO snapshots(number, commit_hash, config, parts, hash) "
                "VALUES(?, ?, ?, ?, ?)");
  row.bind(1, signed_number(snapshot.number)).bind_blob(2, snapshot.commit_hash);
  bind_stored(row, 3, parts == 0 ? std::string_view(snapshot.config) : std::string_view());
  return row.bind(4, parts).bind_blob(5, hash).run();
}

int insert_image(sqlite3* database, const LogSnapshot& image, std::int64_t parts,
                 const std::string& hash) {
  Statement drop(database, "DELETE FROM images WHERE number = ?");
  const int result = drop.bind(1, signed_number(image.number)).run();
  if (result != SQLITE_OK || image.schema_hash.empty()) return result;
  Statement row(database,
                "INSERT INTO images(number, commit_hash, schema, judged, image, parts, hash) "
                "VALUES(?, ?, ?, ?, ?, ?, ?)");
  row.bind(1, signed_number(image.number))
      .bind_blob(2, image.commit_hash)
      .bind_blob(3, image.schema_hash)
      .bind(4, std::int64_t{image.judged ? 1 : 0});
  bind_stored(row, 5, parts == 0 ? std::string_view(image.image) : std::string_view());
  return row.bind(6, parts).bind_blob(7, hash).run();
}

bool is_there(sqlite3* database, const char* from) {
  Statement row(database, std::string("SELECT 1 ").append(from).append(" LIMIT 1"));
  return row.step() == SQLITE_ROW;
}

}  // namespace

DatabasePtr CommitLog::connect(LogResult& result) {
  {
    const std::lock_guard<FairMutex> lock(mutex_);
    if (writer_ == nullptr || in_doubt_) {
      const std::lock_guard<std::mutex> notes(notes_);
      result = obstacle_;
      return nullptr;
    }
  }
  const std::string file = log_file(options_.directory);
  DatabasePtr database = connect_to_log(options_, file, SQLITE_OPEN_READWRITE);
  if (database == nullptr ||
      execute(database.get(), options_.sync ? "PRAGMA synchronous = NORMAL"
                                            : "PRAGMA synchronous = OFF") != SQLITE_OK) {
    result = {Code::kFailed, database_error(database.get(), file)};
    return nullptr;
  }
  follow_journal(database.get(), journal_pages_);
  return database;
}

// The next append finds out what is on the disk. With `mutex_`.
LogResult CommitLog::failed_beside(sqlite3* database, int result) {
  const DiskFailure failure = disk_failure(database, log_file(options_.directory), result);
  doubt(failure);
  switch (failure.kind) {
    case DiskFailure::Kind::kFull:
      return {Code::kFull, failure.text};
    case DiskFailure::Kind::kNone:
    case DiskFailure::Kind::kDisk:
      return {Code::kUnavailable, "the disk does not confirm writes: " + failure.text};
    case DiskFailure::Kind::kOther:
      break;
  }
  return {Code::kFailed, failure.text};
}

LogResult CommitLog::short_transaction(sqlite3* database, const std::function<int()>& work) {
  const std::lock_guard<FairMutex> lock(mutex_);
  if (writer_ == nullptr || in_doubt_) {
    const std::lock_guard<std::mutex> notes(notes_);
    return obstacle_;
  }
  errno = 0;
  int result = execute(database, "BEGIN IMMEDIATE");
  if (result == SQLITE_OK) result = work();
  if (result == SQLITE_OK) result = execute(database, "COMMIT");
  if (result == SQLITE_OK) return {};
  LogResult failure = failed_beside(database, result);
  if (sqlite3_get_autocommit(database) == 0) execute(database, "ROLLBACK");
  return failure;
}

LogResult CommitLog::flush(sqlite3* database) {
  sqlite3_file* const journal = journal_file(database);
  if (!options_.sync || journal == nullptr) return {};
  errno = 0;
  const int result = journal->pMethods->xSync(journal, SQLITE_SYNC_NORMAL);
  if (result == SQLITE_OK) return {};
  const std::lock_guard<FairMutex> lock(mutex_);
  return failed_beside(database, result);
}

// `part_of` becomes 0 for a text that is short enough for a column.
LogResult CommitLog::write_parts(sqlite3* database, std::string_view text, std::int64_t& part_of) {
  part_of = 0;
  if (text.size() <= kPartSize) return {};
  part_of = integer_of(database, "SELECT max(part_of) FROM parts", 0) + 1;
  Statement insert(database, "INSERT INTO parts(part_of, bytes) VALUES(?, ?)", true);
  while (!text.empty()) {
    const std::string_view part = text.substr(0, kPartSize);
    LogResult result = short_transaction(
        database, [&] { return insert.bind(1, part_of).bind_blob(2, part).run(); });
    if (result.ok()) result = flush(database);
    if (result.ok() && checkpoint_due()) result = checkpoint_with(database);
    if (!result.ok()) return result;
    text.remove_prefix(part.size());
  }
  return {};
}

LogResult CommitLog::store_snapshot(sqlite3* database, const LogSnapshot& snapshot,
                                    const LogLimits& limits) {
  const std::string hash = snapshot_digest(snapshot);
  const std::string text_digest = image_text_digest(snapshot.image);
  const std::string row_digest = image_digest(snapshot, text_digest);
  if (hash.empty() || text_digest.empty() || row_digest.empty()) {
    return {Code::kFailed, "no checksum could be made"};
  }
  std::int64_t config_parts = 0;
  LogResult result = write_parts(database, snapshot.config, config_parts);
  std::int64_t image_parts = 0;
  if (result.ok() && !snapshot.schema_hash.empty()) {
    result = write_parts(database, snapshot.image, image_parts);
  }
  if (!result.ok()) return result;
  result = short_transaction(database, [&] {
    int done = insert_snapshot(database, snapshot, config_parts, hash);
    if (done == SQLITE_OK) {
      done = insert_image(database, snapshot, image_parts, text_digest + row_digest);
    }
    return done == SQLITE_OK ? drop_snapshots(database, snapshot.number, limits) : done;
  });
  return result.ok() ? flush(database) : result;
}

LogResult CommitLog::sweep(sqlite3* database) {
  const std::string drop_parts = std::string("DELETE FROM parts WHERE id IN (SELECT id ") +
                                 kLeftParts + " LIMIT " + std::to_string(kPartsAtATime) + ")";
  const std::string drop_commits =
      std::string("DELETE FROM commits WHERE number IN (SELECT number ") + kLeftCommits +
      " LIMIT " + std::to_string(kCommitsAtATime) + ")";
  for (const auto& [from, drop] :
       {std::pair(kLeftParts, drop_parts.c_str()), std::pair(kLeftCommits, drop_commits.c_str())}) {
    while (is_there(database, from)) {
      const char* const sql = drop;
      LogResult result = short_transaction(database, [&] { return execute(database, sql); });
      if (result.ok()) result = flush(database);
      if (result.ok() && checkpoint_due()) result = checkpoint_with(database);
      if (!result.ok()) return result;
    }
  }
  return {};
}

LogResult CommitLog::write_snapshot(LogSnapshot snapshot, const LogLimits& limits) {
  const std::lock_guard<std::mutex> maintenance(maintenance_);
  snapshot.commit_hash = snapshot.number <= head() ? hash_of(snapshot.number) : std::string();
  if (snapshot.commit_hash.empty()) {
    return {Code::kFailed, "commit " + std::to_string(snapshot.number) + " is not kept"};
  }
  LogResult result;
  const DatabasePtr database = connect(result);
  if (database == nullptr) return result;
  const std::size_t size = (snapshot.schema_hash.empty() ? snapshot.config : snapshot.image).size();
  do_patiently([&snapshot] {
    for (std::string* const text : {&snapshot.config, &snapshot.image}) {
      if (std::optional<std::string> packed = pack(*text)) *text = std::move(*packed);
    }
  });
  result = sweep(database.get());
  if (result.ok()) result = store_snapshot(database.get(), snapshot, limits);
  if (!result.ok()) return result;
  snapshot_stored(snapshot.number, size);
  // Both are tried again with the next snapshot.
  static_cast<void>(sweep(database.get()));
  if (checkpoint_due()) static_cast<void>(checkpoint_with(database.get()));
  return result;
}

void CommitLog::snapshot_stored(std::uint64_t number, std::uint64_t size) {
  std::uint64_t bytes = 0;
  static_cast<void>(replay_after(number, [&bytes](const LogEntry& entry) {
    bytes += weight_of(entry);
    return true;
  }));
  {
    const std::lock_guard<std::mutex> reading(reading_);
    image_.reset();
  }
  const std::lock_guard<std::mutex> lock(notes_);
  tail_.snapshot = number;
  tail_.commits = newest_.number - number;
  tail_.effect_bytes = bytes;
  tail_.image_bytes = size;
}

bool CommitLog::checkpoint_due() const {
  return journal_pages_.load(std::memory_order_relaxed) > checkpoint_at_;
}

LogResult CommitLog::checkpoint() {
  const std::lock_guard<std::mutex> maintenance(maintenance_);
  LogResult result;
  const DatabasePtr database = connect(result);
  return database != nullptr ? checkpoint_with(database.get()) : result;
}

// First what commits need not wait for, and what came during that, which is little; then, under the
// lock, the rest, so that the next commit begins the journal anew. A reader that stays keeps the
// journal as it is.
LogResult CommitLog::checkpoint_with(sqlite3* database) {
  const std::lock_guard<std::mutex> checkpoints(checkpoints_);
  int length = 0;
  int moved = 0;
  // Commits that come meanwhile are not in `length`.
  const auto all_moved = [&] { return journal_pages_.load(std::memory_order_relaxed) <= moved; };
  int result = SQLITE_OK;
  errno = 0;
  for (int pass = 0; pass < kPassesBesideCommits && result == SQLITE_OK; ++pass) {
    result =
        sqlite3_wal_checkpoint_v2(database, "main", SQLITE_CHECKPOINT_PASSIVE, &length, &moved);
    if (all_moved()) break;
  }
  const std::lock_guard<FairMutex> lock(mutex_);
  if (writer_ == nullptr || in_doubt_) {
    const std::lock_guard<std::mutex> notes(notes_);
    return obstacle_;
  }
  checkpoint_at_ = kJournalPages;
  if (result == SQLITE_OK && !all_moved()) {
    const bool is_long = length > kLongJournalPages;
    sqlite3_busy_timeout(database, is_long ? kReadersPatience : 0);
    result = sqlite3_wal_checkpoint_v2(
        database, "main", is_long ? SQLITE_CHECKPOINT_TRUNCATE : SQLITE_CHECKPOINT_RESTART, &length,
        &moved);
  }
  if (result == SQLITE_OK) journal_pages_.store(0, std::memory_order_relaxed);
  if ((result & 0xFF) == SQLITE_BUSY || (result & 0xFF) == SQLITE_LOCKED) {
    checkpoint_at_ = length + kJournalPages;
    return {};
  }
  return result == SQLITE_OK ? LogResult() : failed_beside(database, result);
}

bool CommitLog::mark_judged(std::uint64_t number) {
  bool found = false;
  const LogResult result = write(
      [&](LogWriter& writer) {
        Statement row(writer.database(),
                      "SELECT commit_hash, schema, hash, judged FROM images WHERE number = ?");
        if (row.bind(1, signed_number(number)).step() != SQLITE_ROW) return SQLITE_OK;
        LogSnapshot image;
        image.number = number;
        image.commit_hash = row.text(0);
        image.schema_hash = row.text(1);
        image.judged = row.integer(3) != 0;
        const std::string text_digest = row.text(2).substr(0, kDigestSize);
        if (text_digest + image_digest(image, text_digest) != row.view(2)) return SQLITE_OK;
        image.judged = true;
        const std::string hash = text_digest + image_digest(image, text_digest);
        Statement update(writer.database(),
                         "UPDATE images SET judged = 1, hash = ? WHERE number = ?");
        found = true;
        return update.bind_blob(1, hash).bind(2, signed_number(number)).run();
      },
      nullptr);
  return result.ok() && found;
}

}  // namespace nexa::store
