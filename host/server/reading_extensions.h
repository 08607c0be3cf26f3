// What do the extensions of a Get or a Subscribe ask for? Which of them a call may have was judged
// before.
#ifndef HOST_SERVER_READING_EXTENSIONS_H_
#define HOST_SERVER_READING_EXTENSIONS_H_

#include <google/protobuf/repeated_field.h>
#include <grpcpp/support/status.h>

#include <cstdint>

#include "gnmi.pb.h"
#include "telemetry/subscription_plan.h"

namespace nexa::server {

// The levels that the extension depth asks for, 0 without one. INVALID_ARGUMENT when there are two.
grpc::Status read_depth(const google::protobuf::RepeatedPtrField<gnmi_ext::Extension>& extensions,
                        std::uint32_t& levels);

// Depth, config_subscription and history of a stream's first message, as the plan has them.
grpc::Status read_extensions(const gnmi::SubscribeRequest& request,
                             telemetry::SubscriptionPlan& plan);

}  // namespace nexa::server

#endif  // HOST_SERVER_READING_EXTENSIONS_H_
