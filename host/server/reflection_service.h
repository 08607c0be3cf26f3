// gRPC server reflection: who may call learns what can be called. It is for clients without the
// message definitions, such as those that people use by hand.
#ifndef HOST_SERVER_REFLECTION_SERVICE_H_
#define HOST_SERVER_REFLECTION_SERVICE_H_

#include <grpcpp/generic/async_generic_service.h>

#include <memory>
#include <mutex>
#include <unordered_map>

#include "server/service_core.h"
#include "server/service_descriptions.h"

namespace nexa::server {

class ReflectionStream;

// Both versions; other methods that no service has are UNIMPLEMENTED. Callers are asked for
// credentials as by every other call. Any thread.
class ReflectionService final : public grpc::CallbackGenericService {
 public:
  explicit ReflectionService(ServiceCore& core) : core_(core) {}

  grpc::ServerGenericBidiReactor* CreateReactor(
      grpc::GenericCallbackServerContext* context) override;

  void remove(const ReflectionStream* stream);

  // Ends all streams and refuses new ones.
  void close_all();

 private:
  ServiceCore& core_;
  const ServiceDescriptions descriptions_;
  std::mutex mutex_;
  bool closed_ = false;
  std::unordered_map<const ReflectionStream*, std::weak_ptr<ReflectionStream>> streams_;
};

}  // namespace nexa::server

#endif  // HOST_SERVER_REFLECTION_SERVICE_H_
