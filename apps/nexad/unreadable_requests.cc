// An interceptor sees a request that cannot be read as none at all, and may change the status.
#include "unreadable_requests.h"

#include <grpcpp/support/interceptor.h>
#include <grpcpp/support/status.h>

namespace nexad {
namespace {

using grpc::experimental::InterceptionHookPoints;
using grpc::experimental::ServerRpcInfo;

constexpr char kNoSuchMessage[] =
    "The request cannot be read: it is no message of this method, or a text in it is not UTF-8";

class Explainer final : public grpc::experimental::Interceptor {
 public:
  void Intercept(grpc::experimental::InterceptorBatchMethods* batch) override {
    if (batch->QueryInterceptionHookPoint(InterceptionHookPoints::POST_RECV_MESSAGE)) {
      is_unreadable_ = batch->GetRecvMessage() == nullptr;
    }
    if (is_unreadable_ &&
        batch->QueryInterceptionHookPoint(InterceptionHookPoints::PRE_SEND_STATUS)) {
      batch->ModifySendStatus({grpc::StatusCode::INVALID_ARGUMENT, kNoSuchMessage});
    }
    batch->Proceed();
  }

 private:
  bool is_unreadable_ = false;
};

class Factory final : public grpc::experimental::ServerInterceptorFactoryInterface {
 public:
  // gRPC takes it over. To a stream "no message" is also its client's end.
  grpc::experimental::Interceptor* CreateServerInterceptor(ServerRpcInfo* call) override {
    if (call->type() != ServerRpcInfo::Type::UNARY) return nullptr;
    return std::make_unique<Explainer>().release();
  }
};

}  // namespace

std::unique_ptr<grpc::experimental::ServerInterceptorFactoryInterface>
explain_unreadable_requests() {
  return std::make_unique<Factory>();
}

}  // namespace nexad
