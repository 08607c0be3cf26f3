// Whether a stream's first message is taken, and what it asks for.
#ifndef HOST_SERVER_SUBSCRIBE_REQUEST_H_
#define HOST_SERVER_SUBSCRIBE_REQUEST_H_

#include <grpcpp/support/status.h>

#include <cstddef>

#include "gnmi.pb.h"
#include "model/resolver.h"
#include "profile/profile.h"
#include "server/limits.h"
#include "telemetry/subscription_plan.h"

namespace nexa::server {

struct SubscribeParts {
  const model::Resolver& resolver;
  const telemetry::LeafPaces& paces;  // outlives the plan
  profile::Profile profile = profile::Profile::kFull;
  Limits limits{};
  const gnmi::CapabilityResponse* models = nullptr;  // what use_models chooses from; null: nothing
};

// The checks of the profile, then the plan; a refusal names the subscription. Any thread.
grpc::Status plan_stream(const SubscribeParts& parts, const gnmi::SubscribeRequest& request,
                         telemetry::SubscriptionPlan& plan);

}  // namespace nexa::server

#endif  // HOST_SERVER_SUBSCRIBE_REQUEST_H_
