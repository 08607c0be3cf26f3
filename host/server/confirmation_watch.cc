// Whether a commit still waits is the store's to say; here is only when to ask.
#include "server/confirmation_watch.h"

#include <algorithm>
#include <exception>
#include <future>
#include <memory>

#include "server/audit.h"
#include "text/display.h"

namespace nexa::server {
namespace {

constexpr char kAuthor[] = "nexad";
constexpr std::chrono::seconds kLongestPause{60};
constexpr std::chrono::milliseconds kNextLook{100};

std::chrono::nanoseconds until(std::int64_t time_ns) {
  const auto now = std::chrono::nanoseconds(std::chrono::system_clock::now().time_since_epoch());
  return std::chrono::nanoseconds(time_ns) - now;
}

}  // namespace

// On the writer's thread like all the rest: an appointment that is due already is kept at once.
void ConfirmationWatch::begin() {
  const auto task = std::make_shared<std::packaged_task<void()>>([this] { run(); });
  core_.writer.post_unbounded([task] { (*task)(); });
  task->get_future().get();
}

void ConfirmationWatch::stand_by() { schedule(std::chrono::steady_clock::now() + kNextLook); }

// There is another appointment until run() made its own: that may fail for want of memory.
void ConfirmationWatch::due() {
  stand_by();
  if (is_posted_.exchange(true)) return;
  try {
    core_.writer.post_unbounded([self = shared_from_this()] { self->run(); });
  } catch (...) {
    is_posted_ = false;
    throw;
  }
}

void ConfirmationWatch::look() {
  pause_ = std::chrono::seconds(0);
  const std::optional<store::PendingCommit> pending = core_.parts.store.pending();
  if (!pending) {
    waiting_ = Waiting();
    const std::lock_guard<std::mutex> lock(mutex_);
    core_.sampler.cancel(appointment_);
    return;
  }
  if (!is_known(*pending)) {
    // A clock that was set back meanwhile makes nothing wait longer than it was to.
    const auto left = std::clamp(until(pending->time_ns), std::chrono::nanoseconds(0),
                                 std::max(pending->duration, std::chrono::nanoseconds(0)));
    waiting_ = {pending->id, pending->number, pending->time_ns,
                std::chrono::steady_clock::now() + left};
  }
  schedule(waiting_.deadline);
}

bool ConfirmationWatch::is_known(const store::PendingCommit& pending) const {
  return pending.id == waiting_.id && pending.number == waiting_.number &&
         pending.time_ns == waiting_.time_ns;
}

void ConfirmationWatch::look_for_a_new_one() {
  const std::optional<store::PendingCommit> pending = core_.parts.store.pending();
  if (pending && !is_known(*pending)) look();
}

void ConfirmationWatch::schedule(telemetry::MonotonicTime time) {
  const std::lock_guard<std::mutex> lock(mutex_);
  const auto next = core_.sampler.schedule(time, weak_from_this());
  core_.sampler.cancel(appointment_);
  appointment_ = next;
}

void ConfirmationWatch::run() {
  is_posted_ = false;
  const std::chrono::seconds pause = pause_;
  look();
  const std::optional<store::PendingCommit> pending = core_.parts.store.pending();
  if (!pending || std::chrono::steady_clock::now() < waiting_.deadline) return;
  if (take_back(*pending)) {
    look();
    return;
  }
  pause_ = std::min(std::max(2 * pause, std::chrono::seconds(1)), kLongestPause);
  schedule(std::chrono::steady_clock::now() + pause_);
}

bool ConfirmationWatch::take_back(const store::PendingCommit& pending) {
  store::CommitResult result;
  try {
    result = core_.parts.store.cancel(pending.id, kAuthor,
                                      text::quoted(pending.id) + " was not confirmed in time",
                                      core_.parts.approve);
  } catch (const std::exception& fault) {
    result.status = {grpc::StatusCode::INTERNAL, fault.what()};
  }
  // It was confirmed or cancelled meanwhile.
  if (result.status.error_code() == grpc::StatusCode::INVALID_ARGUMENT) return true;
  if (result.status.ok()) {
    core_.parts.observer.audit(expiry_line(pending, result));
    last_fault_.clear();
    return true;
  }
  const std::string fault =
      "commit " + std::to_string(pending.number) +
      " was not confirmed in time and cannot be taken back: " + result.status.error_message();
  if (fault != last_fault_) core_.parts.observer.fault(fault);
  last_fault_ = fault;
  return false;
}

}  // namespace nexa::server
