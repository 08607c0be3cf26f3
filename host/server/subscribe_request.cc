// Texts of the profile's checks come as they are; others name the subscription and its path.
#include "server/subscribe_request.h"

#include <algorithm>
#include <chrono>
#include <optional>
#include <string>
#include <utility>

#include "model/model_set.h"
#include "profile/request_check.h"
#include "server/request_rules.h"

namespace nexa::server {
namespace {

constexpr char kTwoHistories[] = "Extension history is given twice";
constexpr char kNoHistoryRequest[] = "Extension history without a snapshot_time or a range";
constexpr char kSnapshotIsOnce[] = "Extension history: a snapshot_time needs mode ONCE";
constexpr char kRangeIsStream[] = "Extension history: a range needs mode STREAM";
constexpr char kRangeBackwards[] = "Extension history: the range ends before it starts";
constexpr char kFuture[] = "Extension history: times in the future are not waited for";

grpc::Status invalid(const char* text) { return {grpc::StatusCode::INVALID_ARGUMENT, text}; }

// The time of the snapshot is in it, that of a range's end is not.
grpc::Status read_history(const gnmi_ext::History& asked, gnmi::SubscriptionList::Mode mode,
                          telemetry::History& history) {
  const auto now = std::chrono::nanoseconds(std::chrono::system_clock::now().time_since_epoch());
  if (asked.has_snapshot_time()) {
    if (mode != gnmi::SubscriptionList::ONCE) return invalid(kSnapshotIsOnce);
    if (asked.snapshot_time() > now.count()) return {grpc::StatusCode::UNIMPLEMENTED, kFuture};
    history = {asked.snapshot_time() + 1, asked.snapshot_time() + 1};
    return grpc::Status::OK;
  }
  if (!asked.has_range()) return invalid(kNoHistoryRequest);
  if (mode != gnmi::SubscriptionList::STREAM) return invalid(kRangeIsStream);
  if (asked.range().start() > asked.range().end()) return invalid(kRangeBackwards);
  if (asked.range().end() > now.count()) return {grpc::StatusCode::UNIMPLEMENTED, kFuture};
  history = {asked.range().start(), asked.range().end()};
  return grpc::Status::OK;
}

grpc::Status read_history(const gnmi::SubscribeRequest& request,
                          std::optional<telemetry::History>& history) {
  history.reset();
  for (const gnmi_ext::Extension& extension : request.extension()) {
    if (!extension.has_history()) continue;
    if (history) return invalid(kTwoHistories);
    grpc::Status status =
        read_history(extension.history(), request.subscribe().mode(), history.emplace());
    if (!status.ok()) return status;
  }
  return grpc::Status::OK;
}

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
  status = read_history(request, plan.history);
  if (!status.ok()) return status;
  telemetry::PlanLimits limits = plan_limits(parts.limits);
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
  return {profile::code_for_reader(parts.profile, status.error_code()),
          at_place(place, joined) + status.error_message()};
}

}  // namespace nexa::server
