// Leaves are gathered into a message until it holds enough of them, or of their bytes.
#include "server/sample_page.h"

#include <algorithm>
#include <cstdint>
#include <utility>
#include <vector>

#include "nexa/nexa_srv_rpc_msg_helpers.h"

namespace nexa::server {
namespace {

constexpr std::size_t kMostMessageBytes = 32 << 10;

}  // namespace

SamplePage::SamplePage(const SubscriptionPlan& plan, std::size_t budget)
    : plan_(plan), budget_(budget) {}

gnmi::Notification& SamplePage::notification_for(const Subscription& subscription,
                                                 gnmi::Path& path) {
  const bool relative = plan_.prefix.covers(path);
  const bool may_repeat = plan_.subscriptions.size() > 1;
  const std::uint64_t number = may_repeat ? PathLog::number_of(path) : 0;
  if (open_ && (relative != relative_ || paths_.count(number) != 0)) close();
  if (may_repeat) paths_.insert(number);
  if (relative) plan_.prefix.make_relative(path);
  AnswerPrefix::place_origin(subscription.requested, path);
  if (open_) return *messages_.back().response.mutable_update();
  open_ = true;
  relative_ = relative;
  gnmi::Notification& added = *messages_.emplace_back().response.mutable_update();
  added.set_timestamp(ServiceRpcMsgHelpers::get_timestamp());
  const gnmi::Path* prefix = plan_.prefix.shown(relative);
  if (prefix != nullptr) *added.mutable_prefix() = *prefix;
  messages_.back().bytes = added.ByteSizeLong();
  return added;
}

void SamplePage::count(std::size_t bytes) {
  bytes_ += bytes;
  QueuedMessage& message = messages_.back();
  message.bytes += bytes;
  if (++entries_ >= plan_.most_updates || message.bytes >= kMostMessageBytes) close();
}

void SamplePage::close() {
  open_ = false;
  entries_ = 0;
  paths_.clear();
}

void SamplePage::add_leaf(const Subscription& subscription, gnmi::Path& path,
                          gnmi::TypedValue& value) {
  gnmi::Update& update = *notification_for(subscription, path).add_update();
  *update.mutable_path() = std::move(path);
  *update.mutable_val() = std::move(value);
  ++messages_.back().leaves;
  count(update.ByteSizeLong());
}

void SamplePage::add_gone(const Subscription& subscription, gnmi::Path& path) {
  gnmi::Path& gone = *notification_for(subscription, path).add_delete_();
  gone = std::move(path);
  count(gone.ByteSizeLong());
}

std::deque<QueuedMessage> SamplePage::take() {
  close();
  return std::exchange(messages_, {});
}

grpc::Status read_page(const store::Snapshot& snapshot, const store::StateTree* state,
                       Subscription& subscription, SamplePage& page, bool& complete) {
  PathLog& reporting = subscription.reporting;
  const std::vector<std::uint64_t> before = reporting.sorted_numbers();
  complete = true;
  grpc::Status status =
      snapshot.read(subscription.query, state, [&](gnmi::Path& path, gnmi::TypedValue& value) {
        if (!complete) return;
        if (!before.empty() &&
            std::binary_search(before.begin(), before.end(), PathLog::number_of(path))) {
          return;
        }
        if (page.is_full()) {
          complete = false;
          return;
        }
        reporting.add(path);
        page.add_leaf(subscription, path, value);
      });
  if (!status.ok() || !complete) return status;
  subscription.reported.for_each_missing(
      reporting, [&](gnmi::Path& path) { page.add_gone(subscription, path); });
  subscription.reported = std::exchange(reporting, PathLog());
  subscription.sampled = true;
  return grpc::Status::OK;
}

}  // namespace nexa::server
