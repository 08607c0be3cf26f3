// The call's state is guarded by its mutex; the stream belongs to the one task that is posted at a
// time. After end() nothing is started on the call any more.
#include "server/subscribe_stream.h"

#include <algorithm>
#include <exception>
#include <string>
#include <utility>

#include "profile/request_check.h"
#include "server/messages.h"
#include "server/request_bytes.h"
#include "server/subscribe_request.h"
#include "server/want_of_memory.h"
#include "telemetry/messages.h"

namespace nexa::server {
namespace {

using telemetry::MonotonicTime;
using telemetry::QueuedMessage;

// A round larger than the queue waits for its reader; one that takes nothing for so long is gone.
constexpr std::chrono::seconds kStallLimit{5};
// How long the status of an ended stream may wait behind what the client has not read.
constexpr std::chrono::seconds kEndLimit{10};

}  // namespace

SubscribeStream::SubscribeStream(ServiceCore& core, OpenStreams<SubscribeStream>& open,
                                 grpc::CallbackServerContext& context)
    : core_(core), open_(open), context_(context) {}

void SubscribeStream::start() {
  self_ = shared_from_this();
  attempt([this] { core_.parts.observer.stream_opened(); });
  guarded([this] {
    auto identity = std::make_shared<const CallIdentity>(identify(context_));
    ServiceCore::Login login{
        std::move(identity), "Subscribe", [self = self_] { return self->is_over(); }, {}};
    login.then = [self = self_](const grpc::Status& verdict, const access::Caller& /*caller*/) {
      self->judged(verdict);
    };
    if (!core_.authenticate(std::move(login))) end(core_.no_room());
  });
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
  guarded([this, ok] { read_message(ok); });
}

void SubscribeStream::read_message(bool ok) {
  bool first = false;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (ended_) return;
    first = !subscribed_;
    subscribed_ = true;
    task_posted_ = task_posted_ || (first && ok);
    half_closed_ = !ok;
    // A client that has nothing more to say goes on listening; one that polled gets its answers.
    if (!ok && !first) {
      if (mode_ == gnmi::SubscriptionList::POLL) request_round();
      return;
    }
  }
  if (!ok) {
    end(status_of(grpc::StatusCode::INVALID_ARGUMENT, kNoSubscription));
    return;
  }
  core_.message_received(context_.peer(), request_);
  if (!first) {
    read_later_message();
    return;
  }
  const bool posted =
      core_.rounds.post([self = shared_from_this()] { self->guarded([&self] { self->begin(); }); });
  if (!posted) end(core_.no_room());
}

void SubscribeStream::read_later_message() {
  gnmi::SubscribeRequest request;
  if (!parse_request(request)) return;
  const profile::RequestVerdict verdict =
      profile::check_later_message(core_.options.profile, mode_, request);
  if (!verdict.ok()) {
    end(verdict.status);
    return;
  }
  stream_->poll();
  wake();
  read_next();
}

bool SubscribeStream::parse_request(gnmi::SubscribeRequest& request) {
  const grpc::Status status = read_request(request_, core_.options.limits.max_parts, request);
  request_.Clear();  // a stream that waits for its next message would keep it for long
  if (!status.ok()) end(status);
  return status.ok();
}

void SubscribeStream::begin() {
  gnmi::SubscribeRequest request;
  if (!parse_request(request)) return;
  const GnmiServiceOptions& options = core_.options;
  const SubscribeParts parts{core_.parts.resolver, core_.paces, options.profile, options.limits,
                             &core_.parts.models};
  telemetry::SubscriptionPlan plan;
  const grpc::Status status = plan_stream(parts, request, plan);
  if (!status.ok()) {
    end(status);
    return;
  }
  const telemetry::StreamSources sources{core_.parts.store, core_.feed,
                                         [this](std::shared_ptr<const store::StateTree>& state) {
                                           return core_.state.read(state).ok();
                                         },
                                         [this] { return core_.stopping || is_over(); }};
  stream_.emplace(sources, weak_from_this());
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    mode_ = plan.mode;
  }
  stream_->begin(std::move(plan), std::chrono::steady_clock::now());
  read_next();
  run_round();
}

void SubscribeStream::guarded(const std::function<void()>& work) noexcept {
  ServiceObserver& observer = core_.parts.observer;
  try {
    work();
  } catch (const std::bad_alloc&) {
    attempt([&] { observer.fault("Subscribe failed: no memory"); });
    end(no_memory());
  } catch (const std::exception& thrown) {
    attempt([&] { observer.fault(std::string("Subscribe failed: ") + thrown.what()); });
    end(status_of(grpc::StatusCode::INTERNAL, kServerFault));
  } catch (...) {
    attempt([&] { observer.fault("Subscribe failed"); });
    end(status_of(grpc::StatusCode::INTERNAL, kServerFault));
  }
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
  attempt([this] { core_.parts.observer.stream_overflowed(); });
  end(status_of(grpc::StatusCode::RESOURCE_EXHAUSTED, telemetry::kStreamOverflow));
}

void SubscribeStream::wake() {
  guarded([this] {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (ended_ || draining_) return;  // the round that waits for room comes first
    core_.sampler.cancel(appointment_);
    request_round();
  });
}

// With the mutex held.
void SubscribeStream::request_round() {
  if (ended_) return;
  if (task_posted_) {
    woken_ = true;
    return;
  }
  // Each stream has one task at most, so the number of streams bounds them.
  task_posted_ = core_.rounds.post_unbounded(
      [self = shared_from_this()] { self->guarded([&self] { self->run_round(); }); });
}

void SubscribeStream::run_round() {
  std::size_t unsent = 0;
  std::size_t limit = 0;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (ended_) return;
    woken_ = false;
    unsent = queued_bytes_;
    // The more all streams have waiting, the less each may have: those that nobody reads end first,
    // and there is always room left for a stream that is read.
    limit = std::max<std::size_t>(
        std::min(core_.options.limits.stream_queue_bytes, core_.queues.room()), 1);
    queue_limit_ = limit;
  }
  telemetry::Stream::Round round =
      stream_->round(unsent < limit ? limit - unsent : 0, unsent > limit / 4);
  if (!round.status.ok()) {
    if (round.status.error_code() == grpc::StatusCode::RESOURCE_EXHAUSTED) {
      attempt([this] { core_.parts.observer.stream_overflowed(); });
    }
    end(round.status);
    return;
  }
  if (!queue(std::move(round.messages))) {
    return end(status_of(grpc::StatusCode::INTERNAL, kServerFault));
  }
  finish_round(round);
}

void SubscribeStream::finish_round(const telemetry::Stream::Round& round) {
  const std::lock_guard<std::mutex> lock(mutex_);
  task_posted_ = false;
  if (ended_) return;
  // Polls that came since the round looked for them are answered by the next one.
  const bool polled_out =
      half_closed_ && mode_ == gnmi::SubscriptionList::POLL && round.is_idle && !woken_;
  if (round.is_over || polled_out) {
    closing_ = true;
    write_next();
  } else if (round.has_more && queued_bytes_ > queue_limit_ / 2) {
    draining_ = true;
    appointment_ = core_.sampler.schedule(last_progress_ + kStallLimit, weak_from_this());
  } else if (round.has_more || woken_) {
    request_round();
  } else if (round.next != MonotonicTime::max()) {
    appointment_ = core_.sampler.schedule(round.next, weak_from_this());
  }
}

// What waits, waits as the bytes that are sent: as messages they take several times as much.
bool SubscribeStream::queue(std::deque<QueuedMessage> messages) {
  std::size_t leaves = 0;
  std::vector<QueuedBytes> written;
  written.reserve(messages.size());
  while (!messages.empty()) {
    QueuedBytes& next = written.emplace_back();
    if (!write_answer(messages.front().response, next.bytes).ok()) return false;
    next.size = next.bytes.Length();
    leaves += messages.front().leaves;
    messages.pop_front();
  }
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (ended_) return true;
    if (!writing_) last_progress_ = std::chrono::steady_clock::now();
    for (QueuedBytes& message : written) {
      queued_bytes_ += message.size;
      core_.queues.add(message.size);
      waiting_.push_back(std::move(message));
    }
    write_next();
  }
  if (leaves > 0) attempt([&] { core_.parts.observer.updates_sent(leaves); });
  return true;
}

// With the mutex held.
void SubscribeStream::write_next() {
  if (writing_ || ended_) return;
  if (waiting_.empty()) {
    if (closing_) end_locked(grpc::Status::OK);
    return;
  }
  writing_ = true;
  in_flight_ = std::move(waiting_.front());
  waiting_.pop_front();
  StartWrite(&in_flight_.bytes);
}

void SubscribeStream::OnWriteDone(bool ok) {
  guarded([this, ok] { write_done(ok); });
}

void SubscribeStream::write_done(bool ok) {
  const std::lock_guard<std::mutex> lock(mutex_);
  writing_ = false;
  unqueue(in_flight_.size);
  in_flight_ = QueuedBytes();
  last_progress_ = std::chrono::steady_clock::now();
  // A write that failed is followed by the end of the call.
  if (!ok || ended_) return;
  write_next();
  if (!draining_ || queued_bytes_ > queue_limit_ / 2) return;
  draining_ = false;
  core_.sampler.cancel(appointment_);
  request_round();
}

// With the mutex held.
void SubscribeStream::unqueue(std::size_t bytes) {
  queued_bytes_ -= bytes;
  core_.queues.give_back(bytes);
}

void SubscribeStream::OnCancel() { end(status_of(grpc::StatusCode::CANCELLED, kCallCancelled)); }

void SubscribeStream::end(const grpc::Status& status) noexcept {
  const std::lock_guard<std::mutex> lock(mutex_);
  end_locked(status);
}

// With the mutex held.
void SubscribeStream::end_locked(const grpc::Status& status) noexcept {
  if (ended_) return;
  ended_ = true;
  code_ = status.error_code();
  for (const QueuedBytes& message : waiting_) unqueue(message.size);
  waiting_.clear();
  core_.sampler.cancel(appointment_);
  Finish(sendable(status));
  if (!writing_) return;
  try {
    const MonotonicTime limit = std::chrono::steady_clock::now() + kEndLimit;
    appointment_ = core_.sampler.schedule(limit, weak_from_this());
  } catch (const std::bad_alloc&) {
    context_.TryCancel();  // nobody would come back to one that does not read
  }
}

void SubscribeStream::OnDone() {
  open_.remove(this);
  std::shared_ptr<SubscribeStream> self;
  grpc::StatusCode code = grpc::StatusCode::OK;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    self = std::move(self_);
    done_ = true;
    unqueue(queued_bytes_);
    code = code_;
    core_.sampler.cancel(appointment_);
  }
  const auto age = std::chrono::steady_clock::now() - opened_;
  attempt([&] { core_.parts.observer.call_ended("Subscribe", code, age); });
  attempt([&] { core_.parts.observer.stream_closed(); });
}

}  // namespace nexa::server
