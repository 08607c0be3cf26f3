// How many threads there are, and how much may wait for them.
#include "server/service_core.h"

#include <algorithm>
#include <exception>
#include <thread>
#include <utility>

#include "access/peer_address.h"
#include "request/status_details.h"
#include "server/audit.h"
#include "server/confirmation_watch.h"
#include "server/messages.h"
#include "server/request_bytes.h"
#include "server/want_of_memory.h"

namespace nexa::server {
namespace {

constexpr std::size_t kWaitingRequests = 10000;
constexpr unsigned kFewestWorkers = 2;
constexpr std::chrono::milliseconds kStateLifetime{10};

unsigned worker_count(const GnmiServiceOptions& options) {
  if (options.workers != 0) return options.workers;
  const unsigned cores = std::thread::hardware_concurrency();
  return std::max(cores, kFewestWorkers);
}

grpc::Status too_many_unread() noexcept {
  return status_of(grpc::StatusCode::RESOURCE_EXHAUSTED, kTooManyUnread);
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
      queues(options.limits.unread_stream_bytes),
      logins({}, fault_sink(parts.observer)),
      workers(worker_count(options), kWaitingRequests, fault_sink(parts.observer)),
      rounds(worker_count(options), kWaitingRequests, fault_sink(parts.observer)),
      writer(1, options.limits.pending_sets, fault_sink(parts.observer)),
      confirmations(std::make_shared<ConfirmationWatch>(*this)),
      state_events(std::make_shared<StateEvents>(state, feed, sampler)) {
  confirmations->begin();
}

void ServiceCore::message_received(const std::string& peer, const grpc::ByteBuffer& bytes) const {
  if (parts.connections != nullptr) parts.connections->message_received(peer, bytes.Length());
}

grpc::Status ServiceCore::no_room() const noexcept {
  if (stopping) return status_of(grpc::StatusCode::UNAVAILABLE, kShuttingDown);
  return status_of(grpc::StatusCode::RESOURCE_EXHAUSTED, kTooManyRequests);
}

grpc::Status ServiceCore::dropped() const noexcept { return stopping ? no_room() : no_memory(); }

bool ServiceCore::authenticate(Login login) {
  if (parts.connections != nullptr) {
    login.then = [connections = parts.connections, identity = login.identity,
                  then = std::move(login.then)](const grpc::Status& verdict,
                                                const access::Caller& caller) {
      if (verdict.ok()) attempt([&] { connections->login_succeeded(identity->peer); });
      then(verdict, caller);
    };
  }
  const access::Credentials credentials = login.identity->credentials();
  access::Caller caller;
  if (access::proof_of(credentials) != access::Proof::kPassword || stopping) {
    judge(login);
    return true;
  }
  if (parts.access.remembers(credentials, caller)) {
    login.then(grpc::Status::OK, caller);
    return true;
  }
  const auto peer = access::parse_peer(login.identity->peer);
  const std::string address = peer ? peer->network() : login.identity->peer;
  const auto refuse = [then = login.then] {
    then(status_of(grpc::StatusCode::RESOURCE_EXHAUSTED, kTooManyLogins), {});
  };
  return logins.post(address, {[this, login = std::move(login)] { return judge(login); }, refuse});
}

grpc::Status ServiceCore::verdict_on(const Login& login, access::Caller& caller) const {
  if (stopping) return no_room();
  if (login.is_abandoned()) return status_of(grpc::StatusCode::CANCELLED, kCallCancelled);
  try {
    return parts.access.authenticate(login.identity->credentials(), caller);
  } catch (const std::bad_alloc&) {
    return no_memory();
  } catch (const std::exception& fault) {
    attempt([&] { parts.observer.fault(std::string("access control failed: ") + fault.what()); });
  }
  return status_of(grpc::StatusCode::INTERNAL, kServerFault);
}

bool ServiceCore::judge(const Login& login) {
  access::Caller caller;
  const grpc::Status verdict = verdict_on(login, caller);
  const bool is_wrong = verdict.error_code() == grpc::StatusCode::UNAUTHENTICATED;
  if (is_wrong) {
    attempt(
        [&] { parts.observer.login_failed(login_line(*login.identity, login.method, verdict)); });
  }
  login.then(verdict, caller);
  return is_wrong;
}

UnaryCall::UnaryCall(ServiceCore& core, grpc::CallbackServerContext& context, const char* method)
    : core_(core),
      context_(context),
      method_(method),
      identity_(std::make_shared<const CallIdentity>(identify(context))),
      reactor_(AnswerReactor::make(core.unread)) {}

UnaryCall::~UnaryCall() { finish(core_.dropped()); }

void UnaryCall::finish(const grpc::Status& status) noexcept {
  if (finished_.exchange(true)) return;
  attempt([&] { core_.parts.observer.call_ended(method_, status.error_code(), age()); });
  reactor_->Finish(sendable(status));
}

void UnaryCall::finish(const grpc::Status& status, grpc::ByteBuffer& answer) noexcept {
  if (!status.ok()) return finish(status);
  if (finished_.exchange(true)) return;
  grpc::Status verdict;
  if (!reactor_->answer(answer)) {
    verdict = too_many_unread();
    reactor_->Finish(sendable(verdict));
  }
  attempt([&] { core_.parts.observer.call_ended(method_, verdict.error_code(), age()); });
}

grpc::Status UnaryCall::reserve(std::size_t bytes) {
  return reactor_->reserve(bytes) ? grpc::Status::OK : too_many_unread();
}

void UnaryCall::receive(std::function<void(const grpc::Status&)> then) {
  reactor_->read([this, then = std::move(then)](bool is_request, grpc::ByteBuffer& bytes) {
    if (cancelled()) return then(status_of(grpc::StatusCode::CANCELLED, kCallCancelled));
    if (!is_request) return then(status_of(grpc::StatusCode::INVALID_ARGUMENT, kNoSuchMessage));
    core_.message_received(identity_->peer, bytes);
    bytes_.Swap(&bytes);
    if (!core_.workers.post([then] { then(grpc::Status::OK); })) then(core_.no_room());
  });
}

grpc::Status UnaryCall::request(google::protobuf::Message& message) {
  return read_request(bytes_, core_.options.limits.max_parts, message);
}

std::chrono::nanoseconds UnaryCall::age() const {
  return std::chrono::steady_clock::now() - begin_;
}

grpc::Status UnaryCall::guarded(const std::function<grpc::Status()>& work) const {
  try {
    return work();
  } catch (const std::bad_alloc&) {
    attempt([&] { core_.parts.observer.fault(std::string(method_) + " failed: no memory"); });
    return no_memory();
  } catch (const std::exception& fault) {
    attempt([&] { core_.parts.observer.fault(std::string(method_) + " failed: " + fault.what()); });
  } catch (...) {
    attempt([&] { core_.parts.observer.fault(std::string(method_) + " failed"); });
  }
  return status_of(grpc::StatusCode::INTERNAL, kServerFault);
}

}  // namespace nexa::server
