// An interceptor looks at nothing: it lives as long as its call, which is what is counted.
#include "calls_in_hand.h"

#include <grpcpp/server_context.h>

#include <string>
#include <string_view>
#include <utility>

namespace nexad {
namespace {

constexpr std::string_view kHealthWatch = "/grpc.health.v1.Health/Watch";

}  // namespace

class CallsInHand::Call final : public grpc::experimental::Interceptor {
 public:
  Call(std::shared_ptr<CallsInHand> calls, std::shared_ptr<Connections> connections,
       std::string peer, bool is_health_watch)
      : calls_(std::move(calls)),
        connections_(std::move(connections)),
        peer_(std::move(peer)),
        is_health_watch_(is_health_watch) {
    connections_->call_began(peer_);
    const std::lock_guard lock(calls_->mutex_);
    ++count();
  }
  ~Call() override {
    connections_->call_ended(peer_);
    const std::lock_guard lock(calls_->mutex_);
    if (--count() == 0) calls_->none_.notify_all();
  }
  Call(const Call&) = delete;
  Call& operator=(const Call&) = delete;

  void Intercept(grpc::experimental::InterceptorBatchMethods* batch) override { batch->Proceed(); }

 private:
  std::size_t& count() const { return is_health_watch_ ? calls_->health_watches_ : calls_->calls_; }

  const std::shared_ptr<CallsInHand> calls_;
  const std::shared_ptr<Connections> connections_;
  const std::string peer_;
  const bool is_health_watch_;
};

class CallsInHand::Counter final : public grpc::experimental::ServerInterceptorFactoryInterface {
 public:
  Counter(std::shared_ptr<CallsInHand> calls, std::shared_ptr<Connections> connections)
      : calls_(std::move(calls)), connections_(std::move(connections)) {}

  // gRPC takes it over.
  grpc::experimental::Interceptor* CreateServerInterceptor(
      grpc::experimental::ServerRpcInfo* call) override {
    const bool is_health_watch = call->method() != nullptr && call->method() == kHealthWatch;
    return std::make_unique<Call>(calls_, connections_, call->server_context()->peer(),
                                  is_health_watch)
        .release();
  }

 private:
  const std::shared_ptr<CallsInHand> calls_;
  const std::shared_ptr<Connections> connections_;
};

std::unique_ptr<grpc::experimental::ServerInterceptorFactoryInterface> CallsInHand::counter(
    std::shared_ptr<CallsInHand> calls, std::shared_ptr<Connections> connections) {
  return std::make_unique<Counter>(std::move(calls), std::move(connections));
}

void CallsInHand::wait_for_none(std::chrono::system_clock::time_point until) {
  std::unique_lock lock(mutex_);
  none_.wait_until(lock, until, [this] { return calls_ == 0; });
}

std::size_t CallsInHand::health_watches() {
  const std::lock_guard lock(mutex_);
  return health_watches_;
}

}  // namespace nexad
