// The stream's state is guarded by its mutex; the plan belongs to the one task that is posted at a
// time. After end() nothing is started on the call any more.
#include "server/subscribe_stream.h"

#include <algorithm>
#include <exception>
#include <string>
#include <utility>

#include "profile/request_check.h"
#include "server/messages.h"
#include "server/status_details.h"

namespace nexa::server {
namespace {

// A round larger than the queue waits for its reader; one that takes nothing for so long is gone.
constexpr std::chrono::seconds kStallLimit{5};
// Whatever the options say: an interval of nought has no next time.
constexpr std::chrono::nanoseconds kShortestInterval = std::chrono::milliseconds(1);
// How long the status of an ended stream may wait behind what the client has not read.
constexpr std::chrono::seconds kEndLimit{10};

}  // namespace

SubscribeStream::SubscribeStream(ServiceCore& core, StreamRegistry& registry,
                                 grpc::CallbackServerContext& context)
    : core_(core), registry_(registry), context_(context) {}

void SubscribeStream::start() {
  self_ = shared_from_this();
  core_.parts.observer.stream_opened();
  auto identity = std::make_shared<const CallIdentity>(identify(context_));
  ServiceCore::Login login{std::move(identity),
                           "Subscribe",
                           core_.rounds,
                           [self = self_] { return self->is_over(); },
                           {}};
  login.then = [self = self_](const grpc::Status& verdict, const access::Caller& /*caller*/) {
    self->judged(verdict);
  };
  if (!core_.authenticate(std::move(login))) end(core_.no_room());
}

bool SubscribeStream::is_over() {
  const std::lock_guard<std::mutex> lock(mutex_);
  return ended_;
}

void SubscribeStream::judged(const grpc::Status& verdict) {
  if (verdict.ok()) {
    read_next();
  } else {
    end(verdict);
  }
}

void SubscribeStream::read_next() {
  const std::lock_guard<std::mutex> lock(mutex_);
  if (!ended_) StartRead(&request_);
}

void SubscribeStream::OnReadDone(bool ok) {
  bool first = false;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (ended_) return;
    first = !subscribed_;
    subscribed_ = true;
    task_posted_ = task_posted_ || (first && ok);
  }
  if (!ok) {
    // A client that has nothing more to say goes on listening.
    if (first) end({grpc::StatusCode::INVALID_ARGUMENT, kNoSubscription});
    return;
  }
  if (!first) {
    // Of the modes, only that of a list that was polled would let the message pass.
    end(profile::check_later_message(core_.options.profile, gnmi::SubscriptionList::STREAM,
                                     request_)
            .status);
    return;
  }
  const bool posted = core_.rounds.post([self = shared_from_this()] {
    self->guarded([&self] {
      gnmi::SubscribeRequest request;
      request.Swap(&self->request_);
      self->begin(request);
    });
  });
  if (!posted) end(core_.no_room());
}

void SubscribeStream::begin(const gnmi::SubscribeRequest& request) {
  const std::chrono::nanoseconds fastest = core_.options.min_sample_interval;
  const PlanLimits limits{core_.options.profile, core_.options.max_paths,
                          std::max<std::size_t>(core_.options.max_updates, 1),
                          std::max(fastest, kShortestInterval)};
  const grpc::Status status = plan_subscriptions(core_.parts.resolver, limits, request, plan_);
  if (!status.ok()) {
    end(status);
    return;
  }
  const MonotonicTime now = std::chrono::steady_clock::now();
  for (Subscription& subscription : plan_.subscriptions) subscription.due = now;
  read_next();
  run_round();
}

void SubscribeStream::guarded(const std::function<void()>& work) {
  std::string fault = "Subscribe failed";
  try {
    work();
    return;
  } catch (const std::exception& thrown) {
    fault.append(": ").append(thrown.what());
  } catch (...) {
    fault.append(".");
  }
  core_.parts.observer.fault(fault);
  end({grpc::StatusCode::INTERNAL, kServerFault});
}

void SubscribeStream::due() {
  bool stalled = false;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (done_) return;
    if (ended_) {
      context_.TryCancel();
      return;
    }
    stalled = draining_ && std::chrono::steady_clock::now() - last_progress_ >= kStallLimit;
    if (!stalled && !draining_) {
      request_round();
      return;
    }
    if (!stalled)
      appointment_ = core_.sampler.schedule(last_progress_ + kStallLimit, weak_from_this());
  }
  if (!stalled) return;
  core_.parts.observer.stream_overflowed();
  end({grpc::StatusCode::RESOURCE_EXHAUSTED, kStreamOverflow});
}

// With the mutex held.
void SubscribeStream::request_round() {
  if (task_posted_ || ended_) return;
  // Each stream has one task at most, so the number of streams bounds them.
  task_posted_ = core_.rounds.post_unbounded(
      [self = shared_from_this()] { self->guarded([&self] { self->run_round(); }); });
}

void SubscribeStream::run_round() {
  std::size_t unsent = 0;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (ended_) return;
    unsent = queued_bytes_;
  }
  const std::size_t limit = std::max<std::size_t>(core_.options.stream_queue_bytes, 1);
  if (pending_.empty()) {
    collect_due();
    reader_keeps_up_ = unsent <= limit / 4;
  }
  SamplePage page(plan_, unsent < limit ? limit - unsent : 0);
  grpc::Status status = read_subscriptions(page);
  // A reader that was behind when the round began does not get the round's own size on top.
  if (status.ok() && !pending_.empty() && !reader_keeps_up_) {
    core_.parts.observer.stream_overflowed();
    status = grpc::Status(grpc::StatusCode::RESOURCE_EXHAUSTED, kStreamOverflow);
  }
  if (!status.ok()) {
    end(status);
    return;
  }
  queue(page.take());
  finish_page();
}

void SubscribeStream::collect_due() {
  const MonotonicTime now = std::chrono::steady_clock::now();
  for (Subscription& subscription : plan_.subscriptions) {
    if (subscription.due > now) continue;
    subscription.due = next_beat(subscription.due, subscription.interval, now);
    subscription.reporting = PathLog();  // what an interrupted round left
    pending_.push_back(&subscription);
  }
}

grpc::Status SubscribeStream::read_subscriptions(SamplePage& page) {
  std::shared_ptr<const store::StateTree> state;
  if (!core_.state.read(state).ok()) {
    // Leaves that could not be asked for are not gone: the next round tries again.
    pending_.clear();
    return grpc::Status::OK;
  }
  const std::shared_ptr<const store::Snapshot> snapshot = core_.parts.store.snapshot();
  while (!pending_.empty()) {
    bool complete = false;
    grpc::Status status = read_page(*snapshot, state.get(), *pending_.front(), page, complete);
    if (!status.ok() || !complete) return status;
    pending_.erase(pending_.begin());
  }
  return grpc::Status::OK;
}

void SubscribeStream::finish_page() {
  if (!synced_ && std::all_of(plan_.subscriptions.begin(), plan_.subscriptions.end(),
                              [](const Subscription& each) { return each.sampled; })) {
    synced_ = true;
    std::deque<QueuedMessage> sync(1);
    sync.front().response.set_sync_response(true);
    sync.front().bytes = sync.front().response.ByteSizeLong();
    queue(std::move(sync));
  }
  const std::lock_guard<std::mutex> lock(mutex_);
  task_posted_ = false;
  if (ended_) return;
  if (pending_.empty()) {
    appointment_ = core_.sampler.schedule(next_due(), weak_from_this());
  } else if (queued_bytes_ <= core_.options.stream_queue_bytes / 2) {
    request_round();
  } else {
    draining_ = true;
    appointment_ = core_.sampler.schedule(last_progress_ + kStallLimit, weak_from_this());
  }
}

MonotonicTime SubscribeStream::next_due() const {
  MonotonicTime next = MonotonicTime::max();
  for (const Subscription& subscription : plan_.subscriptions) {
    next = std::min(next, subscription.due);
  }
  return next;
}

void SubscribeStream::queue(std::deque<QueuedMessage> messages) {
  std::size_t leaves = 0;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (ended_) return;
    if (!writing_) last_progress_ = std::chrono::steady_clock::now();
    for (QueuedMessage& message : messages) {
      queued_bytes_ += message.bytes;
      leaves += message.leaves;
      waiting_.push_back(std::move(message));
    }
    write_next();
  }
  if (leaves > 0) core_.parts.observer.updates_sent(leaves);
}

// With the mutex held.
void SubscribeStream::write_next() {
  if (writing_ || ended_ || waiting_.empty()) return;
  writing_ = true;
  in_flight_ = std::move(waiting_.front());
  waiting_.pop_front();
  StartWrite(&in_flight_.response);
}

void SubscribeStream::OnWriteDone(bool ok) {
  const std::lock_guard<std::mutex> lock(mutex_);
  writing_ = false;
  queued_bytes_ -= in_flight_.bytes;
  in_flight_ = QueuedMessage();
  last_progress_ = std::chrono::steady_clock::now();
  // A write that failed is followed by the end of the call.
  if (!ok || ended_) return;
  write_next();
  if (!draining_ || queued_bytes_ > core_.options.stream_queue_bytes / 2) return;
  draining_ = false;
  core_.sampler.cancel(appointment_);
  request_round();
}

void SubscribeStream::OnCancel() { end({grpc::StatusCode::CANCELLED, kCallCancelled}); }

void SubscribeStream::end(const grpc::Status& status) {
  const std::lock_guard<std::mutex> lock(mutex_);
  if (ended_) return;
  ended_ = true;
  code_ = status.error_code();
  for (const QueuedMessage& message : waiting_) queued_bytes_ -= message.bytes;
  waiting_.clear();
  waiting_.shrink_to_fit();
  core_.sampler.cancel(appointment_);
  if (writing_) {
    const MonotonicTime limit = std::chrono::steady_clock::now() + kEndLimit;
    appointment_ = core_.sampler.schedule(limit, weak_from_this());
  }
  Finish(bounded(status));
}

void SubscribeStream::OnDone() {
  registry_.remove(this);
  std::shared_ptr<SubscribeStream> self;
  grpc::StatusCode code = grpc::StatusCode::OK;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    self = std::move(self_);
    done_ = true;
    code = code_;
    core_.sampler.cancel(appointment_);
  }
  core_.parts.observer.call_ended("Subscribe", code, std::chrono::steady_clock::now() - opened_);
  core_.parts.observer.stream_closed();
}

}  // namespace nexa::server
