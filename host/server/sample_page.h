// What does a round send? The leaves of a subscription as messages, as many as the stream's queue
// takes at a time, and the leaves that are gone since the last round.
#ifndef HOST_SERVER_SAMPLE_PAGE_H_
#define HOST_SERVER_SAMPLE_PAGE_H_

#include <grpcpp/support/status.h>

#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>
#include <unordered_set>

#include "gnmi.pb.h"
#include "server/subscription_plan.h"
#include "store/config_store.h"

namespace nexa::server {

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

  // `path` is absolute, as the store gave it; both arguments are moved from.
  void add_leaf(const Subscription& subscription, gnmi::Path& path, gnmi::TypedValue& value);
  void add_gone(const Subscription& subscription, gnmi::Path& path);

  // Ends the last message. The page is empty afterwards.
  std::deque<QueuedMessage> take();

 private:
  gnmi::Notification& notification_for(const Subscription& subscription, gnmi::Path& path);
  void count(std::size_t bytes);
  void close();

  const SubscriptionPlan& plan_;
  const std::size_t budget_;
  std::size_t bytes_ = 0;
  bool relative_ = true;  // paths of the open message are relative to the prefix
  bool open_ = false;
  std::size_t entries_ = 0;
  std::unordered_set<std::uint64_t>
      paths_;  // of the open message; empty for one subscription alone
  std::deque<QueuedMessage> messages_;
};

// Reads a subscription's leaves into the page. `complete` is set when all that is there was
// reported; otherwise the page was full, and the next one goes on. A leaf is reported once in a
// round, also when the configuration changes between two pages.
grpc::Status read_page(const store::Snapshot& snapshot, const store::StateTree* state,
                       Subscription& subscription, SamplePage& page, bool& complete);

}  // namespace nexa::server

#endif  // HOST_SERVER_SAMPLE_PAGE_H_
