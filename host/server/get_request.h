// What does a Get answer? Checks, paths, one notification for each path, from one snapshot.
#ifndef HOST_SERVER_GET_REQUEST_H_
#define HOST_SERVER_GET_REQUEST_H_

#include <grpcpp/support/byte_buffer.h>
#include <grpcpp/support/status.h>

#include <cstddef>
#include <functional>

#include "gnmi.pb.h"
#include "model/resolver.h"
#include "profile/profile.h"
#include "server/limits.h"
#include "server/state_cache.h"
#include "store/config_store.h"

namespace nexa::server {

struct GetParts {
  const model::Resolver& resolver;
  const store::ConfigStore& store;
  StateCache& state;
  Limits limits{};
  std::function<bool()> cancelled{};  // asked between paths; may be empty
  profile::Profile profile = profile::Profile::kFull;
  const gnmi::CapabilityResponse* models = nullptr;  // those that use_models can name
};

// Sets `answer` to the bytes of a GetResponse unless it fails (gNMI specification, section 3.3).
// Any thread.
grpc::Status serve_get(const GetParts& parts, const gnmi::GetRequest& request,
                       grpc::ByteBuffer& answer);

}  // namespace nexa::server

#endif  // HOST_SERVER_GET_REQUEST_H_
