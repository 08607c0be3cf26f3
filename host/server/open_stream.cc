// How a stream begins, or does not.
#include <memory>
#include <utility>

#include "server/messages.h"
#include "server/subscribe_stream.h"

namespace nexa::server {
namespace {

// A stream that is over before it begins.
class RefusedStream final : public BytesReactor {
 public:
  explicit RefusedStream(const grpc::Status& status) { Finish(status); }
  void hold(std::unique_ptr<RefusedStream> self) { self_ = std::move(self); }
  void OnDone() override { const std::unique_ptr<RefusedStream> self = std::move(self_); }

 private:
  std::unique_ptr<RefusedStream> self_;
};

BytesReactor* refuse(ServiceCore& core, const grpc::Status& status) {
  core.parts.observer.call_ended("Subscribe", status.error_code(), {});
  auto stream = std::make_unique<RefusedStream>(status);
  RefusedStream* reactor = stream.get();
  reactor->hold(std::move(stream));
  return reactor;
}

}  // namespace

BytesReactor* open_stream(ServiceCore& core, OpenStreams<SubscribeStream>& open,
                          grpc::CallbackServerContext& context) {
  const auto stream = std::make_shared<SubscribeStream>(core, open, context);
  const grpc::Status refusal = open.admit(stream);
  if (!refusal.ok()) return refuse(core, refusal);
  stream->start();
  return stream.get();
}

}  // namespace nexa::server
