// Writes snapshots beside the commits, so that a start has little to replay and no client waits for
// one.
#ifndef HOST_STORE_LOG_SNAPSHOT_WRITER_H_
#define HOST_STORE_LOG_SNAPSHOT_WRITER_H_

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "store/config_store.h"
#include "store/log/commit_log.h"

namespace nexa::host {

class SnapshotWriter {
 public:
  using Source = std::function<std::shared_ptr<const Snapshot>()>;
  using Warn = std::function<void(const std::string& line)>;

  // `log` and what `source` and `warn` need outlive this object. `limits.interval` commits lie
  // between snapshots. `warn`, if any, hears of each that could not be written, on the writer's
  // thread.
  SnapshotWriter(CommitLog& log, LogLimits limits, Source source, Warn warn);
  // Writes one of the newest commit, if it has none: the next start replays nothing.
  ~SnapshotWriter();
  SnapshotWriter(const SnapshotWriter&) = delete;
  SnapshotWriter& operator=(const SnapshotWriter&) = delete;

  // A commit was made. Any thread; never waits for a snapshot.
  void committed(std::uint64_t number);

 private:
  void run();
  void write();

  CommitLog& log_;
  const LogLimits limits_;
  const Source source_;
  const Warn warn_;

  std::mutex mutex_;
  std::condition_variable wake_;
  std::uint64_t newest_ = 0;   // the last commit that was told
  std::uint64_t written_ = 0;  // of the last snapshot, written or tried
  bool stop_ = false;
  std::thread thread_;
};

}  // namespace nexa::host

#endif  // HOST_STORE_LOG_SNAPSHOT_WRITER_H_
