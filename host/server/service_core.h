// What all calls of the service share: the rooms below, the threads, the end.
#ifndef HOST_SERVER_SERVICE_CORE_H_
#define HOST_SERVER_SERVICE_CORE_H_

#include <grpcpp/server_context.h>
#include <grpcpp/support/server_callback.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <utility>

#include "server/arbitration.h"
#include "server/call_identity.h"
#include "server/gnmi_service.h"
#include "server/login_queue.h"
#include "server/state_cache.h"
#include "server/state_events.h"
#include "server/unread_answers.h"
#include "server/worker_pool.h"
#include "telemetry/change_feed.h"
#include "telemetry/leaf_paces.h"
#include "telemetry/sampler.h"

namespace nexa::server {

class ConfirmationWatch;

class ServiceCore {
 public:
  ServiceCore(const GnmiServiceParts& used_parts, const GnmiServiceOptions& used_options);

  // What a call needs of its login.
  struct Login {
    std::shared_ptr<const CallIdentity> identity;
    const char* method;                  // for the audit
    std::function<bool()> is_abandoned;  // whether nobody waits for the verdict any more
    // Does nothing that takes long: the thread has other logins to judge, or is gRPC's.
    std::function<void(const grpc::Status& verdict, const nexa::access::Caller& caller)> then;
  };

  // Judges the caller by what its metadata say, before anything of the request is read, and calls
  // `then` with the verdict: at once, or on a thread of the core when a password has to be hashed.
  // False when there is no room for it; `login` is dropped then.
  bool authenticate(Login login);

  // To be told of each message that is read.
  void message_received(const std::string& peer, const grpc::ByteBuffer& bytes) const;

  // What a call is answered for which no thread could be found.
  grpc::Status no_room() const noexcept;

  // What a call is answered that nobody answered.
  grpc::Status dropped() const noexcept;

  const GnmiServiceParts parts;
  const GnmiServiceOptions options;
  std::atomic<bool> stopping{false};
  StateCache state;
  const telemetry::LeafPaces paces;
  telemetry::ChangeFeed feed;
  Arbitration arbitration;
  const std::shared_ptr<UnreadAnswers> unread;
  UnreadAnswers queues;  // of all streams

  // Passwords that are not known to be right.
  LoginQueue logins;
  WorkerPool workers;  // unary calls: checks, conversions, serialisations
  WorkerPool rounds;   // the same for streams: neither waits for the other's serialisations
  WorkerPool writer;   // commits: one thread, in order of arrival
  telemetry::Sampler sampler;
  const std::shared_ptr<ConfirmationWatch> confirmations;
  // Tells the streams that operational data changed, once for a burst of events.
  const std::shared_ptr<StateEvents> state_events;

 private:
  // Whether the credentials are wrong.
  bool judge(const Login& login);
  grpc::Status verdict_on(const Login& login, nexa::access::Caller& caller) const;
};

// One unary call: answered exactly once, if by nobody else then when it is dropped.
class UnaryCall {
 public:
  UnaryCall(ServiceCore& core, grpc::CallbackServerContext& context, const char* method);
  ~UnaryCall();
  UnaryCall(const UnaryCall&) = delete;
  UnaryCall& operator=(const UnaryCall&) = delete;

  void finish(const grpc::Status& status) noexcept;

  // The same, with an answer that waits in memory until its client has read it; refused when too
  // many do.
  void finish(const grpc::Status& status, grpc::ByteBuffer& answer) noexcept;

  // Keeps room for an answer of at most that many bytes, for a call that cannot be refused any more
  // once its work is done.
  grpc::Status reserve(std::size_t bytes);

  // Receives the request, and calls `then` on a worker; on one of gRPC's threads, with what the
  // call is to be answered, when there is no request or no worker. Once, after the login.
  void receive(std::function<void(const grpc::Status&)> then);

  // What receive() read, parsed; as read_request().
  grpc::Status request(google::protobuf::Message& message);

  bool cancelled() const { return context_.IsCancelled(); }
  std::chrono::nanoseconds age() const;

  // Runs `work`; an exception becomes INTERNAL, want of memory RESOURCE_EXHAUSTED, and the observer
  // is told.
  grpc::Status guarded(const std::function<grpc::Status()>& work) const;

  const std::shared_ptr<const CallIdentity>& identity() const { return identity_; }
  BytesReactor* reactor() const { return reactor_; }

 private:
  ServiceCore& core_;
  grpc::CallbackServerContext& context_;
  const char* method_;
  std::shared_ptr<const CallIdentity> identity_;
  // Made last: from then on gRPC has to be given it, or it never goes.
  AnswerReactor* reactor_;
  grpc::ByteBuffer bytes_;
  const std::chrono::steady_clock::time_point begin_ = std::chrono::steady_clock::now();
  std::atomic<bool> finished_{false};
};

}  // namespace nexa::server

#endif  // HOST_SERVER_SERVICE_CORE_H_
