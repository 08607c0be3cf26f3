// A snapshot that cannot be written is tried again after the next interval: the commits before it
// are all in the log.
#include "store/log/snapshot_writer.h"

#include <algorithm>

namespace nexa::host {
namespace {

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
      newest_(log.head()),
      written_(log.newest_snapshot()),
      thread_([this] { run(); }) {}

SnapshotWriter::~SnapshotWriter() {
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    stop_ = true;
  }
  wake_.notify_one();
  thread_.join();
  if (newest_ > written_) write();
}

void SnapshotWriter::committed(std::uint64_t number) {
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    newest_ = number;
    if (newest_ - written_ < limits_.interval) return;
  }
  wake_.notify_one();
}

void SnapshotWriter::run() {
  std::unique_lock<std::mutex> lock(mutex_);
  while (true) {
    wake_.wait(lock, [this] { return stop_ || newest_ - written_ >= limits_.interval; });
    if (stop_) return;
    lock.unlock();
    write();
    lock.lock();
  }
}

void SnapshotWriter::write() {
  std::shared_ptr<const Snapshot> snapshot = source_();
  const std::uint64_t number = snapshot != nullptr ? snapshot->number() : newest_;
  const std::string config = snapshot != nullptr ? snapshot->xml() : std::string();
  // The tree is free for the next transaction before the disk is waited for.
  snapshot.reset();
  if (!config.empty()) {
    const LogResult result = log_.write_snapshot(number, config, limits_);
    if (!result.ok() && warn_) warn_(snapshot_failed(number, result.text));
  }
  const std::lock_guard<std::mutex> lock(mutex_);
  written_ = std::max(written_, number);
}

}  // namespace nexa::host
