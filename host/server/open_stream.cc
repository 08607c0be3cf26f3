// How a stream begins, or does not.
#include <memory>
#include <utility>

#include "server/messages.h"
#include "server/subscribe_stream.h"
#include "server/want_of_memory.h"

namespace nexa::server {
namespace {

// A stream that is over before it begins.
class RefusedStream final : public BytesReactor {
 public:
  explicit RefusedStream(const grpc::Status& status) { Finish(sendable(status)); }
  void hold(std::unique_ptr<RefusedStream> self) { self_ = std::move(self); }
  void OnDone() override { const std::unique_ptr<RefusedStream> self = std::move(self_); }

 private:
  std::unique_ptr<RefusedStream> self_;
};

}  // namespace

BytesReactor* refuse(ServiceCore& core, const char* method, const grpc::Status& status) {
  auto stream = std::make_unique<RefusedStream>(status);
  RefusedStream* reactor = stream.get();
  reactor->hold(std::move(stream));
  attempt([&] { core.parts.observer.call_ended(method, status.error_code(), {}); });
  return reactor;
}

BytesReactor* open_stream(ServiceCore& core, OpenStreams<SubscribeStream>& open,
                          grpc::CallbackServerContext& context) {
  const auto stream = std::make_shared<SubscribeStream>(core, open, context);
  const grpc::Status refusal = open.admit(stream);
  if (!refusal.ok()) return refuse(core, "Subscribe", refusal);
  stream->start();
  return stream.get();
}

}  // namespace nexa::server
