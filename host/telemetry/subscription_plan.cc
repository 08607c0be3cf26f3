// Each subscription of the list becomes one to three entries of the plan, or the list is refused.
#include "telemetry/subscription_plan.h"

#include <algorithm>
#include <string>
#include <utility>

#include "telemetry/messages.h"

namespace nexa::telemetry {
namespace {

using Source = Subscription::Source;

// Longer than any process lives, and far from the clock's range.
// How soon a change of the configuration shows in the operational leaves that repeat it.
constexpr std::chrono::seconds kMirrorBeat{1};
constexpr std::uint64_t kLongestInterval = 1000000000ULL * 3600 * 24 * 366 * 10;

class Planner {
 public:
  Planner(const model::Resolver& resolver, const LeafPaces& paces, const PlanLimits& limits,
          const gnmi::SubscriptionList& list, SubscriptionPlan& plan)
      : resolver_(resolver), paces_(paces), limits_(limits), list_(list), plan_(plan) {}

  grpc::Status add(const gnmi::Subscription& request);

 private:
  grpc::Status check_interval(const char* field, std::uint64_t asked,
                              std::chrono::nanoseconds& interval) const;
  void add_sampled(Subscription whole);
  void add_changes(Subscription whole, const LeafPaces::Content& state, bool target_chooses);
  store::LeafFilter filter(bool by_events) const;
  store::LeafFilter unmirrored() const;
  void add_mirrored(Subscription whole);

  const model::Resolver& resolver_;
  const LeafPaces& paces_;
  const PlanLimits& limits_;
  const gnmi::SubscriptionList& list_;
  SubscriptionPlan& plan_;
};

// 0 stays 0.
grpc::Status Planner::check_interval(const char* field, std::uint64_t asked,
                                     std::chrono::nanoseconds& interval) const {
  const auto fastest = static_cast<std::uint64_t>(limits_.min_interval.count());
  if (asked != 0 && asked < fastest) {
    return {grpc::StatusCode::INVALID_ARGUMENT, std::string(field) + " " + std::to_string(asked) +
                                                    " is below the server's fastest, " +
                                                    std::to_string(fastest) + " nanoseconds"};
  }
  interval = std::chrono::nanoseconds(std::min(asked, kLongestInterval));
  return grpc::Status::OK;
}

store::LeafFilter Planner::filter(bool by_events) const {
  return [&paces = paces_, by_events](const lysc_node* leaf) {
    return paces.changes_by_events(leaf) == by_events && !paces.is_mirrored(leaf);
  };
}

store::LeafFilter Planner::unmirrored() const {
  return [&paces = paces_](const lysc_node* leaf) { return !paces.is_mirrored(leaf); };
}

void Planner::add_mirrored(Subscription whole) {
  whole.query.part = store::DataPart::kState;
  whole.query.wanted = [&paces = paces_](const lysc_node* leaf) { return paces.is_mirrored(leaf); };
  whole.interval = kMirrorBeat;
  whole.suppress_redundant = true;
  whole.only_when_changed = true;
  plan_.subscriptions.push_back(std::move(whole));
}

void Planner::add_sampled(Subscription whole) {
  if (whole.interval.count() == 0) whole.interval = limits_.min_interval;
  plan_.subscriptions.push_back(std::move(whole));
}

void Planner::add_changes(Subscription whole, const LeafPaces::Content& state,
                          bool target_chooses) {
  whole.interval = std::chrono::nanoseconds(0);
  whole.suppress_redundant = false;
  // Nobody tells when these change: they are looked at.
  const bool looks = state.hinted || (state.gauges && !target_chooses);
  if (state.events || looks) {
    Subscription& events = plan_.subscriptions.emplace_back(whole);
    events.source = Source::kEvents;
    events.query.part = store::DataPart::kState;
    if (target_chooses && state.gauges) {
      events.query.wanted = filter(true);
    } else if (state.mirrored) {
      events.query.wanted = unmirrored();
    }
    if (looks) events.interval = limits_.target_interval;
  }
  if (state.gauges && target_chooses) {
    Subscription& gauges = plan_.subscriptions.emplace_back(whole);
    gauges.query.part = store::DataPart::kState;
    if (state.events || state.hinted || state.mirrored) gauges.query.wanted = filter(false);
    gauges.interval = limits_.target_interval;
  }
  if (state.mirrored) add_mirrored(whole);
  if (whole.query.target.only_state) return;
  whole.source = Source::kCommits;
  whole.query.part = store::DataPart::kConfig;
  plan_.subscriptions.push_back(std::move(whole));
}

grpc::Status Planner::add(const gnmi::Subscription& request) {
  Subscription whole;
  whole.query.form = store::Form::kLeaves;
  whole.query.encoding = list_.encoding();
  whole.query.models = limits_.models;
  whole.query.depth = plan_.depth;
  if (plan_.config_only) whole.query.part = store::DataPart::kConfig;
  whole.requested.set_origin(request.path().origin());
  auto resolved = resolver_.resolve(list_.prefix(), request.path(), model::Purpose::kRead);
  if (!resolved.ok()) return resolved.failure().status();
  whole.query.target = std::move(resolved.value());
  LeafPaces::Content state = paces_.content(whole.query.target);
  whole.has_atomic = state.atomic;
  if (state.atomic && plan_.scopes == nullptr) {
    plan_.scopes = std::make_shared<AtomicScopes>(resolver_);
  }
  if (plan_.config_only) state = LeafPaces::Content();
  if (plan_.history) {
    whole.source = Source::kCommits;
    whole.query.part = store::DataPart::kConfig;
    plan_.subscriptions.push_back(std::move(whole));
    return grpc::Status::OK;
  }
  if (list_.mode() != gnmi::SubscriptionList::STREAM) {
    plan_.subscriptions.push_back(std::move(whole));
    return grpc::Status::OK;
  }
  const bool target_chooses = request.mode() == gnmi::TARGET_DEFINED;
  if (target_chooses && request.sample_interval() != 0) {
    return {grpc::StatusCode::INVALID_ARGUMENT, kIntervalOfTarget};
  }
  grpc::Status status =
      check_interval("heartbeat_interval", request.heartbeat_interval(), whole.heartbeat);
  if (!status.ok()) return status;
  if (request.mode() == gnmi::SAMPLE) {
    whole.suppress_redundant = request.suppress_redundant();
    status = check_interval("sample_interval", request.sample_interval(), whole.interval);
    if (status.ok()) add_sampled(std::move(whole));
    return status;
  }
  add_changes(std::move(whole), state, target_chooses);
  return grpc::Status::OK;
}

}  // namespace

grpc::Status plan_subscriptions(const model::Resolver& resolver, const LeafPaces& paces,
                                const PlanLimits& limits, const gnmi::SubscriptionList& list,
                                SubscriptionPlan& plan, int& at_fault) {
  plan.prefix = AnswerPrefix(list.prefix(), list.has_prefix());
  plan.mode = list.mode();
  plan.encoding = list.encoding();
  plan.updates_only = list.updates_only();
  plan.most_updates = limits.most_updates;
  plan.subscriptions.reserve(static_cast<std::size_t>(list.subscription_size()));
  Planner planner(resolver, paces, limits, list, plan);
  for (int index = 0; index < list.subscription_size(); ++index) {
    grpc::Status status = planner.add(list.subscription(index));
    if (status.ok()) continue;
    at_fault = index;
    return status;
  }
  at_fault = -1;
  return grpc::Status::OK;
}

}  // namespace nexa::telemetry
