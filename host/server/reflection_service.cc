// A stream reads a request, answers it and reads the next, so that it holds one of each at most.
#include "server/reflection_service.h"

#include <grpcpp/support/byte_buffer.h>
#include <grpcpp/support/slice.h>

#include <cstddef>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "request/status_details.h"
#include "server/messages.h"

namespace nexa::server {
namespace {

constexpr char kName[] = "ServerReflectionInfo";
// One is enough for a person; the limit is for those who open them and leave.
constexpr std::size_t kMostStreams = 100;
// The longest name of a symbol is far below it, and the answer repeats the request.
constexpr std::size_t kMostRequestBytes = 4096;

bool text_of(const grpc::ByteBuffer& buffer, std::string& text) {
  std::vector<grpc::Slice> slices;
  if (!buffer.Dump(&slices).ok()) return false;
  for (const grpc::Slice& slice : slices) {
    text.append(reinterpret_cast<const char*>(slice.begin()), slice.size());
  }
  return true;
}

}  // namespace

// Keeps itself until gRPC is done with it.
class ReflectionStream final : public grpc::ServerGenericBidiReactor,
                               public std::enable_shared_from_this<ReflectionStream> {
 public:
  ReflectionStream(ServiceCore& core, OpenStreams<ReflectionStream>& open,
                   const ServiceDescriptions& descriptions,
                   grpc::GenericCallbackServerContext& context)
      : core_(core), open_(open), descriptions_(descriptions), context_(context) {}

  // Begins with the login, or ends with the refusal.
  void start(const grpc::Status& refusal) {
    self_ = shared_from_this();
    if (!refusal.ok()) return end(refusal);
    auto identity = std::make_shared<const CallIdentity>(identify(context_));
    ServiceCore::Login login{
        std::move(identity), kName, [self = self_] { return self->is_over(); }, {}};
    login.then = [self = self_](const grpc::Status& verdict, const access::Caller& /*caller*/) {
      if (!verdict.ok()) return self->end(verdict);
      self->read_next();
    };
    if (!core_.authenticate(std::move(login))) end(core_.no_room());
  }

  // Later ends change nothing. Any thread.
  void end(const grpc::Status& status) {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (std::exchange(ended_, true)) return;
    Finish(request::bounded(status));
  }

  void OnReadDone(bool ok) override {
    if (!ok) return end(grpc::Status::OK);
    core_.message_received(context_.peer(), request_);
    std::string request;
    std::string response;
    if (request_.Length() > kMostRequestBytes || !text_of(request_, request) ||
        !descriptions_.answer(context_.method(), request, response)) {
      return end({grpc::StatusCode::INVALID_ARGUMENT, kNoReflectionRequest});
    }
    const std::lock_guard<std::mutex> lock(mutex_);
    if (ended_) return;
    const grpc::Slice slice(response);
    response_ = grpc::ByteBuffer(&slice, 1);
    StartWrite(&response_);
  }

  // A write that failed is followed by the end of the call.
  void OnWriteDone(bool ok) override {
    if (ok) read_next();
  }

  void OnCancel() override { end({grpc::StatusCode::CANCELLED, kCallCancelled}); }

  void OnDone() override {
    open_.remove(this);
    const std::shared_ptr<ReflectionStream> self = std::move(self_);
  }

 private:
  bool is_over() {
    const std::lock_guard<std::mutex> lock(mutex_);
    return ended_;
  }

  void read_next() {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (!ended_) StartRead(&request_);
  }

  ServiceCore& core_;
  OpenStreams<ReflectionStream>& open_;
  const ServiceDescriptions& descriptions_;
  grpc::GenericCallbackServerContext& context_;
  std::shared_ptr<ReflectionStream> self_;
  grpc::ByteBuffer request_;
  grpc::ByteBuffer response_;
  std::mutex mutex_;
  bool ended_ = false;
};

ReflectionService::ReflectionService(ServiceCore& core) : core_(core), streams_(kMostStreams) {}

grpc::ServerGenericBidiReactor* ReflectionService::CreateReactor(
    grpc::GenericCallbackServerContext* context) {
  if (!descriptions_.serves(context->method())) {
    return grpc::CallbackGenericService::CreateReactor(context);
  }
  const auto stream = std::make_shared<ReflectionStream>(core_, streams_, descriptions_, *context);
  stream->start(streams_.admit(stream));
  return stream.get();
}

void ReflectionService::close_all() { streams_.close_all(); }

}  // namespace nexa::server
