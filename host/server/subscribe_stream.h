// One Subscribe stream: STREAM mode, SAMPLE subscriptions. No thread and no buffer of its own while
// it waits: the sampler knows when it is due, a worker reads the round, gRPC writes the queue.
#ifndef HOST_SERVER_SUBSCRIBE_STREAM_H_
#define HOST_SERVER_SUBSCRIBE_STREAM_H_

#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <unordered_map>
#include <vector>

#include "server/sample_page.h"
#include "server/service_core.h"
#include "server/subscription_plan.h"

namespace nexa::server {

class StreamRegistry;

using SubscribeReactor = grpc::ServerBidiReactor<gnmi::SubscribeRequest, gnmi::SubscribeResponse>;

class SubscribeStream final : public SubscribeReactor,
                              public Sampler::Sampled,
                              public std::enable_shared_from_this<SubscribeStream> {
 public:
  SubscribeStream(ServiceCore& core, StreamRegistry& registry,
                  grpc::CallbackServerContext& context);

  // Begins with the login; the stream keeps itself until gRPC is done with it.
  void start();

  // Ends the stream; later ends change nothing. Any thread.
  void end(const grpc::Status& status);

  void due() override;
  void OnReadDone(bool ok) override;
  void OnWriteDone(bool ok) override;
  void OnCancel() override;
  void OnDone() override;

 private:
  bool is_over();
  void judged(const grpc::Status& verdict);
  void begin(const gnmi::SubscribeRequest& request);
  void read_next();
  void guarded(const std::function<void()>& work);

  // A round, on a worker; one at a time.
  void request_round();
  void run_round();
  void collect_due();
  grpc::Status read_subscriptions(SamplePage& page);
  void finish_page();
  MonotonicTime next_due() const;

  void queue(std::deque<QueuedMessage> messages);
  void write_next();

  ServiceCore& core_;
  StreamRegistry& registry_;
  grpc::CallbackServerContext& context_;
  const std::chrono::steady_clock::time_point opened_ = std::chrono::steady_clock::now();
  std::shared_ptr<SubscribeStream> self_;
  gnmi::SubscribeRequest request_;

  // Of the task in hand alone.
  SubscriptionPlan plan_;
  std::vector<Subscription*> pending_;  // of the round in progress
  bool synced_ = false;
  bool reader_keeps_up_ = true;  // when the round began

  std::mutex mutex_;  // guards what follows
  bool subscribed_ = false;
  bool task_posted_ = false;
  bool draining_ = false;  // a round waits until the queue has room
  bool writing_ = false;
  bool ended_ = false;
  bool done_ = false;
  grpc::StatusCode code_ = grpc::StatusCode::OK;
  std::deque<QueuedMessage> waiting_;
  QueuedMessage in_flight_;
  std::size_t queued_bytes_ = 0;  // waiting and in flight
  MonotonicTime last_progress_ = std::chrono::steady_clock::now();
  Sampler::Appointment appointment_;
};

// All streams of a service.
class StreamRegistry {
 public:
  explicit StreamRegistry(ServiceCore& core) : core_(core) {}

  // A reactor for the call: a stream, or a refusal when there are too many.
  SubscribeReactor* open(grpc::CallbackServerContext& context);

  void remove(const SubscribeStream* stream);

  // Ends all streams and refuses new ones.
  void close_all();

 private:
  ServiceCore& core_;
  std::mutex mutex_;
  bool closed_ = false;
  std::unordered_map<const SubscribeStream*, std::weak_ptr<SubscribeStream>> streams_;
};

}  // namespace nexa::server

#endif  // HOST_SERVER_SUBSCRIBE_STREAM_H_
