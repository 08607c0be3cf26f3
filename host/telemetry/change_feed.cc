// The writer's thread finds who is touched and leaves a reference to the commit with each; what the
// commit means for a subscription is worked out on the stream's own thread.
#include "telemetry/change_feed.h"

#include <algorithm>
#include <exception>
#include <new>
#include <utility>

namespace nexa::telemetry {
namespace {

// Each holds what its commit replaced.
constexpr std::size_t kMostWaiting = 10000;

}  // namespace

void Backlog::add(std::size_t subscription, const model::Target& target) {
  auto watch = std::make_unique<Watch>();
  watch->target = &target;
  watch->backlog = this;
  watch->subscription = subscription;
  watches_.push_back(std::move(watch));
}

std::vector<TouchedStep> Backlog::take() {
  const std::lock_guard<std::mutex> lock(mutex_);
  return std::exchange(waiting_, {});
}

bool Backlog::has_come() {
  if (state_changed_) return true;
  const std::lock_guard<std::mutex> lock(mutex_);
  return !waiting_.empty();
}

bool Backlog::push(std::size_t subscription, const std::shared_ptr<const store::CommitStep>& step) {
  const std::lock_guard<std::mutex> lock(mutex_);
  if (overflowed_) return false;
  if (waiting_.size() >= kMostWaiting) {
    overflowed_ = true;
    waiting_.clear();
    return true;
  }
  waiting_.push_back({subscription, step});
  return waiting_.size() == 1;
}

ChangeFeed::ChangeFeed(store::ConfigStore& store) : store_(store) {
  std::shared_ptr<const store::Snapshot> first = store_.watch(*this);
  const std::lock_guard<std::mutex> lock(mutex_);
  if (current_ == nullptr) current_ = std::move(first);
}

ChangeFeed::~ChangeFeed() { store_.unwatch(*this); }

std::shared_ptr<const store::Snapshot> ChangeFeed::open(const std::shared_ptr<Backlog>& backlog) {
  const std::lock_guard<std::mutex> lock(mutex_);
  if (open_.insert(backlog).second) {
    try {
      for (const auto& watch : backlog->watches_) index_.add(*watch);
    } catch (...) {
      forget(backlog);
      throw;
    }
  }
  return current_ != nullptr ? current_ : store_.snapshot();
}

void ChangeFeed::close(const std::shared_ptr<Backlog>& backlog) {
  const std::lock_guard<std::mutex> lock(mutex_);
  forget(backlog);
}

// With the mutex held.
void ChangeFeed::forget(const std::shared_ptr<Backlog>& backlog) noexcept {
  if (open_.erase(backlog) == 0) return;
  for (const auto& watch : backlog->watches_) index_.remove(*watch);
}

std::shared_ptr<const store::Snapshot> ChangeFeed::current() {
  const std::lock_guard<std::mutex> lock(mutex_);
  return current_ != nullptr ? current_ : store_.snapshot();
}

void ChangeFeed::distribute(const std::shared_ptr<const store::CommitStep>& step,
                            std::vector<std::shared_ptr<Waker>>& wakers) {
  std::vector<ChangeIndex::Watch*> touched;
  index_.find_touched(*step, touched);
  for (ChangeIndex::Watch* const each : touched) {
    const auto& watch = static_cast<const Backlog::Watch&>(*each);
    if (!watch.backlog->push(watch.subscription, step)) continue;
    if (auto waker = watch.backlog->waker_.lock()) wakers.push_back(std::move(waker));
  }
}

void ChangeFeed::committed(const std::shared_ptr<const store::CommitStep>& step) noexcept {
  // Woken without the lock: the last reference to a stream may go here, and it closes its backlog.
  std::vector<std::shared_ptr<Waker>> wakers;
  try {
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      current_ = step->after;
      distribute(step, wakers);
    }
    for (const std::shared_ptr<Waker>& waker : wakers) waker->wake();
  } catch (const std::exception&) {
    give_up();
  }
}

// Without memory some may not have got a commit: nobody goes on as if it had not been.
void ChangeFeed::give_up() noexcept {
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    for (const auto& backlog : open_) {
      backlog->overflowed_ = true;
      backlog->must_wake_ = true;
    }
  }
  wake_marked();
}

// One by one, because a list of them would take memory.
void ChangeFeed::wake_marked() noexcept {
  for (;;) {
    std::shared_ptr<Waker> waker;
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      const auto marked = std::find_if(open_.begin(), open_.end(),
                                       [](const auto& backlog) { return backlog->must_wake_; });
      if (marked == open_.end()) return;
      (*marked)->must_wake_ = false;
      waker = (*marked)->waker_.lock();
    }
    if (waker) waker->wake();
  }
}

void ChangeFeed::state_changed() {
  std::vector<std::shared_ptr<Waker>> wakers;
  bool is_marked = false;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    try {
      wakers.reserve(open_.size());
    } catch (const std::bad_alloc&) {
      is_marked = true;
    }
    for (const auto& backlog : open_) {
      if (!backlog->wants_state_ || backlog->state_changed_.exchange(true)) continue;
      backlog->must_wake_ = is_marked;
      if (is_marked) continue;
      if (auto waker = backlog->waker_.lock()) wakers.push_back(std::move(waker));
    }
  }
  for (const std::shared_ptr<Waker>& waker : wakers) waker->wake();
  if (is_marked) wake_marked();
}

}  // namespace nexa::telemetry
