// Deletes take away all below their path.
#include "telemetry/support/follower.h"

#include <chrono>

#include "translate/path_string.h"

namespace nexa_test {
namespace {

bool lies_below(const std::string& path, const std::string& branch) {
  if (branch == "/") return true;
  return path.compare(0, branch.size(), branch) == 0 &&
         (path.size() == branch.size() || path[branch.size()] == '/');
}

}  // namespace

void Follower::begin(nexa::telemetry::StreamSources sources) {
  gnmi::SubscriptionList list;
  list.set_encoding(gnmi::JSON_IETF);
  list.set_mode(asked_.mode);
  *list.add_subscription()->mutable_path() = path_of(asked_.path);
  list.mutable_subscription(0)->set_mode(gnmi::ON_CHANGE);
  const nexa::model::Resolver& resolver = *example_schema().resolver;
  nexa::telemetry::SubscriptionPlan plan;
  plan.history = asked_.history;
  const nexa::telemetry::LeafPaces paces(resolver.schema(), {});
  int at_fault = -1;
  const grpc::Status status = plan_subscriptions(resolver, paces, {}, list, plan, at_fault);
  ASSERT_TRUE(status.ok()) << asked_.path << status.error_message();
  stream_.emplace(std::move(sources), weak_from_this());
  stream_->begin(std::move(plan), std::chrono::steady_clock::now());
  is_woken_ = true;
}

void Follower::take(std::size_t room, bool is_behind) {
  is_woken_ = false;
  for (bool goes_on = true; goes_on;) {
    nexa::telemetry::Stream::Round round = stream_->round(room, is_behind);
    ASSERT_TRUE(round.status.ok()) << round.status.error_message();
    for (const auto& message : round.messages) {
      if (message.response.has_update()) replay(message.response.update());
    }
    goes_on = round.has_more;
  }
}

void Follower::poll() {
  view_.clear();
  stream_->poll();
  take(1U << 20U, false);
}

View Follower::stored(const nexa::store::Snapshot& snapshot) const {
  View view;
  EXPECT_TRUE(snapshot
                  .read(stream_->plan().subscriptions.front().query, nullptr,
                        [&view](gnmi::Path& path, gnmi::TypedValue& value) {
                          view[nexa::translate::format_path_string(path)] = value.json_ietf_val();
                        })
                  .ok());
  return view;
}

void Follower::replay(const gnmi::Notification& notification) {
  ++notifications_;
  for (const gnmi::Path& gone : notification.delete_()) {
    const std::string branch = nexa::translate::format_path_string(gone);
    std::erase_if(view_, [&](const auto& leaf) { return lies_below(leaf.first, branch); });
  }
  for (const gnmi::Update& update : notification.update()) {
    view_[nexa::translate::format_path_string(update.path())] = update.val().json_ietf_val();
    values_ += 1 + update.duplicates();
  }
  if (asked_.history) past_[notification.timestamp()] = view_;
}

}  // namespace nexa_test
