// Each subscription of the list becomes one entry of the plan, or the list is refused.
#include "server/subscription_plan.h"

#include <algorithm>
#include <cstdint>
#include <string>
#include <utility>

#include "profile/request_check.h"
#include "server/messages.h"
#include "server/request_rules.h"

namespace nexa::server {
namespace {

// Longer than any process lives, and far from the clock's range.
constexpr std::uint64_t kLongestInterval = 1000000000ULL * 3600 * 24 * 366 * 10;

grpc::Status plan_interval(const PlanLimits& limits, const gnmi::Subscription& request,
                           std::chrono::nanoseconds& interval) {
  if (request.sample_interval() == 0) {
    interval = limits.min_interval;
    return grpc::Status::OK;
  }
  const auto fastest = static_cast<std::uint64_t>(limits.min_interval.count());
  if (request.sample_interval() < fastest) {
    return {grpc::StatusCode::INVALID_ARGUMENT,
            "sample_interval " + std::to_string(request.sample_interval()) +
                " is below the server's fastest, " + std::to_string(fastest) + " nanoseconds"};
  }
  interval = std::chrono::nanoseconds(std::min(request.sample_interval(), kLongestInterval));
  return grpc::Status::OK;
}

grpc::Status plan_one(const model::Resolver& resolver, const PlanLimits& limits,
                      const gnmi::SubscriptionList& list, const gnmi::Subscription& request,
                      Subscription& subscription) {
  subscription.query.form = store::Form::kLeaves;
  subscription.query.encoding = list.encoding();
  subscription.requested.set_origin(request.path().origin());
  auto resolved = resolver.resolve(list.prefix(), request.path(), model::Purpose::kRead);
  if (!resolved.ok()) return resolved.refusal().status();
  subscription.query.target = std::move(resolved.value());
  return plan_interval(limits, request, subscription.interval);
}

}  // namespace

grpc::Status plan_subscriptions(const model::Resolver& resolver, const PlanLimits& limits,
                                const gnmi::SubscribeRequest& request, SubscriptionPlan& plan) {
  const gnmi::SubscriptionList& list = request.subscribe();
  if (static_cast<std::size_t>(list.subscription_size()) > limits.max_paths) {
    return {grpc::StatusCode::INVALID_ARGUMENT,
            std::to_string(list.subscription_size()) + " subscriptions in one request, at most " +
                std::to_string(limits.max_paths) + " are taken"};
  }
  grpc::Status status = profile::check_subscribe(limits.profile, request).status;
  if (!status.ok()) return status;
  plan.prefix = AnswerPrefix(list.prefix(), list.has_prefix());
  plan.encoding = list.encoding();
  plan.most_updates = limits.most_updates;
  plan.subscriptions.resize(static_cast<std::size_t>(list.subscription_size()));
  for (int index = 0; index < list.subscription_size(); ++index) {
    Subscription& subscription = plan.subscriptions[static_cast<std::size_t>(index)];
    status = plan_one(resolver, limits, list, list.subscription(index), subscription);
    if (status.ok()) continue;
    const std::string place = "subscription[" + std::to_string(index) + "]";
    const gnmi::Path joined = model::join_paths(list.prefix(), list.subscription(index).path());
    return {status.error_code(), at_place(place, joined) + status.error_message()};
  }
  return grpc::Status::OK;
}

}  // namespace nexa::server
