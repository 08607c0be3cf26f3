// Leaves are gathered into a message until it holds enough of them, or of their bytes.
#include "telemetry/sample_page.h"

#include <utility>

#include "nexa/nexa_srv_rpc_msg_helpers.h"

namespace nexa::telemetry {
namespace {

constexpr std::size_t kMostMessageBytes = 32 << 10;
// A commit is one message; far below what clients take by default, 4 MiB.
constexpr std::size_t kMostCommitBytes = 1 << 20;

}  // namespace

SamplePage::SamplePage(const SubscriptionPlan& plan, std::size_t budget)
    : plan_(plan), budget_(budget) {}

gnmi::Notification& SamplePage::notification_for(const Subscription& subscription, gnmi::Path& path,
                                                 std::uint64_t number) {
  const bool relative = plan_.prefix.covers(path);
  const bool may_repeat = plan_.subscriptions.size() > 1 && !in_commit_;
  if (may_repeat && number == 0) number = PathLog::number_of(path);
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
                          gnmi::TypedValue& value, LeafNote note) {
  gnmi::Update& update = *notification_for(subscription, path, note.number).add_update();
  *update.mutable_path() = std::move(path);
  *update.mutable_val() = std::move(value);
  if (note.duplicates != 0) update.set_duplicates(note.duplicates);
  ++messages_.back().leaves;
  count(update.ByteSizeLong());
}

void SamplePage::add_gone(const Subscription& subscription, gnmi::Path& path) {
  gnmi::Path& gone = *notification_for(subscription, path, 0).add_delete_();
  gone = std::move(path);
  count(gone.ByteSizeLong());
}

void SamplePage::add_group(const Subscription& subscription, AtomicGroup& group) {
  close();
  QueuedMessage& message = messages_.emplace_back();
  gnmi::Notification& added = *message.response.mutable_update();
  added.set_timestamp(in_commit_ ? commit_time_ns_ : ServiceRpcMsgHelpers::get_timestamp());
  added.set_atomic(true);
  const AnswerPrefix node(group.node, true);
  gnmi::Path& prefix = *added.mutable_prefix();
  if (const gnmi::Path* const shown = plan_.prefix.shown(false)) prefix = *shown;
  *prefix.mutable_elem() = std::move(*group.node.mutable_elem());
  if (!subscription.requested.origin().empty()) {
    prefix.set_origin(subscription.requested.origin());
  }
  for (AtomicGroup::Leaf& leaf : group.leaves) {
    gnmi::Update& update = *added.add_update();
    node.make_relative(leaf.path);
    leaf.path.clear_origin();
    *update.mutable_path() = std::move(leaf.path);
    *update.mutable_val() = std::move(leaf.value);
    if (leaf.duplicates != 0) update.set_duplicates(leaf.duplicates);
  }
  message.leaves = group.leaves.size();
  message.bytes = added.ByteSizeLong();
  bytes_ += message.bytes;
}

std::deque<QueuedMessage> SamplePage::take() {
  close();
  return std::exchange(messages_, {});
}

}  // namespace nexa::telemetry
