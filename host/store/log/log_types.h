// What the log stores and what its calls answer. Texts only: nothing here knows YANG or SQLite.
#ifndef HOST_STORE_LOG_LOG_TYPES_H_
#define HOST_STORE_LOG_LOG_TYPES_H_

#include <cstdint>
#include <string>

namespace nexa::store {

// One commit.
struct LogEntry {
  std::uint64_t number = 0;  // from 1, without gaps
  std::int64_t time_ns = 0;  // since the Unix epoch
  std::string author;
  std::string comment;
  bool whole = false;    // `change` is the whole configuration instead of a difference
  std::string change{};  // for people: XML
  // Everything that the commit changed, defaults included, in the store's own compact text; it
  // means something only under the schema that it was written under. Empty in the commits of older
  // programs, which are replayed by `change`.
  std::string effect{};
};

// The configuration after one commit, in two texts.
struct LogSnapshot {
  std::uint64_t number = 0;  // the commit that left the configuration so; 0: the empty one
  std::string commit_hash;   // that commit's checksum; the log fills it in
  std::string config;        // XML, top element "config", without defaults
  // The same with defaults, in the store's own compact text; usable only under the schema whose
  // stamp has the digest `schema_hash`. With an empty `schema_hash` there is no image.
  std::string image{};
  std::string schema_hash{};
  bool judged = false;  // libyang found the image valid as a whole under that schema
};

struct LogOptions {
  std::string directory;
  bool sync = true;         // false: nothing waits for the disk
  bool read_only = false;   // beside the process that writes; verifies everything at open
  bool verify_all = false;  // a writer, too, verifies everything at open
  std::string vfs{};        // name of the SQLite VFS; empty: SQLite's own
};

// The commit that waits for its confirmation; the newest one.
struct LogPending {
  std::uint64_t number = 0;
  std::uint64_t base = 0;  // the commit that is restored when it is taken back
  std::string id;
  std::int64_t deadline_ns = 0;  // since the Unix epoch
  std::int64_t duration_ns = 0;

  bool operator==(const LogPending&) const = default;
};

// What a transaction does to the commit that waits.
struct PendingChange {
  enum class Kind : std::uint8_t { kKeep, kClear, kSet };
  Kind kind = Kind::kKeep;
  LogPending pending{};  // kSet
};

// What is kept when a snapshot is written.
struct LogLimits {
  std::uint64_t history = 0;   // commits before the newest snapshot; 0: all
  std::uint64_t interval = 1;  // usual distance of snapshots; old ones are kept ten times as far
};

struct LogResult {
  enum class Code : std::uint8_t {
    kDone,
    // Nothing was written:
    kFull,         // the disk is full
    kUnavailable,  // the disk does not confirm writes, or cannot be written; later calls try again
    kFailed,       // anything else
    // Whether the commit is on the disk cannot be known before settle() says so.
    kUnknown,
  };
  Code code = Code::kDone;
  std::string text{};  // one line, empty for kDone

  bool ok() const { return code == Code::kDone; }
};

// What a start would have to replay after the newest snapshot.
struct LogTail {
  std::uint64_t snapshot = 0;      // number of the newest snapshot
  std::uint64_t commits = 0;       // after it
  std::uint64_t effect_bytes = 0;  // of their effects (of their changes where there is no effect)
  std::uint64_t image_bytes = 0;   // of that snapshot's image; of its XML if it has no image
};

}  // namespace nexa::store

#endif  // HOST_STORE_LOG_LOG_TYPES_H_
