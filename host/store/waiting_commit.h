// Which commit waits for its confirmation, and what does that keep from happening?
#ifndef HOST_STORE_WAITING_COMMIT_H_
#define HOST_STORE_WAITING_COMMIT_H_

#include <grpcpp/support/status.h>

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

#include "store/config_store.h"
#include "store/log/commit_log.h"

namespace nexa::store {

// Knows what the log knows. What changes something is for the writer's thread.
class WaitingCommit {
 public:
  // `log` outlives it.
  explicit WaitingCommit(CommitLog& log) : log_(log) {}

  // Any thread.
  std::optional<PendingCommit> pending() const;

  // Whether a commit may be made: not while one waits, because taking that one back would take the
  // other back as well.
  grpc::Status is_free() const;

  // OK when the commit that waits has this name.
  grpc::Status has_name(const std::string& id) const;

  // What a commit that is to wait writes into the log with itself. When it waits from, and its
  // number, come with set_out().
  PendingChange wait_for(const CommitRequest& request) const;
  static void set_out(PendingChange& change, std::uint64_t number, std::int64_t now_ns);

  // ConfigStore::confirm() and extend().
  grpc::Status confirm(const std::string& id);
  grpc::Status extend(const std::string& id, std::chrono::nanoseconds duration,
                      std::int64_t now_ns);

  // Writes a change into the log that comes without a commit.
  grpc::Status write(const PendingChange& change);

 private:
  CommitLog& log_;
};

}  // namespace nexa::store

#endif  // HOST_STORE_WAITING_COMMIT_H_
