// One Subscribe call: messages in and out. What is to be sent is telemetry's to say. No thread and
// no buffer of its own while it waits: the sampler knows when it is due, the feed of changes wakes
// it, a worker reads the round, gRPC writes the queue.
#ifndef HOST_SERVER_SUBSCRIBE_STREAM_H_
#define HOST_SERVER_SUBSCRIBE_STREAM_H_

#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

#include "server/open_streams.h"
#include "server/service_core.h"
#include "telemetry/stream.h"

namespace nexa::server {

using SubscribeReactor = grpc::ServerBidiReactor<gnmi::SubscribeRequest, gnmi::SubscribeResponse>;

class SubscribeStream final : public SubscribeReactor,
                              public telemetry::Sampler::Sampled,
                              public telemetry::Waker,
                              public std::enable_shared_from_this<SubscribeStream> {
 public:
  SubscribeStream(ServiceCore& core, OpenStreams<SubscribeStream>& open,
                  grpc::CallbackServerContext& context);

  // Begins with the login; the stream keeps itself until gRPC is done with it.
  void start();

  // Ends the stream; later ends change nothing. Any thread.
  void end(const grpc::Status& status);

  void due() override;
  void wake() override;
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

  void read_later_message();

  // A round, on a worker; one at a time.
  void request_round();
  void run_round();
  void finish_round(const telemetry::Stream::Round& round);

  void queue(std::deque<telemetry::QueuedMessage> messages);
  void write_next();
  void end_locked(const grpc::Status& status);

  ServiceCore& core_;
  OpenStreams<SubscribeStream>& open_;
  grpc::CallbackServerContext& context_;
  const std::chrono::steady_clock::time_point opened_ = std::chrono::steady_clock::now();
  std::shared_ptr<SubscribeStream> self_;
  gnmi::SubscribeRequest request_;

  // Set by the task that begins; rounds are run by the task in hand alone.
  std::optional<telemetry::Stream> stream_;

  std::mutex mutex_;  // guards what follows
  bool subscribed_ = false;
  gnmi::SubscriptionList::Mode mode_ = gnmi::SubscriptionList::STREAM;
  bool half_closed_ = false;  // the client has nothing more to say
  bool task_posted_ = false;
  bool woken_ = false;     // while a task was posted
  bool closing_ = false;   // ends with OK when all is written
  bool draining_ = false;  // a round waits until the queue has room
  bool writing_ = false;
  bool ended_ = false;
  bool done_ = false;
  grpc::StatusCode code_ = grpc::StatusCode::OK;
  std::deque<telemetry::QueuedMessage> waiting_;
  telemetry::QueuedMessage in_flight_;
  std::size_t queued_bytes_ = 0;  // waiting and in flight
  telemetry::MonotonicTime last_progress_ = std::chrono::steady_clock::now();
  telemetry::Sampler::Appointment appointment_;
};

// All streams of a service.
// A reactor for the call: a stream that is counted in `open`, or a refusal when there are too many.
SubscribeReactor* open_stream(ServiceCore& core, OpenStreams<SubscribeStream>& open,
                              grpc::CallbackServerContext& context);

}  // namespace nexa::server

#endif  // HOST_SERVER_SUBSCRIBE_STREAM_H_
