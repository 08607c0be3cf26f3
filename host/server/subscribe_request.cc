// Texts of the profile's checks come as they are; others name the subscription and its path.
#include "server/subscribe_request.h"

#include <algorithm>
#include <chrono>
#include <string>
#include <utility>

#include "model/model_set.h"
#include "profile/request_check.h"
#include "request/request_rules.h"
#include "server/reading_extensions.h"

namespace nexa::server {
namespace {

// Whatever the options say: an interval of nought has no next time.
std::chrono::nanoseconds interval_of(std::chrono::nanoseconds asked) {
  return std::max<std::chrono::nanoseconds>(asked, std::chrono::milliseconds(1));
}

telemetry::PlanLimits plan_limits(const Limits& limits) {
  telemetry::PlanLimits plan;
  plan.most_updates = std::max<std::size_t>(limits.max_updates, 1);
  plan.min_interval = interval_of(limits.min_sample_interval);
  plan.target_interval = interval_of(limits.target_sample_interval);
  return plan;
}

}  // namespace

grpc::Status plan_stream(const SubscribeParts& parts, const gnmi::SubscribeRequest& request,
                         telemetry::SubscriptionPlan& plan) {
  const gnmi::SubscriptionList& list = request.subscribe();
  if (static_cast<std::size_t>(list.subscription_size()) > parts.limits.max_paths) {
    return {grpc::StatusCode::INVALID_ARGUMENT,
            std::to_string(list.subscription_size()) + " subscriptions in one request, at most " +
                std::to_string(parts.limits.max_paths) + " are taken"};
  }
  grpc::Status status = profile::check_subscribe(parts.profile, request).status;
  if (!status.ok()) return status;
  status = read_extensions(request, plan);
  if (!status.ok()) return status;
  telemetry::PlanLimits limits = plan_limits(parts.limits);
  const gnmi::CapabilityResponse none;
  auto used = model::ModelSet::of(
      list.use_models(), (parts.models != nullptr ? *parts.models : none).supported_models());
  if (!used.ok()) return used.failure().status();
  limits.models = std::move(used.value());
  int at_fault = -1;
  status = telemetry::plan_subscriptions(parts.resolver, parts.paces, limits, list, plan, at_fault);
  if (status.ok() || at_fault < 0) return status;
  const std::string place = "subscription[" + std::to_string(at_fault) + "]";
  const gnmi::Path joined = model::join_paths(list.prefix(), list.subscription(at_fault).path());
  return {profile::code_for_reader(parts.profile, status.error_code()),
          request::at_place(place, joined) + status.error_message()};
}

}  // namespace nexa::server
