// What does a stream send next? Leaves and deletes as messages, as many as the stream's queue takes
// at a time.
#ifndef HOST_TELEMETRY_SAMPLE_PAGE_H_
#define HOST_TELEMETRY_SAMPLE_PAGE_H_

#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>
#include <unordered_set>

#include "gnmi.pb.h"
#include "store/config_store.h"
#include "telemetry/subscription_plan.h"

namespace nexa::telemetry {

// One message and what it counts against the queue's limit.
struct QueuedMessage {
  gnmi::SubscribeResponse response;
  std::size_t bytes = 0;
  std::size_t leaves = 0;
};

// Gathers leaves into messages: one leaf in an update, a bounded number of updates in a message,
// and no path twice in a message, though several subscriptions have it (gNMI specification,
// section 2.1).
class SamplePage {
 public:
  // `budget`: the bytes after which the page is full.
  SamplePage(const SubscriptionPlan& plan, std::size_t budget);

  bool is_full() const { return bytes_ >= budget_; }

  // What may be known of a leaf that is added.
  struct LeafNote {
    std::uint32_t duplicates = 0;  // how many values of the leaf were passed over for this one
    std::uint64_t number = 0;      // PathLog::number_of() its path; 0: not known
  };

  // `path` is absolute, as the store gave it; it and `value` are moved from.
  void add_leaf(const Subscription& subscription, gnmi::Path& path, gnmi::TypedValue& value,
                LeafNote note = {0, 0});
  void add_gone(const Subscription& subscription, gnmi::Path& path);

  // A message of its own, however long, which stands for the whole node. `group` is moved from.
  void add_group(const Subscription& subscription, AtomicGroup& group);

  // What follows, up to end_commit(), is one commit's: a Notification of its own with the commit's
  // time, in several only when it is longer than a message may be.
  void begin_commit(std::int64_t time_ns);
  void end_commit();

  void add_sync();

  // All of a commit was given (config_subscription extension).
  void add_commit_done(std::uint64_t number, const std::string& confirm_id);

  // Ends the last message. The page is empty afterwards.
  std::deque<QueuedMessage> take();

 private:
  gnmi::Notification& notification_for(const Subscription& subscription, gnmi::Path& path,
                                       std::uint64_t number);
  void count(std::size_t bytes);
  void close();

  const SubscriptionPlan& plan_;
  const std::size_t budget_;
  std::size_t bytes_ = 0;
  bool relative_ = true;  // paths of the open message are relative to the prefix
  bool open_ = false;
  bool in_commit_ = false;
  std::int64_t commit_time_ns_ = 0;
  std::size_t entries_ = 0;
  std::unordered_set<std::uint64_t>
      paths_;  // of the open message; empty for one subscription alone
  std::deque<QueuedMessage> messages_;
};

}  // namespace nexa::telemetry

#endif  // HOST_TELEMETRY_SAMPLE_PAGE_H_
