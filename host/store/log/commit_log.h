// The durable half of the store: commits and snapshots in an SQLite file. Texts in, texts out;
// knows nothing of YANG.
//
// An answer means the disk: kDone is returned only for what a sync has confirmed. After any failed
// sync or commit the log is in doubt: nothing is written to it, and nothing new is believed of it,
// before the journal was cut to what was confirmed, written once more and synced with success
// (see durability.h). Reading goes on meanwhile.
#ifndef HOST_STORE_LOG_COMMIT_LOG_H_
#define HOST_STORE_LOG_COMMIT_LOG_H_

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "store/config_store.h"
#include "store/log/commit_witness.h"
#include "store/log/fair_mutex.h"
#include "store/log/log_database.h"
#include "store/log/log_types.h"
#include "store/log/log_writer.h"
#include "store/log/sqlite.h"
#include "text/result.h"

namespace nexa::store {

class CommitLog {
 public:
  // Opens the log of an existing directory, makes it when there is none, and brings an older format
  // up to the newest one (not for `read_only`). Verifies before it returns: the newest commit's
  // row, that the commit that was the newest once is in the log, the newest image (without one:
  // the newest snapshot), and the chain of commits from there to the newest; the cost does not
  // depend on the history before. With `read_only` or `verify_all`: every row.
  //
  // A log that can be read and not written (full disk, read-only file system or folder, a disk that
  // does not confirm writes) is opened for reading: writable() is false then.
  //
  // A failure names the file.
  static text::Result<std::unique_ptr<CommitLog>> open(const LogOptions& options);
  // Moves the journal into the database, unless the log is in doubt.
  ~CommitLog();
  CommitLog(const CommitLog&) = delete;
  CommitLog& operator=(const CommitLog&) = delete;

  // All members: any thread. Readers wait for readers only, never for a commit or a snapshot.

  // Number of the newest commit, 0 before the first.
  std::uint64_t head() const;

  // Whether the next append() can be expected to succeed; `obstacle` is empty then, else one line
  // of why not: "the disk is full; ...", "the disk does not confirm writes: ...".
  bool writable() const;
  std::string obstacle() const;

  // Appends the commit after the newest one in one transaction, durable on return. While the log is
  // not writable it tries first to become so, at most once a second. kUnavailable, kFull, kFailed:
  // nothing was changed. kUnknown: call settle() until it is kDone before the next append().
  // `pending` is done in the same transaction.
  LogResult append(const LogEntry& entry, const PendingChange& pending = {});

  // The commit that waits for its confirmation.
  std::optional<LogPending> pending() const;
  // Durable on return; answers as append() does, never kUnknown.
  LogResult set_pending(const PendingChange& pending);

  // Ends doubt: kDone when the log can be written; head() then tells whether the commit that was
  // answered with kUnknown is there. Otherwise kUnavailable or kFull with words, and nothing is
  // known yet. kDone at once when there is no doubt.
  LogResult settle();

  // Stores config and image of the configuration after commit `snapshot.number` and drops what the
  // limits say: older snapshots and commits, and all but the two newest images. Works through a
  // connection of its own in short transactions: commits go on meanwhile. One snapshot at a time;
  // others wait. A snapshot that fails half-way is not there, and changes no configuration.
  LogResult write_snapshot(LogSnapshot snapshot, const LogLimits& limits);
  std::uint64_t newest_snapshot() const;
  // What lies after the newest snapshot, as of open() and the appends since.
  LogTail tail() const;

  // Notes that the image of commit `number` was found valid as a whole. False when there is no such
  // image (any more) or it cannot be written.
  bool mark_judged(std::uint64_t number);

  // The newest image at or before commit `number`, verified; without `config`. False when there is
  // none, or when it was made under another schema. The first call after open() is cheap for the
  // newest commit: the image was read there.
  bool newest_image(const std::string& schema_hash, std::uint64_t number, LogSnapshot& image) const;

  // The commits after `number` up to the newest, in order, each verified, until `each` returns
  // false. Fails when commit `number` + 1 is not kept, or one cannot be read. `each` must not call
  // this object.
  text::Done replay_after(std::uint64_t number,
                          const std::function<bool(const LogEntry&)>& each) const;

  // The newest snapshot at or before commit `number` (without its image), then the commits after it
  // up to `number`, in order, each verified, until `each` returns false. Fails when the commit is
  // not kept, or cannot be read. `each` must not call this object.
  text::Done replay(std::uint64_t number, LogSnapshot& base,
                    const std::function<bool(const LogEntry&)>& each) const;

  // The newest commit that was made before a moment, 0 before the first. `is_kept`: whether the log
  // still has what that commit left.
  LogResult number_before(std::int64_t time_ns, std::uint64_t& number, bool& is_kept) const;

  // The newest `limit` commits (0: all), newest first.
  LogResult history(std::size_t limit, std::vector<CommitRecord>& out) const;

  // One commit, verified; fails when there is none of that number.
  text::Done entry(std::uint64_t number, LogEntry& entry) const;

  // What the stored configuration was last valid under; empty in a new log.
  std::string schema() const;
  LogResult set_schema(const std::string& text);

  // Verifies all of the log, through a connection of its own: the database's structure, every
  // snapshot, image and commit. Fails as open() would have; done when all is well or `stop` (may be
  // null) became true meanwhile. Long: seconds for a large log.
  text::Done verify_history(const std::atomic<bool>* stop) const;

  // Whether the journal has grown so long that checkpoint() should run. Costs nothing.
  bool checkpoint_due() const;
  // Moves the journal into the database and lets it begin anew, through a connection of its own;
  // commits go on meanwhile. A failure loses nothing; the log is in doubt after a failed sync.
  LogResult checkpoint();

 private:
  // What a transaction makes the newest commit.
  struct Commit {
    std::uint64_t number = 0;
    std::string hash;
    std::size_t weight = 0;  // see LogTail::effect_bytes
    PendingChange pending{};
  };

  explicit CommitLog(LogOptions options);

  text::Done open_files();
  text::Done open_reader();
  text::Done verify();
  std::string hash_of(std::uint64_t number) const;
  text::Done check_witness(const WitnessedCommit& witnessed) const;

  LogResult ready_to_write();
  LogResult reopen();
  LogResult adopt(std::unique_ptr<LogWriter> writer);
  LogResult refuse(const DiskFailure& failure);
  LogResult write(const std::function<int(LogWriter&)>& work, const Commit* commit);
  LogResult failed(std::unique_lock<std::mutex>& checkpoints, std::unique_lock<FairMutex>& lock,
                   const DiskFailure& failure, std::optional<std::uint64_t> unknown);
  void doubt(const DiskFailure& failure);
  void set_head(std::uint64_t number, std::string hash, std::size_t weight);
  void set_obstacle(const LogResult& why);
  void take(PendingChange change);
  WitnessedCommit newest() const;

  DatabasePtr connect(LogResult& result);
  LogResult short_transaction(sqlite3* database, const std::function<int()>& work);
  LogResult flush(sqlite3* database);
  LogResult write_parts(sqlite3* database, std::string_view text, std::int64_t& part_of);
  LogResult store_snapshot(sqlite3* database, const LogSnapshot& snapshot, const LogLimits& limits);
  LogResult sweep(sqlite3* database);
  LogResult checkpoint_with(sqlite3* database);
  LogResult failed_beside(sqlite3* database, int result);
  void snapshot_stored(std::uint64_t number, std::uint64_t size);

  const LogOptions options_;
  // Locks are taken in this order, each for itself or with later ones.
  std::mutex maintenance_;  // one snapshot at a time
  std::mutex checkpoints_;  // no checkpoint runs while the journal is written again
  // For the members down to `last_try_`, and for every transaction that writes, through whichever
  // connection: SQLite's own waiting for its one writer is polling. Commits in a row leave the
  // others their turns.
  mutable FairMutex mutex_;
  std::unique_ptr<LogWriter> writer_;  // null: cannot be written now
  std::unique_ptr<CommitWitness> witness_;
  bool in_doubt_ = false;          // something failed since it was last known what is on the disk
  bool pages_lost_ = false;        // a sync did: the kernel may hold pages as written that are not
  std::optional<Commit> unknown_;  // may be on the disk
  std::chrono::steady_clock::time_point last_try_;

  mutable std::mutex reading_;  // for the next three
  DatabasePtr reader_;          // behind `writer_`, which has to be the last that closes
  int format_ = 0;              // of the tables that `reader_` reads
  mutable std::optional<LogSnapshot> image_;  // read at open, for the first newest_image()

  mutable std::mutex notes_;  // for the next four; never held across a call of SQLite
  WitnessedCommit newest_;
  LogTail tail_;
  LogResult obstacle_;
  std::optional<LogPending> pending_;

  static constexpr int kJournalPages = 1000;
  std::atomic<int> journal_pages_{0};
  std::atomic<int> checkpoint_at_{kJournalPages};  // pages
};

}  // namespace nexa::store

#endif  // HOST_STORE_LOG_COMMIT_LOG_H_
