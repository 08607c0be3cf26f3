// Commits on their way to the streams that watch them. Each stream has a backlog: the commits that
// touch its subscriptions, in commit order, which its own thread takes when it comes to it.
#ifndef HOST_TELEMETRY_CHANGE_FEED_H_
#define HOST_TELEMETRY_CHANGE_FEED_H_

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <unordered_set>
#include <vector>

#include "store/config_store.h"
#include "telemetry/change_index.h"

namespace nexa::telemetry {

// Somebody who is to look at his backlog.
class Waker {
 public:
  virtual ~Waker() = default;
  // Hands the work over and returns; throws nothing. Any thread.
  virtual void wake() = 0;
};

// A commit and the subscription that it touches.
struct TouchedStep {
  std::size_t subscription = 0;
  std::shared_ptr<const store::CommitStep> step;
};

class Backlog {
 public:
  explicit Backlog(std::weak_ptr<Waker> waker) : waker_(std::move(waker)) {}

  // Before the backlog is opened. `target` outlives it there.
  void add(std::size_t subscription, const model::Target& target);

  // From now on wake() is also called when operational data may have changed.
  void want_state() { wants_state_ = true; }

  // What has come since the last time, in commit order. Any thread.
  std::vector<TouchedStep> take();

  // Whether operational data may have changed since the last time. Any thread.
  bool take_state_change() { return state_changed_.exchange(false); }

  // Whether there is anything to take. Any thread.
  bool has_come();

  // Whether commits were dropped, because too many of them waited.
  bool has_overflowed() const { return overflowed_; }

 private:
  friend class ChangeFeed;
  struct Watch : ChangeIndex::Watch {
    Backlog* backlog = nullptr;
    std::size_t subscription = 0;
  };

  // The waker is to be called when something new came.
  bool push(std::size_t subscription, const std::shared_ptr<const store::CommitStep>& step);

  const std::weak_ptr<Waker> waker_;
  std::vector<std::unique_ptr<Watch>> watches_;
  bool wants_state_ = false;
  bool must_wake_ = false;  // the feed's
  std::atomic<bool> state_changed_{false};
  std::atomic<bool> overflowed_{false};
  std::mutex mutex_;
  std::vector<TouchedStep> waiting_;
};

class ChangeFeed final : private store::CommitWatcher {
 public:
  // `store` outlives the feed.
  explicit ChangeFeed(store::ConfigStore& store);
  ~ChangeFeed() override;
  ChangeFeed(const ChangeFeed&) = delete;
  ChangeFeed& operator=(const ChangeFeed&) = delete;

  // Begins to fill the backlog and returns the snapshot that its first commit follows. Any thread.
  std::shared_ptr<const store::Snapshot> open(const std::shared_ptr<Backlog>& backlog);

  // Ends it; none is no error. Any thread.
  void close(const std::shared_ptr<Backlog>& backlog);

  // A snapshot; every commit up to it stands in the backlogs that it touches. Any thread.
  std::shared_ptr<const store::Snapshot> current();

  // Operational data may have changed. Any thread.
  void state_changed();

 private:
  void committed(const std::shared_ptr<const store::CommitStep>& step) noexcept override;
  void distribute(const std::shared_ptr<const store::CommitStep>& step,
                  std::vector<std::shared_ptr<Waker>>& wakers);
  void forget(const std::shared_ptr<Backlog>& backlog) noexcept;
  void give_up() noexcept;
  void wake_marked() noexcept;

  store::ConfigStore& store_;
  std::mutex mutex_;
  std::shared_ptr<const store::Snapshot> current_;
  ChangeIndex index_;
  std::unordered_set<std::shared_ptr<Backlog>> open_;
};

}  // namespace nexa::telemetry

#endif  // HOST_TELEMETRY_CHANGE_FEED_H_
