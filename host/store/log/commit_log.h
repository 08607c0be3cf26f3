// The durable half of the store: commits and snapshots in an SQLite file. Texts in, texts out;
// knows nothing of YANG.
#ifndef HOST_STORE_LOG_COMMIT_LOG_H_
#define HOST_STORE_LOG_COMMIT_LOG_H_

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "store/config_store.h"
#include "store/log/commit_witness.h"
#include "store/log/sqlite.h"

namespace nexa::host {

struct LogEntry {
  std::uint64_t number = 0;  // from 1, without gaps
  std::int64_t time_ns = 0;  // since the Unix epoch
  std::string author;
  std::string comment;
  bool whole = false;  // `change` is the whole configuration instead of a diff
  std::string change;
};

struct LogSnapshot {
  std::uint64_t number = 0;  // the commit that left the configuration so; 0: the empty one
  std::string commit_hash;   // that commit's checksum
  std::string config;        // XML, top element "config"
};

struct LogOptions {
  std::string directory;
  bool sync = true;        // false: nothing waits for the disk
  bool read_only = false;  // beside the process that writes
};

// What is kept when a snapshot is written.
struct LogLimits {
  std::uint64_t history = 0;   // commits before the newest snapshot; 0: all
  std::uint64_t interval = 1;  // usual distance of snapshots; old ones are kept ten times as far
};

struct LogResult {
  enum class Code : std::uint8_t {
    kDone,
    kFull,     // the disk is full; nothing was written
    kFailed,   // nothing was written
    kUnknown,  // whether the commit is on the disk cannot be known before settle() says so
  };
  Code code = Code::kDone;
  std::string text;

  bool ok() const { return code == Code::kDone; }
};

class CommitLog {
 public:
  // Opens the log of an existing directory and verifies every row, and that the commit that was the
  // newest once is among them. nullptr with `error`: one line that names the file and what is wrong
  // with it.
  static std::unique_ptr<CommitLog> open(const LogOptions& options, std::string& error);
  ~CommitLog();
  CommitLog(const CommitLog&) = delete;
  CommitLog& operator=(const CommitLog&) = delete;

  // All members: any thread.

  // Number of the newest commit, 0 before the first.
  std::uint64_t head() const;

  // Appends the commit after the newest one in one transaction, durable on return.
  LogResult append(const LogEntry& entry);

  // After kUnknown: opens the file again. kDone: the log can be written; head() tells whether the
  // commit is there.
  LogResult settle();

  // Writes a snapshot of the configuration after commit `number` and drops what the limits say.
  LogResult write_snapshot(std::uint64_t number, const std::string& config,
                           const LogLimits& limits);
  std::uint64_t newest_snapshot() const;

  // The newest snapshot at or before commit `number`, then the commits after it up to `number`, in
  // order, until `each` returns false. False with `error` when the commit is not kept, or cannot be
  // read.
  bool replay(std::uint64_t number, LogSnapshot& base,
              const std::function<bool(const LogEntry&)>& each, std::string& error) const;

  // The newest `limit` commits (0: all), newest first.
  LogResult history(std::size_t limit, std::vector<CommitRecord>& out) const;

  // One commit; false with `error` when there is none of that number.
  bool entry(std::uint64_t number, LogEntry& entry, std::string& error) const;

  // What the stored configuration was last valid under; empty in a new log.
  std::string schema() const;
  LogResult set_schema(const std::string& text);

 private:
  CommitLog(LogOptions options, DatabasePtr database);

  bool read_head();
  std::string hash_of(std::uint64_t number) const;
  void bear_witness() const;
  bool check_witness(const WitnessedCommit& witnessed, std::string& error) const;
  LogResult transaction(const std::function<int()>& work);
  LogResult failure() const;
  int run_append(const LogEntry& entry, const std::string& hash);
  int run_snapshot(const LogSnapshot& snapshot, const LogLimits& limits);
  int prune(std::uint64_t newest, const LogLimits& limits);
  int drop_before(std::uint64_t base);
  LogResult reopen();

  LogOptions options_;
  CommitWitness witness_;
  mutable std::mutex mutex_;
  DatabasePtr database_;
  std::uint64_t head_ = 0;
  std::string head_hash_;
};

}  // namespace nexa::host

#endif  // HOST_STORE_LOG_COMMIT_LOG_H_
