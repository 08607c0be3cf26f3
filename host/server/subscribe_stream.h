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
#include "server/raw_methods.h"
#include "server/service_core.h"
#include "telemetry/fifo.h"
#include "telemetry/stream.h"

namespace nexa::server {

// A message as it is sent.
struct QueuedBytes {
  grpc::ByteBuffer bytes;
  std::size_t size = 0;
};

class SubscribeStream final : public BytesReactor,
                              public telemetry::Sampler::Sampled,
                              public telemetry::Waker,
                              public std::enable_shared_from_this<SubscribeStream> {
 public:
  SubscribeStream(ServiceCore& core, OpenStreams<SubscribeStream>& open,
                  grpc::CallbackServerContext& context);

  // Begins with the login; the stream keeps itself until gRPC is done with it.
  void start();

  // Ends the stream; later ends change nothing. Any thread.
  void end(const grpc::Status& status) noexcept;

  void due() override;
  void wake() override;
  void OnReadDone(bool ok) override;
  void OnWriteDone(bool ok) override;
  void OnCancel() override;
  void OnDone() override;

 private:
  bool is_over();
  void judged(const grpc::Status& verdict);
  void begin();
  void read_next();
  // Runs `work`; an exception ends the stream, and the observer is told.
  void guarded(const std::function<void()>& work) noexcept;

  void read_message(bool ok);
  void read_later_message();
  // Parses the message that was read; ends the stream when it cannot be.
  bool parse_request(gnmi::SubscribeRequest& request);

  // A round, on a worker; one at a time.
  void request_round();
  void run_round();
  void finish_round(const telemetry::Stream::Round& round);

  // False when the messages cannot be written.
  bool queue(std::deque<telemetry::QueuedMessage> messages);
  void unqueue(std::size_t bytes);
  void write_next();
  void write_done(bool ok);
  void end_locked(const grpc::Status& status) noexcept;

  ServiceCore& core_;
  OpenStreams<SubscribeStream>& open_;
  grpc::CallbackServerContext& context_;
  const std::chrono::steady_clock::time_point opened_ = std::chrono::steady_clock::now();
  std::shared_ptr<SubscribeStream> self_;
  grpc::ByteBuffer request_;

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
  telemetry::Fifo<QueuedBytes> waiting_;
  QueuedBytes in_flight_;
  std::size_t queued_bytes_ = 0;  // waiting and in flight
  std::size_t queue_limit_ = 1;   // as the last round found it
  telemetry::MonotonicTime last_progress_ = std::chrono::steady_clock::now();
  telemetry::Sampler::Appointment appointment_;
};

// A reactor that refuses the call.
BytesReactor* refuse(ServiceCore& core, const char* method, const grpc::Status& status);

// A reactor for the call: a stream that is counted in `open`, or a refusal when there are too many.
BytesReactor* open_stream(ServiceCore& core, OpenStreams<SubscribeStream>& open,
                          grpc::CallbackServerContext& context);

}  // namespace nexa::server

#endif  // HOST_SERVER_SUBSCRIBE_STREAM_H_
