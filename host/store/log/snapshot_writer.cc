// A snapshot that cannot be written is tried again when as much was logged again: the commits
// before it are all in the log.
#include "store/log/snapshot_writer.h"

#include <algorithm>
#include <new>

#include "store/log/snapshot_due.h"

namespace nexa::store {
namespace {

constexpr char kNoMemory[] = "out of memory";

std::string snapshot_failed(std::uint64_t number, const std::string& reason) {
  return "no snapshot of commit " + std::to_string(number) + ": " + reason +
         "; no commit is lost, but a start has more of them to replay";
}

}  // namespace

SnapshotWriter::SnapshotWriter(CommitLog& log, LogLimits limits, Source source, Warn warn)
    : log_(log),
      limits_{limits.history, std::max<std::uint64_t>(limits.interval, 1)},
      source_(std::move(source)),
      warn_(std::move(warn)),
      thread_([this] { run(); }) {}

SnapshotWriter::~SnapshotWriter() {
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    stop_ = true;
  }
  wake_.notify_one();
  thread_.join();
  // Not once more what has just failed.
  const LogTail tail = log_.tail();
  const bool was_tried = tried_.snapshot == tail.snapshot && tried_.commits == tail.commits;
  if (tail.commits > 0 && !was_tried) write();
}

void SnapshotWriter::committed() {
  if (!due() && !log_.checkpoint_due()) return;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    told_ = true;
  }
  wake_.notify_one();
}

bool SnapshotWriter::due() const {
  LogTail tail = log_.tail();
  const std::lock_guard<std::mutex> lock(mutex_);
  if (tried_.snapshot == tail.snapshot) {
    tail.commits -= std::min(tail.commits, tried_.commits);
    tail.effect_bytes -= std::min(tail.effect_bytes, tried_.effect_bytes);
  }
  return snapshot_due(tail, limits_.interval);
}

void SnapshotWriter::run() {
  std::unique_lock<std::mutex> lock(mutex_);
  while (true) {
    wake_.wait(lock, [this] { return stop_ || told_; });
    if (stop_) return;
    told_ = false;
    lock.unlock();
    if (due()) write();
    if (log_.checkpoint_due()) checkpoint();
    lock.lock();
  }
}

void SnapshotWriter::write() {
  const LogTail tail = log_.tail();
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    tried_ = tail;
  }
  try {
    std::optional<LogSnapshot> snapshot = source_();
    if (!snapshot) return;
    const std::uint64_t number = snapshot->number;
    const LogResult result = log_.write_snapshot(std::move(*snapshot), limits_);
    if (!result.ok()) warn(number, result.text);
  } catch (const std::bad_alloc&) {
    // Its texts are the largest thing that the server makes, and the one that it can do without.
    warn(tail.snapshot + tail.commits, kNoMemory);
  }
}

void SnapshotWriter::warn(std::uint64_t number, const std::string& reason) noexcept {
  try {
    if (warn_) warn_(snapshot_failed(number, reason));
  } catch (const std::bad_alloc&) {  // NOLINT(bugprone-empty-catch)
    // Nor is there memory to tell of it.
  }
}

// One that fails is tried again; if the disk is why, the next commit hears of it.
void SnapshotWriter::checkpoint() noexcept {
  try {
    static_cast<void>(log_.checkpoint());
  } catch (const std::bad_alloc&) {  // NOLINT(bugprone-empty-catch)
  }
}

}  // namespace nexa::store
