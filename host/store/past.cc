// Each state is completed as a start completes the newest one: by libyang, in a process that may
// die of it.
#include "store/past.h"

#include <string>

#include "store/store_start.h"
#include "store/stored_state.h"
#include "store/tree_snapshot.h"

namespace nexa::store {
namespace {

using grpc::StatusCode;

// Commits that are read at a time: their texts are in memory together.
constexpr std::uint64_t kCommitsAtOnce = 100;
constexpr char kInUse[] = "the past is being read for somebody else, try again";

}  // namespace

grpc::Status Past::base_of(std::int64_t start_ns, ImagePtr& configured,
                           std::uint64_t& number) const {
  bool is_kept = false;
  const LogResult found = log_.number_before(start_ns, number, is_kept);
  if (!found.ok()) return {StatusCode::INTERNAL, found.text};
  if (!is_kept) {
    return {StatusCode::OUT_OF_RANGE, "the history does not go back that far"};
  }
  text::Result<StoredState> state = configured_state(log_, number);
  if (!state.ok()) {
    return {StatusCode::FAILED_PRECONDITION,
            "commit " + std::to_string(number) + " cannot be shown: " + state.failure().line()};
  }
  configured = std::move(state).value().image;
  return grpc::Status::OK;
}

std::shared_ptr<const Snapshot> Past::as_read(const ImagePtr& configured, std::uint64_t number) {
  if (judge_ == nullptr) judge_ = std::make_unique<Judge>();
  StartState completed;
  judge_configured(configured, *judge_, completed);
  return std::make_shared<TreeSnapshot>(std::move(completed.image), number);
}

grpc::Status Past::replay(std::int64_t start_ns, std::int64_t end_ns, const StepSink& each) {
  const std::unique_lock<std::mutex> lock(mutex_, std::try_to_lock);
  if (!lock.owns_lock()) return {StatusCode::UNAVAILABLE, kInUse};
  ImagePtr configured;
  std::uint64_t number = 0;
  grpc::Status status = base_of(start_ns, configured, number);
  if (!status.ok()) return status;
  CommitStep step{nullptr, as_read(configured, number), start_ns};
  if (!each(step)) return grpc::Status::OK;
  const std::uint64_t last = log_.head();
  while (number < last) {
    std::vector<LogEntry> entries;
    const auto keep = [&entries](const LogEntry& entry) {
      entries.push_back(entry);
      return entries.size() < kCommitsAtOnce;
    };
    if (const text::Done done = log_.replay_after(number, keep); !done.ok()) {
      return {StatusCode::INTERNAL, done.failure().line()};
    }
    for (const LogEntry& entry : entries) {
      if (entry.number > last || entry.time_ns >= end_ns) return grpc::Status::OK;
      if (const text::Done done = apply_entry(entry, configured); !done.ok()) {
        return {StatusCode::FAILED_PRECONDITION, done.failure().line()};
      }
      number = entry.number;
      step = {std::move(step.after), as_read(configured, number), entry.time_ns};
      if (!each(step)) return grpc::Status::OK;
    }
    if (entries.empty()) break;
  }
  return grpc::Status::OK;
}

}  // namespace nexa::store
