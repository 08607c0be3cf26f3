// Texts of the profile's checks come as they are; others name the subscription and its path.
#include "server/subscribe_request.h"

#include <string>
#include <utility>

#include "model/model_set.h"
#include "profile/request_check.h"
#include "server/request_rules.h"

namespace nexa::server {

grpc::Status plan_stream(const SubscribeParts& parts, const gnmi::SubscribeRequest& request,
                         telemetry::SubscriptionPlan& plan) {
  const gnmi::SubscriptionList& list = request.subscribe();
  if (static_cast<std::size_t>(list.subscription_size()) > parts.max_paths) {
    return {grpc::StatusCode::INVALID_ARGUMENT, std::to_string(list.subscription_size()) +
                                                    " subscriptions in one request, at most " +
                                                    std::to_string(parts.max_paths) + " are taken"};
  }
  grpc::Status status = profile::check_subscribe(parts.profile, request).status;
  if (!status.ok()) return status;
  telemetry::PlanLimits limits = parts.limits;
  const gnmi::CapabilityResponse none;
  auto used = model::ModelSet::of(
      list.use_models(), (parts.models != nullptr ? *parts.models : none).supported_models());
  if (!used.ok()) return used.refusal().status();
  limits.models = std::move(used.value());
  int at_fault = -1;
  status = telemetry::plan_subscriptions(parts.resolver, parts.paces, limits, list, plan, at_fault);
  if (status.ok() || at_fault < 0) return status;
  const std::string place = "subscription[" + std::to_string(at_fault) + "]";
  const gnmi::Path joined = model::join_paths(list.prefix(), list.subscription(at_fault).path());
  return {status.error_code(), at_place(place, joined) + status.error_message()};
}

}  // namespace nexa::server
