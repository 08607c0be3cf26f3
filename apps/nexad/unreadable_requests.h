// What a client is told whose request is no message.
#ifndef APPS_NEXAD_UNREADABLE_REQUESTS_H_
#define APPS_NEXAD_UNREADABLE_REQUESTS_H_

#include <grpcpp/support/server_interceptor.h>

#include <memory>

namespace nexad {

// For the server's builder. gRPC answers a unary request that it cannot read with UNIMPLEMENTED and
// no text, as if the method did not exist; this makes it INVALID_ARGUMENT with a text.
std::unique_ptr<grpc::experimental::ServerInterceptorFactoryInterface>
explain_unreadable_requests();

}  // namespace nexad

#endif  // APPS_NEXAD_UNREADABLE_REQUESTS_H_
