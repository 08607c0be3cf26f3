// How many streams there are, and their common end.
#include <utility>
#include <vector>

#include "server/messages.h"
#include "server/subscribe_stream.h"

namespace nexa::server {
namespace {

// A stream that is over before it begins.
class RefusedStream final : public SubscribeReactor {
 public:
  explicit RefusedStream(const grpc::Status& status) { Finish(status); }
  void hold(std::unique_ptr<RefusedStream> self) { self_ = std::move(self); }
  void OnDone() override { const std::unique_ptr<RefusedStream> self = std::move(self_); }

 private:
  std::unique_ptr<RefusedStream> self_;
};

SubscribeReactor* refuse(ServiceCore& core, const grpc::Status& status) {
  core.parts.observer.call_ended("Subscribe", status.error_code(), {});
  auto stream = std::make_unique<RefusedStream>(status);
  RefusedStream* reactor = stream.get();
  reactor->hold(std::move(stream));
  return reactor;
}

}  // namespace

SubscribeReactor* StreamRegistry::open(grpc::CallbackServerContext& context) {
  const auto stream = std::make_shared<SubscribeStream>(core_, *this, context);
  grpc::Status refusal;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (closed_) {
      refusal = grpc::Status(grpc::StatusCode::UNAVAILABLE, kShuttingDown);
    } else if (streams_.size() >= core_.options.limits.max_streams) {
      refusal = grpc::Status(grpc::StatusCode::RESOURCE_EXHAUSTED, kTooManyStreams);
    } else {
      streams_.emplace(stream.get(), stream);
    }
  }
  if (!refusal.ok()) return refuse(core_, refusal);
  stream->start();
  return stream.get();
}

void StreamRegistry::remove(const SubscribeStream* stream) {
  const std::lock_guard<std::mutex> lock(mutex_);
  streams_.erase(stream);
}

void StreamRegistry::close_all() {
  std::vector<std::shared_ptr<SubscribeStream>> open;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    closed_ = true;
    for (const auto& [stream, weak] : streams_) {
      if (auto living = weak.lock()) open.push_back(std::move(living));
    }
  }
  for (const auto& stream : open) stream->end({grpc::StatusCode::UNAVAILABLE, kShuttingDown});
}

}  // namespace nexa::server
