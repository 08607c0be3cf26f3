// A snapshot that nobody reads any more ends outside of the locks: freeing it may take its time.
#include "store/publication.h"

#include <algorithm>
#include <utility>

namespace nexa::store {

void Publication::start(std::shared_ptr<const TreeSnapshot> first, StoreHealth health) {
  current_ = std::move(first);
  health_ = std::move(health);
}

std::shared_ptr<const TreeSnapshot> Publication::current() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return current_;
}

StoreHealth Publication::health() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return health_;
}

void Publication::judged(std::uint64_t deaths, bool whole) {
  const std::lock_guard<std::mutex> lock(mutex_);
  health_.deaths = deaths;
  if (whole) ++health_.whole;
}

void Publication::verified(std::uint64_t number, const std::string& violation) {
  const std::lock_guard<std::mutex> lock(mutex_);
  if (violation.empty()) {
    health_.verified = std::max(health_.verified, number);
    if (number == current_->number()) health_.violation.clear();
  } else if (number >= health_.verified) {
    health_.violation = "commit " + std::to_string(number) + ": " + violation;
  }
}

bool Publication::is_verified(std::uint64_t number) const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return health_.verified == number && health_.violation.empty();
}

void Publication::publish(std::shared_ptr<const TreeSnapshot> snapshot, const Commit& commit) {
  const std::lock_guard<std::mutex> watching(watching_);
  std::shared_ptr<const CommitStep> step;
  if (!watchers_.empty()) {
    step = std::make_shared<const CommitStep>(
        CommitStep{current(), snapshot, commit.time_ns, commit.confirm_id});
  }
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    const std::uint64_t number = snapshot->number();
    current_.swap(snapshot);
    if (commit.whole) {
      health_.violation.clear();
      health_.verified = number;
    }
  }
  for (CommitWatcher* const watcher : watchers_) watcher->committed(step);
}

std::shared_ptr<const Snapshot> Publication::watch(CommitWatcher& watcher) {
  const std::lock_guard<std::mutex> lock(watching_);
  watchers_.push_back(&watcher);
  return current();
}

void Publication::unwatch(CommitWatcher& watcher) {
  const std::lock_guard<std::mutex> lock(watching_);
  std::erase(watchers_, &watcher);
}

}  // namespace nexa::store
