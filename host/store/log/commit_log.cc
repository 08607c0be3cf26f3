// Opening, appending, and the way out of doubt. Reading is in commit_log_reading.cc, snapshots and
// checkpoints are in commit_log_upkeep.cc.
#include "store/log/commit_log.h"

#include <cerrno>
#include <filesystem>

#include "store/log/log_rows.h"
#include "store/log/log_verify.h"

namespace nexa::store {
namespace {

constexpr char kGoOn[] =
    "; restore a copy of the directory, or go on with what is there by removing ";
constexpr char kBeginAnew[] = "; restore a copy of the directory, or begin anew by removing ";
constexpr char kDoesNotConfirm[] = "the disk does not confirm writes: ";
constexpr char kNothingChanged[] = "; nothing was changed";
constexpr char kCannotBeWritten[] = "the log cannot be written: ";
constexpr char kReadsOnly[] = "; the server reads only until it can write again";
constexpr char kReadOnly[] = "the log was opened for reading";
constexpr char kOtherLog[] = "the log is not the one that is read; start again";
constexpr char kGap[] = "commits are numbered without gaps";
constexpr std::chrono::seconds kBetweenTries{1};

using Code = LogResult::Code;
using Kind = DiskFailure::Kind;

}  // namespace

CommitLog::CommitLog(LogOptions options) : options_(std::move(options)) {}

CommitLog::~CommitLog() {
  // The writer is the last connection that closes, and that one checkpoints; in doubt that would
  // spread what may not be there.
  if (writer_ != nullptr && !in_doubt_) writer_->tidy_up_at_the_end();
}

text::Result<std::unique_ptr<CommitLog>> CommitLog::open(const LogOptions& options) {
  const std::string file = log_file(options.directory);
  // Read before the log: another process may be adding to both.
  const auto witnessed = CommitWitness(options.directory, true).read();
  if (witnessed && witnessed->number > 0 && !std::filesystem::exists(file)) {
    return text::unusable(file, "missing, commit " + std::to_string(witnessed->number) +
                                    " was in it" + kBeginAnew + witness_file(options.directory));
  }
  std::unique_ptr<CommitLog> log(new CommitLog(options));
  text::Done done = log->open_files();
  if (done.ok()) done = log->verify();
  if (done.ok() && witnessed) done = log->check_witness(*witnessed);
  if (!done.ok()) return std::move(done).failure();
  log->witness_ = std::make_unique<CommitWitness>(options.directory, log->writer_ == nullptr);
  if (log->writer_ != nullptr) log->witness_->write(log->newest());
  return log;
}

text::Done CommitLog::open_files() {
  if (options_.read_only) {
    set_obstacle({Code::kFailed, kReadOnly});
    return open_reader();
  }
  DiskFailure failure;
  writer_ = LogWriter::open(options_, true, journal_pages_, failure);
  if (writer_ != nullptr) return open_reader();
  const std::string file = log_file(options_.directory);
  if (failure.kind != Kind::kFull && failure.kind != Kind::kDisk) return failure_of(failure, file);
  static_cast<void>(refuse(failure));
  last_try_ = std::chrono::steady_clock::now();
  text::Done read = open_reader();
  // What could not be made could not be read either; why it could not be made says more.
  if (!read.ok() && !std::filesystem::exists(file)) return failure_of(failure, file);
  return read;
}

text::Done CommitLog::open_reader() {
  text::Result<DatabasePtr> reader = open_log_reader(options_);
  if (!reader.ok()) return std::move(reader).failure();
  const std::lock_guard<std::mutex> lock(reading_);
  reader_ = std::move(reader).value();
  format_ = format_of(reader_.get());
  return {};
}

text::Done CommitLog::verify() {
  const std::string file = log_file(options_.directory);
  VerifiedLog found;
  text::Done intact = options_.read_only || options_.verify_all
                          ? verify_all(reader_.get(), file, nullptr, found)
                          : verify_for_start(reader_.get(), file, found);
  newest_ = {found.head, found.head_hash};
  tail_ = found.tail;
  image_ = std::move(found.image);
  pending_ = std::move(found.pending);
  return intact;
}

// Whether the commit that was the newest once is in the log.
text::Done CommitLog::check_witness(const WitnessedCommit& witnessed) const {
  const std::string number = std::to_string(witnessed.number);
  std::string rule;
  if (const std::uint64_t newest = head(); newest < witnessed.number) {
    rule = "damaged: it ends with commit " + std::to_string(newest) + ", commit " + number +
           " was in it";
  } else if (const std::string hash = hash_of(witnessed.number);
             !hash.empty() && hash != witnessed.hash) {
    rule = "damaged: commit " + number + " is not the one that was in it";
  } else {
    return {};
  }
  return text::unusable(log_file(options_.directory),
                        rule + kGoOn + witness_file(options_.directory));
}

WitnessedCommit CommitLog::newest() const {
  const std::lock_guard<std::mutex> lock(notes_);
  return newest_;
}

std::uint64_t CommitLog::head() const {
  const std::lock_guard<std::mutex> lock(notes_);
  return newest_.number;
}

LogTail CommitLog::tail() const {
  const std::lock_guard<std::mutex> lock(notes_);
  return tail_;
}

bool CommitLog::writable() const { return obstacle().empty(); }

std::string CommitLog::obstacle() const {
  const std::lock_guard<std::mutex> lock(notes_);
  return obstacle_.text;
}

void CommitLog::set_obstacle(const LogResult& why) {
  const std::lock_guard<std::mutex> lock(notes_);
  obstacle_ = why;
}

// The commit is on the disk: what is noted here needs no memory.
void CommitLog::set_head(std::uint64_t number, std::string hash, std::size_t weight) {
  {
    const std::lock_guard<std::mutex> lock(notes_);
    newest_ = {number, std::move(hash)};
    tail_.commits += 1;
    tail_.effect_bytes += weight;
  }
  try {
    witness_->write(newest());
  } catch (const std::bad_alloc&) {
    // It knows one commit less, as after a crash at this place.
  }
}

// Why nothing can be written now.
LogResult CommitLog::refuse(const DiskFailure& failure) {
  LogResult result{Code::kUnavailable, failure.text};
  if (failure.kind == Kind::kFull) {
    result = {Code::kFull, failure.text + kReadsOnly};
  } else if (failure.sync_failed || in_doubt_) {
    result.text = kDoesNotConfirm + failure.text + kNothingChanged;
  } else {
    result.text = kCannotBeWritten + failure.text + kReadsOnly;
  }
  set_obstacle(result);
  return result;
}

void CommitLog::doubt(const DiskFailure& failure) {
  in_doubt_ = true;
  pages_lost_ = pages_lost_ || failure.sync_failed;
  static_cast<void>(refuse(failure));
}

// With `mutex_` and `checkpoints_`.
LogResult CommitLog::ready_to_write() {
  if (writer_ != nullptr && !in_doubt_) return {};
  if (options_.read_only) return {Code::kFailed, kReadOnly};
  if (!in_doubt_) {
    const auto now = std::chrono::steady_clock::now();
    if (now - last_try_ < kBetweenTries) {
      const std::lock_guard<std::mutex> lock(notes_);
      return obstacle_;
    }
    last_try_ = now;
  }
  return reopen();
}

// With `mutex_` and `checkpoints_`: closes the log, opens it, confirms it, and only then reads it.
LogResult CommitLog::reopen() {
  writer_.reset();
  DiskFailure failure;
  auto writer = LogWriter::open(options_, pages_lost_ || !in_doubt_, journal_pages_, failure);
  if (writer == nullptr) {
    pages_lost_ = pages_lost_ || failure.sync_failed;
    return refuse(failure);
  }
  return adopt(std::move(writer));
}

// The log may end where it ended, or with the commit whose outcome was not known.
LogResult CommitLog::adopt(std::unique_ptr<LogWriter> writer) {
  const WitnessedCommit before = newest();
  WitnessedCommit found;
  std::optional<LogPending> pending;
  text::Done done;
  if (!writer->read_head(found.number, found.hash) || !writer->read_pending(pending)) {
    done = text::unusable(log_file(options_.directory), "cannot be read");
  } else if (found.number == before.number
                 ? found.hash != before.hash
                 : !unknown_ || found.number != unknown_->number || found.hash != unknown_->hash) {
    done = text::unusable("", kOtherLog);
  } else {
    done = open_reader();
  }
  if (!done.ok()) {
    LogResult result{Code::kFailed, done.failure().line()};
    set_obstacle(result);
    return result;
  }
  // Until now it was only read.
  if (!in_doubt_) witness_ = std::make_unique<CommitWitness>(options_.directory, false);
  if (found.number != before.number) set_head(found.number, found.hash, unknown_->weight);
  {
    const std::lock_guard<std::mutex> lock(notes_);
    pending_ = std::move(pending);
  }
  writer_ = std::move(writer);
  unknown_.reset();
  in_doubt_ = false;
  pages_lost_ = false;
  set_obstacle({});
  return {};
}

LogResult CommitLog::settle() {
  const std::lock_guard<std::mutex> checkpoints(checkpoints_);
  const std::lock_guard<FairMutex> lock(mutex_);
  return in_doubt_ ? reopen() : LogResult();
}

// After a failure in a transaction; the commit `unknown` may be on the disk all the same.
LogResult CommitLog::failed(std::unique_lock<std::mutex>& checkpoints,
                            std::unique_lock<FairMutex>& lock, const DiskFailure& failure,
                            std::optional<std::uint64_t> unknown) {
  LogResult result{Code::kUnavailable, kDoesNotConfirm + failure.text + kNothingChanged};
  if (failure.kind == Kind::kFull) result = {Code::kFull, failure.text};
  if (failure.kind == Kind::kOther) result = {Code::kFailed, failure.text};
  doubt(failure);
  if (!checkpoints.owns_lock()) {
    lock.unlock();
    checkpoints.lock();
    lock.lock();
  }
  const LogResult settled = in_doubt_ ? reopen() : LogResult();
  if (!unknown) return result;
  if (!settled.ok()) {
    return {Code::kUnknown,
            failure.kind == Kind::kDisk ? kDoesNotConfirm + failure.text : failure.text};
  }
  return head() == *unknown ? LogResult() : result;
}

// One transaction. `commit` is what it appends, null if it appends none.
LogResult CommitLog::write(const std::function<int(LogWriter&)>& work, const Commit* commit) {
  // Copied before anything is written: without memory the log and what is known of it would differ.
  std::optional<Commit> written;
  if (commit != nullptr) written = *commit;
  std::unique_lock<std::mutex> checkpoints(checkpoints_, std::defer_lock);
  std::unique_lock<FairMutex> lock(mutex_);
  if (writer_ == nullptr || in_doubt_) {
    lock.unlock();
    checkpoints.lock();
    lock.lock();
    if (LogResult ready = ready_to_write(); !ready.ok()) return ready;
  }
  if (commit != nullptr && commit->number != head() + 1) {
    return {Code::kFailed, kGap};
  }
  const std::string file = log_file(options_.directory);
  errno = 0;
  int result = SQLITE_OK;
  try {
    result = writer_->begin();
    if (result == SQLITE_OK) result = work(*writer_);
  } catch (...) {
    writer_->rollback();
    throw;
  }
  if (result != SQLITE_OK) {
    const DiskFailure failure = disk_failure(writer_->database(), file, result);
    writer_->rollback();
    return failed(checkpoints, lock, failure, std::nullopt);
  }
  result = writer_->commit();
  if (result == SQLITE_OK) {
    if (written) {
      set_head(written->number, std::move(written->hash), written->weight);
      take(std::move(written->pending));
    }
    return {};
  }
  in_doubt_ = true;
  if (written) unknown_ = std::move(written);
  const DiskFailure failure = disk_failure(writer_->database(), file, result);
  writer_->rollback();
  return failed(checkpoints, lock, failure,
                commit != nullptr ? std::optional(commit->number) : std::nullopt);
}

std::optional<LogPending> CommitLog::pending() const {
  const std::lock_guard<std::mutex> lock(notes_);
  return pending_;
}

void CommitLog::take(PendingChange change) {
  if (change.kind == PendingChange::Kind::kKeep) return;
  const std::lock_guard<std::mutex> lock(notes_);
  pending_.reset();
  if (change.kind == PendingChange::Kind::kSet) pending_ = std::move(change.pending);
}

LogResult CommitLog::append(const LogEntry& entry, const PendingChange& pending) {
  const WitnessedCommit before = newest();
  const std::optional<LogEntry> packed = packed_entry(entry);
  const LogEntry& stored = packed ? *packed : entry;
  const Commit commit{entry.number, commit_digest(before.hash, stored), weight_of(entry), pending};
  if (commit.hash.empty()) return {Code::kFailed, "no checksum could be made"};
  return write(
      [&](LogWriter& writer) {
        const int result = writer.append(stored, commit.hash);
        return result == SQLITE_OK ? writer.change(pending) : result;
      },
      &commit);
}

LogResult CommitLog::set_pending(const PendingChange& pending) {
  PendingChange written = pending;
  LogResult result = write([&](LogWriter& writer) { return writer.change(pending); }, nullptr);
  if (result.ok()) {
    take(std::move(written));
  } else if (writable()) {
    // The log was read again: what failed may have reached the disk all the same.
    const std::optional<LogPending> now = this->pending();
    const bool is_done = pending.kind == PendingChange::Kind::kSet ? now == pending.pending : !now;
    if (is_done) return {};
  }
  return result;
}

LogResult CommitLog::set_schema(const std::string& text) {
  const std::string hash = schema_digest(text);
  return write(
      [&](LogWriter& writer) {
        Statement row(writer.database(), "INSERT OR REPLACE INTO schema VALUES(0, ?, ?)");
        return row.bind(1, std::string_view(text)).bind_blob(2, hash).run();
      },
      nullptr);
}

}  // namespace nexa::store
