// Leaves are gathered into a message until it holds enough of them, or of their bytes.
#include "telemetry/sample_page.h"

#include <algorithm>
#include <cstdint>
#include <functional>
#include <unordered_map>
#include <utility>
#include <vector>

#include "nexa/nexa_srv_rpc_msg_helpers.h"

namespace nexa::telemetry {
namespace {

constexpr std::size_t kMostMessageBytes = 32 << 10;
// A commit is one message; far below what clients take by default, 4 MiB.
constexpr std::size_t kMostCommitBytes = 1 << 20;

std::uint64_t number_of_value(const gnmi::TypedValue& value) {
  return std::hash<std::string>()(value.SerializeAsString());
}

}  // namespace

SamplePage::SamplePage(const SubscriptionPlan& plan, std::size_t budget)
    : plan_(plan), budget_(budget) {}

gnmi::Notification& SamplePage::notification_for(const Subscription& subscription,
                                                 gnmi::Path& path) {
  const bool relative = plan_.prefix.covers(path);
  const bool may_repeat = plan_.subscriptions.size() > 1 && !in_commit_;
  const std::uint64_t number = may_repeat ? PathLog::number_of(path) : 0;
  if (open_ && (relative != relative_ || paths_.count(number) != 0)) close();
  if (may_repeat) paths_.insert(number);
  if (relative) plan_.prefix.make_relative(path);
  AnswerPrefix::place_origin(subscription.requested, path);
  if (open_) return *messages_.back().response.mutable_update();
  open_ = true;
  relative_ = relative;
  gnmi::Notification& added = *messages_.emplace_back().response.mutable_update();
  added.set_timestamp(in_commit_ ? commit_time_ns_ : ServiceRpcMsgHelpers::get_timestamp());
  const gnmi::Path* prefix = plan_.prefix.shown(relative);
  if (prefix != nullptr) *added.mutable_prefix() = *prefix;
  messages_.back().bytes = added.ByteSizeLong();
  return added;
}

void SamplePage::count(std::size_t bytes) {
  bytes_ += bytes;
  QueuedMessage& message = messages_.back();
  message.bytes += bytes;
  ++entries_;
  const bool ends = in_commit_
                        ? message.bytes >= kMostCommitBytes
                        : entries_ >= plan_.most_updates || message.bytes >= kMostMessageBytes;
  if (ends) close();
}

void SamplePage::close() {
  open_ = false;
  entries_ = 0;
  paths_.clear();
}

void SamplePage::begin_commit(std::int64_t time_ns) {
  close();
  in_commit_ = true;
  commit_time_ns_ = time_ns;
}

void SamplePage::end_commit() {
  close();
  in_commit_ = false;
}

void SamplePage::add_sync() {
  close();
  QueuedMessage& sync = messages_.emplace_back();
  sync.response.set_sync_response(true);
  sync.bytes = sync.response.ByteSizeLong();
}

void SamplePage::add_commit_done(std::uint64_t number, const std::string& confirm_id) {
  close();
  QueuedMessage& message = messages_.emplace_back();
  gnmi_ext::ConfigSubscriptionSyncDone& done =
      *message.response.add_extension()->mutable_config_subscription()->mutable_sync_done();
  done.set_server_commit_id(std::to_string(number));
  done.set_commit_confirm_id(confirm_id);
  done.set_done(true);
  message.bytes = message.response.ByteSizeLong();
}

void SamplePage::add_leaf(const Subscription& subscription, gnmi::Path& path,
                          gnmi::TypedValue& value, std::uint32_t duplicates) {
  gnmi::Update& update = *notification_for(subscription, path).add_update();
  *update.mutable_path() = std::move(path);
  *update.mutable_val() = std::move(value);
  if (duplicates != 0) update.set_duplicates(duplicates);
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
                       const RoundForm& form, Subscription& subscription, SamplePage& page,
                       bool& complete) {
  PathLog& reporting = subscription.reporting;
  const std::vector<std::uint64_t> before = reporting.sorted_numbers();
  const bool compares = subscription.suppress_redundant;
  std::unordered_map<std::uint64_t, std::uint64_t> known;
  if (compares && !form.resend) known = subscription.reported.values();
  complete = true;
  const auto take = [&](gnmi::Path& path, gnmi::TypedValue& value) {
    if (!complete) return;
    const std::uint64_t number = compares || !before.empty() ? PathLog::number_of(path) : 0;
    if (!before.empty() && std::binary_search(before.begin(), before.end(), number)) return;
    if (page.is_full()) {
      complete = false;
      return;
    }
    bool is_sent = !form.silent;
    if (compares) {
      const std::uint64_t content = number_of_value(value);
      const auto last = known.find(number);
      is_sent = is_sent && (last == known.end() || last->second != content);
      reporting.add(path, content);
    } else {
      reporting.add(path);
    }
    if (is_sent) page.add_leaf(subscription, path, value);
  };
  grpc::Status status = snapshot.read(subscription.query, state, take);
  if (!status.ok() || !complete) return status;
  subscription.reported.for_each_missing(
      reporting, [&](gnmi::Path& path) { page.add_gone(subscription, path); });
  subscription.reported = std::exchange(reporting, PathLog());
  return grpc::Status::OK;
}

}  // namespace nexa::telemetry
