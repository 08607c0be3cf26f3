#include "server/service_core.h"

#include <exception>
#include <thread>
#include <utility>

#include "server/messages.h"
#include "server/status_details.h"

namespace nexa::host {
namespace {

constexpr std::size_t kWaitingRequests = 10000;
constexpr std::chrono::milliseconds kStateLifetime{10};

unsigned worker_count(const GnmiServiceOptions& options) {
  if (options.workers != 0) return options.workers;
  const unsigned cores = std::thread::hardware_concurrency();
  return cores == 0 ? 1 : cores;
}

WorkerPool::FaultSink fault_sink(ServiceObserver& observer) {
  return [&observer](const std::string& line) { observer.fault(line); };
}

}  // namespace

ServiceCore::ServiceCore(const GnmiServiceParts& used_parts, const GnmiServiceOptions& used_options)
    : parts(used_parts),
      options(used_options),
      state(parts.store, parts.providers, kStateLifetime, fault_sink(parts.observer)),
      logins(1, kWaitingRequests, fault_sink(parts.observer)),
      workers(worker_count(options), kWaitingRequests, fault_sink(parts.observer)),
      writer(1, options.pending_sets, fault_sink(parts.observer)) {}

grpc::Status ServiceCore::no_room() const {
  if (stopping) return {grpc::StatusCode::UNAVAILABLE, kShuttingDown};
  return {grpc::StatusCode::RESOURCE_EXHAUSTED, kTooManyRequests};
}

bool ServiceCore::authenticate(std::shared_ptr<const CallIdentity> identity, Judged then) {
  WorkerPool& pool = identity->has_password ? logins : workers;
  return pool.post(
      [this, identity = std::move(identity), then = std::move(then)] { judge(*identity, then); });
}

void ServiceCore::judge(const CallIdentity& identity, const Judged& then) {
  Caller caller;
  grpc::Status verdict(grpc::StatusCode::INTERNAL, kServerFault);
  try {
    verdict = stopping ? grpc::Status(grpc::StatusCode::UNAVAILABLE, kShuttingDown)
                       : parts.access.authenticate(identity.credentials(), caller);
  } catch (const std::exception& fault) {
    parts.observer.fault(std::string("access control failed: ") + fault.what());
  }
  if (!identity.has_password) {
    then(verdict, caller);
    return;
  }
  // The login thread goes back to logins.
  const bool posted = workers.post([then, verdict, caller] { then(verdict, caller); });
  if (!posted) then(no_room(), caller);
}

UnaryCall::UnaryCall(ServiceCore& core, grpc::CallbackServerContext& context, const char* method)
    : core_(core),
      context_(context),
      method_(method),
      reactor_(context.DefaultReactor()),
      identity_(std::make_shared<const CallIdentity>(identify(context))) {}

UnaryCall::~UnaryCall() { finish(core_.no_room()); }

void UnaryCall::finish(const grpc::Status& status) {
  if (finished_.exchange(true)) return;
  core_.parts.observer.call_ended(method_, status.error_code(), age());
  reactor_->Finish(bounded(status));
}

std::chrono::nanoseconds UnaryCall::age() const {
  return std::chrono::steady_clock::now() - begin_;
}

grpc::Status UnaryCall::guarded(const std::function<grpc::Status()>& work) const {
  try {
    return work();
  } catch (const std::exception& fault) {
    core_.parts.observer.fault(std::string(method_) + " failed: " + fault.what());
  } catch (...) {
    core_.parts.observer.fault(std::string(method_) + " failed");
  }
  return {grpc::StatusCode::INTERNAL, kServerFault};
}

}  // namespace nexa::host
