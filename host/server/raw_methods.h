// The methods of gnmi.gNMI as streams of bytes: gRPC parses no request before it is asked for one,
// so that who calls is known first, and what a request may hold is counted before it is parsed.
#ifndef HOST_SERVER_RAW_METHODS_H_
#define HOST_SERVER_RAW_METHODS_H_

#include <grpcpp/server_context.h>
#include <grpcpp/support/byte_buffer.h>
#include <grpcpp/support/server_callback.h>

#include "gnmi.grpc.pb.h"

namespace nexa::server {

// To a client a unary call and a stream of one message each way are the same bytes.
using BytesReactor = grpc::ServerBidiReactor<grpc::ByteBuffer, grpc::ByteBuffer>;

class RawMethods : public grpc::Service {
 public:
  RawMethods();

  // One for each call; gRPC's threads call them, and the reactor keeps itself until OnDone().
  virtual BytesReactor* Capabilities(grpc::CallbackServerContext* context) = 0;
  virtual BytesReactor* Get(grpc::CallbackServerContext* context) = 0;
  virtual BytesReactor* Set(grpc::CallbackServerContext* context) = 0;
  virtual BytesReactor* Subscribe(grpc::CallbackServerContext* context) = 0;

 private:
  using Method = BytesReactor* (RawMethods::*)(grpc::CallbackServerContext*);
  void add(const char* name, Method method);

  int count_ = 0;
};

}  // namespace nexa::server

#endif  // HOST_SERVER_RAW_METHODS_H_
