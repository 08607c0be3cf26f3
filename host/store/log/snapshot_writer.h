// Writes snapshots and moves the journal beside the commits, so that a start has little to replay
// and no client waits for either.
#ifndef HOST_STORE_LOG_SNAPSHOT_WRITER_H_
#define HOST_STORE_LOG_SNAPSHOT_WRITER_H_

#include <condition_variable>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

#include "store/log/commit_log.h"

namespace nexa::store {

class SnapshotWriter {
 public:
  // The newest configuration: number, config, image, schema_hash, judged. Called on the writer's
  // thread without any lock held, so it may take its time; the texts may be big. nullopt: there is
  // none now; it is asked again after the next commit that makes one due.
  using Source = std::function<std::optional<LogSnapshot>()>;
  using Warn = std::function<void(const std::string& line)>;

  // `log` and what `source` and `warn` need outlive this object. snapshot_due() says when one is
  // written; `limits.interval` is its interval. `warn`, if any, hears of each that could not be
  // written, on the writer's thread.
  SnapshotWriter(CommitLog& log, LogLimits limits, Source source, Warn warn);
  // Writes one of the newest commit, if it has none: the next start replays nothing.
  ~SnapshotWriter();
  SnapshotWriter(const SnapshotWriter&) = delete;
  SnapshotWriter& operator=(const SnapshotWriter&) = delete;

  // A commit was appended to the log. Any thread; never waits for a snapshot or the disk.
  void committed();

 private:
  void run();
  void write();
  void warn(std::uint64_t number, const std::string& reason) noexcept;
  void checkpoint() noexcept;
  bool due() const;

  CommitLog& log_;
  const LogLimits limits_;
  const Source source_;
  const Warn warn_;

  mutable std::mutex mutex_;  // for the three below
  std::condition_variable wake_;
  bool told_ = false;
  bool stop_ = false;
  // What there was to write when it was last tried: after a failure it is tried again only when as
  // much was logged again.
  LogTail tried_;
  std::thread thread_;
};

}  // namespace nexa::store

#endif  // HOST_STORE_LOG_SNAPSHOT_WRITER_H_
