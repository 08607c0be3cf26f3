// What the generated service does for a method of a stream whose messages are bytes.
#include "server/raw_methods.h"

#include <grpcpp/impl/rpc_method.h>
#include <grpcpp/impl/rpc_service_method.h>

#include <memory>

namespace nexa::server {

RawMethods::RawMethods() {
  add("/gnmi.gNMI/Capabilities", &RawMethods::Capabilities);
  add("/gnmi.gNMI/Get", &RawMethods::Get);
  add("/gnmi.gNMI/Set", &RawMethods::Set);
  add("/gnmi.gNMI/Subscribe", &RawMethods::Subscribe);
}

// gRPC takes both objects over.
void RawMethods::add(const char* name, Method method) {
  using grpc::internal::RpcMethod;
  using Handler = grpc::internal::CallbackBidiHandler<grpc::ByteBuffer, grpc::ByteBuffer>;
  AddMethod(
      std::make_unique<grpc::internal::RpcServiceMethod>(name, RpcMethod::BIDI_STREAMING, nullptr)
          .release());
  MarkMethodRawCallback(
      count_++, std::make_unique<Handler>([this, method](grpc::CallbackServerContext* call) {
                  return (this->*method)(call);
                }).release());
}

}  // namespace nexa::server
