// gRPC server reflection: who may call learns what can be called. It is for clients without the
// message definitions, such as those that people use by hand.
#ifndef HOST_SERVER_REFLECTION_SERVICE_H_
#define HOST_SERVER_REFLECTION_SERVICE_H_

#include <grpcpp/generic/async_generic_service.h>

#include "server/open_streams.h"
#include "server/service_core.h"
#include "server/service_descriptions.h"

namespace nexa::server {

class ReflectionStream;

// Both versions; other methods that no service has are UNIMPLEMENTED. Callers are asked for
// credentials as by every other call. Any thread.
class ReflectionService final : public grpc::CallbackGenericService {
 public:
  explicit ReflectionService(ServiceCore& core);

  grpc::ServerGenericBidiReactor* CreateReactor(
      grpc::GenericCallbackServerContext* context) override;

  // Ends all streams and refuses new ones.
  void close_all();

 private:
  ServiceCore& core_;
  const ServiceDescriptions descriptions_;
  OpenStreams<ReflectionStream> streams_;
};

}  // namespace nexa::server

#endif  // HOST_SERVER_REFLECTION_SERVICE_H_
