// How many threads there are, and how much may wait for them.
#include "server/service_core.h"

#include <algorithm>
#include <exception>
#include <thread>
#include <utility>

#include "server/audit.h"
#include "server/confirmation_watch.h"
#include "server/messages.h"
#include "server/status_details.h"

namespace nexa::server {
namespace {

// The message and what is sent of it.
constexpr std::size_t kCopiesOfAnswer = 2;
constexpr std::size_t kWaitingLogins = 1000;
constexpr std::size_t kWaitingRequests = 10000;
constexpr unsigned kFewestWorkers = 2;
constexpr std::chrono::milliseconds kStateLifetime{10};

unsigned worker_count(const GnmiServiceOptions& options) {
  if (options.workers != 0) return options.workers;
  const unsigned cores = std::thread::hardware_concurrency();
  return std::max(cores, kFewestWorkers);
}

WorkerPool::FaultSink fault_sink(ServiceObserver& observer) {
  return [&observer](const std::string& line) { observer.fault(line); };
}

}  // namespace

ServiceCore::ServiceCore(const GnmiServiceParts& used_parts, const GnmiServiceOptions& used_options)
    : parts(used_parts),
      options(used_options),
      state(parts.store, parts.providers, kStateLifetime, fault_sink(parts.observer)),
      paces(parts.resolver.schema(), state.providers(), parts.mirror),
      feed(parts.store),
      unread(std::make_shared<UnreadAnswers>(options.limits.unread_answer_bytes)),
      logins(1, kWaitingLogins, fault_sink(parts.observer)),
      workers(worker_count(options), kWaitingRequests, fault_sink(parts.observer)),
      rounds(worker_count(options), kWaitingRequests, fault_sink(parts.observer)),
      writer(1, options.limits.pending_sets, fault_sink(parts.observer)),
      confirmations(std::make_shared<ConfirmationWatch>(*this)),
      state_events(std::make_shared<StateEvents>(state, feed, sampler)) {
  confirmations->begin();
}

grpc::Status ServiceCore::no_room() const {
  if (stopping) return {grpc::StatusCode::UNAVAILABLE, kShuttingDown};
  return {grpc::StatusCode::RESOURCE_EXHAUSTED, kTooManyRequests};
}

// Passwords are hashed.
bool ServiceCore::is_slow(const Login& login) {
  return access::proof_of(login.identity->credentials()) == access::Proof::kPassword;
}

bool ServiceCore::authenticate(Login login) {
  WorkerPool& pool = is_slow(login) ? logins : login.pool;
  return pool.post([this, login = std::move(login)] { judge(login); });
}

void ServiceCore::judge(const Login& login) {
  access::Caller caller;
  grpc::Status verdict(grpc::StatusCode::INTERNAL, kServerFault);
  if (stopping) {
    verdict = no_room();
  } else if (login.is_abandoned()) {
    verdict = grpc::Status(grpc::StatusCode::CANCELLED, kCallCancelled);
  } else {
    try {
      verdict = parts.access.authenticate(login.identity->credentials(), caller);
    } catch (const std::exception& fault) {
      parts.observer.fault(std::string("access control failed: ") + fault.what());
    }
  }
  if (verdict.error_code() == grpc::StatusCode::UNAUTHENTICATED) {
    parts.observer.login_failed(login_line(*login.identity, login.method, verdict));
  }
  // The login thread goes back to logins.
  if (!is_slow(login) || !verdict.ok()) {
    login.then(verdict, caller);
  } else if (!login.pool.post([then = login.then, verdict, caller] { then(verdict, caller); })) {
    login.then(no_room(), caller);
  }
}

UnaryCall::UnaryCall(ServiceCore& core, grpc::CallbackServerContext& context, const char* method)
    : core_(core),
      context_(context),
      method_(method),
      reactor_(AnswerReactor::make(core.unread)),
      identity_(std::make_shared<const CallIdentity>(identify(context))) {}

UnaryCall::~UnaryCall() { finish(core_.no_room()); }

void UnaryCall::finish(const grpc::Status& status) {
  if (finished_.exchange(true)) return;
  core_.parts.observer.call_ended(method_, status.error_code(), age());
  reactor_->Finish(bounded(status));
}

void UnaryCall::finish(const grpc::Status& status, google::protobuf::Message& answer) {
  if (!status.ok()) {
    answer.Clear();  // nothing of it is sent, and it would stay until the client has the status
    finish(status);
  } else if (finished_ || reactor_->count(kCopiesOfAnswer * answer.ByteSizeLong())) {
    finish(status);
  } else {
    answer.Clear();
    finish({grpc::StatusCode::RESOURCE_EXHAUSTED, kTooManyUnread});
  }
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

}  // namespace nexa::server
