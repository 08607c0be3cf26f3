// The log keeps it, so it waits across restarts.
#include "store/waiting_commit.h"

#include <limits>

#include "store/commit_answer.h"
#include "text/display.h"

namespace nexa::store {
namespace {

using grpc::StatusCode;

// The end of the clock's range when that is nearer.
std::int64_t time_after(std::int64_t time_ns, std::int64_t duration_ns) {
  return duration_ns > std::numeric_limits<std::int64_t>::max() - time_ns
             ? std::numeric_limits<std::int64_t>::max()
             : time_ns + duration_ns;
}

}  // namespace

std::optional<PendingCommit> WaitingCommit::pending() const {
  const std::optional<LogPending> pending = log_.pending();
  if (!pending) return std::nullopt;
  return PendingCommit{pending->id, pending->number, pending->base, pending->deadline_ns,
                       std::chrono::nanoseconds(pending->duration_ns)};
}

grpc::Status WaitingCommit::is_free() const {
  const std::optional<LogPending> pending = log_.pending();
  if (!pending) return grpc::Status::OK;
  return {StatusCode::FAILED_PRECONDITION,
          "commit " + std::to_string(pending->number) + " waits for its confirmation as " +
              text::quoted(pending->id) + "; confirm or cancel it first"};
}

grpc::Status WaitingCommit::has_name(const std::string& id) const {
  const std::optional<LogPending> pending = log_.pending();
  if (!pending) return {StatusCode::FAILED_PRECONDITION, kNothingWaits};
  if (pending->id == id) return grpc::Status::OK;
  return {StatusCode::INVALID_ARGUMENT, "the commit that waits for its confirmation is " +
                                            text::quoted(pending->id) + ", not " +
                                            text::quoted(id)};
}

PendingChange WaitingCommit::wait_for(const CommitRequest& request) const {
  return {PendingChange::Kind::kSet,
          {0, log_.head(), request.confirm_id, 0,
           static_cast<std::int64_t>(request.confirm_within.count())}};
}

void WaitingCommit::set_out(PendingChange& change, std::uint64_t number, std::int64_t now_ns) {
  change.pending.number = number;
  change.pending.deadline_ns = time_after(now_ns, change.pending.duration_ns);
}

grpc::Status WaitingCommit::confirm(const std::string& id) {
  if (grpc::Status status = has_name(id); !status.ok()) return status;
  return write({PendingChange::Kind::kClear});
}

grpc::Status WaitingCommit::extend(const std::string& id, std::chrono::nanoseconds duration,
                                   std::int64_t now_ns) {
  if (grpc::Status status = has_name(id); !status.ok()) return status;
  LogPending pending = *log_.pending();
  pending.duration_ns = duration.count();
  pending.deadline_ns = time_after(now_ns, pending.duration_ns);
  return write({PendingChange::Kind::kSet, pending});
}

grpc::Status WaitingCommit::write(const PendingChange& change) {
  const LogResult logged = log_.set_pending(change);
  return logged.ok() ? grpc::Status::OK : grpc::Status(code_of(logged.code), logged.text);
}

}  // namespace nexa::store
