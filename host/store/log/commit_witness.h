// Which commit was the newest, kept beside the log: SQLite reads a journal that was cut short or
// taken away as if its last commits had never been made.
#ifndef HOST_STORE_LOG_COMMIT_WITNESS_H_
#define HOST_STORE_LOG_COMMIT_WITNESS_H_

#include <cstdint>
#include <optional>
#include <string>

#include "text/descriptor.h"

namespace nexa::store {

struct WitnessedCommit {
  std::uint64_t number = 0;
  std::string hash;  // its checksum
};

// The file is written after a commit is durable, so it may lag behind the log but is never ahead of
// it. It is never synced, and a failure to write it is none of the log: it decides nothing about
// what was committed, it only notices that a commit is gone. An old or a lost one notices less, and
// refuses no log that is whole; waiting for it would double what a commit costs.
class CommitWitness {
 public:
  CommitWitness(const std::string& directory, bool read_only);

  std::optional<WitnessedCommit> read() const;
  void write(const WitnessedCommit& commit) const;

 private:
  text::Descriptor file_;
};

std::string witness_file(const std::string& directory);

}  // namespace nexa::store

#endif  // HOST_STORE_LOG_COMMIT_WITNESS_H_
