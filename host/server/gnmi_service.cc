// The four methods, each handed to the file whose job it is. Nothing here blocks: gRPC's threads
// start a call and go.
#include "server/gnmi_service.h"

#include <utility>

#include "profile/request_check.h"
#include "server/get_request.h"
#include "server/messages.h"
#include "server/raw_methods.h"
#include "server/reflection_service.h"
#include "server/request_bytes.h"
#include "server/service_core.h"
#include "server/set_call.h"
#include "server/subscribe_stream.h"
#include "server/want_of_memory.h"

namespace nexa::server {
namespace {

void fill_capabilities(const gnmi::CapabilityResponse& models, profile::Profile profile,
                       gnmi::CapabilityResponse& response) {
  response.mutable_supported_models()->CopyFrom(models.supported_models());
  for (const gnmi::Encoding encoding : profile::reported_encodings(profile)) {
    response.add_supported_encodings(encoding);
  }
  const google::protobuf::FileDescriptor* file = gnmi::CapabilityRequest::descriptor()->file();
  response.set_gnmi_version(file->options().GetExtension(gnmi::gnmi_service));
}

class Service final : public GnmiService, public RawMethods {
 public:
  Service(const GnmiServiceParts& parts, const GnmiServiceOptions& options)
      : core_(parts, options), streams_(options.limits.max_streams) {
    core_.state_events->start();
  }
  ~Service() override { stop(); }

  grpc::Service& service() override { return *this; }
  grpc::CallbackGenericService& reflection() override;
  void shutdown() override { stop(); }

  BytesReactor* Capabilities(grpc::CallbackServerContext* context) override;
  BytesReactor* Get(grpc::CallbackServerContext* context) override;
  BytesReactor* Set(grpc::CallbackServerContext* context) override;
  BytesReactor* Subscribe(grpc::CallbackServerContext* context) override;

 private:
  // Reads the request of a call and writes its answer; not OK: that is the answer.
  using Serve = std::function<grpc::Status(UnaryCall& call, grpc::ByteBuffer& answer)>;

  // A reactor for the call: what `open` gives, a refusal when there is no memory for it. Without
  // memory for that gRPC would say that there is no such method; so the call is cancelled.
  template <typename Open>
  BytesReactor* opened(const char* method, grpc::CallbackServerContext& context,
                       const Open& open) noexcept;

  // Judges the caller, receives the request and answers with what `serve` gives.
  BytesReactor* answer(grpc::CallbackServerContext& context, const char* method, Serve serve);
  void begin(const std::shared_ptr<UnaryCall>& call, const char* method, Serve serve);
  grpc::Status serve_capabilities(UnaryCall& call, grpc::ByteBuffer& answer);
  grpc::Status serve_paths(UnaryCall& call, grpc::ByteBuffer& answer);
  void stop();

  ServiceCore core_;
  OpenStreams<SubscribeStream> streams_;
  std::unique_ptr<ReflectionService> reflection_;
};

grpc::CallbackGenericService& Service::reflection() {
  if (reflection_ == nullptr) reflection_ = std::make_unique<ReflectionService>(core_);
  return *reflection_;
}

template <typename Open>
BytesReactor* Service::opened(const char* method, grpc::CallbackServerContext& context,
                              const Open& open) noexcept {
  BytesReactor* reactor = nullptr;
  attempt([&] { reactor = open(); });
  if (reactor == nullptr) attempt([&] { reactor = refuse(core_, method, no_memory()); });
  if (reactor == nullptr) context.TryCancel();
  return reactor;
}

BytesReactor* Service::answer(grpc::CallbackServerContext& context, const char* method,
                              Serve serve) {
  return opened(method, context, [&] {
    const auto call = std::make_shared<UnaryCall>(core_, context, method);
    attempt([&] { begin(call, method, std::move(serve)); });  // what it drops is answered
    return call->reactor();
  });
}

void Service::begin(const std::shared_ptr<UnaryCall>& call, const char* method, Serve serve) {
  ServiceCore::Login login{call->identity(), method, [call] { return call->cancelled(); }, {}};
  login.then = [this, call, serve = std::move(serve)](const grpc::Status& verdict,
                                                      const access::Caller& /*caller*/) {
    if (!verdict.ok()) return call->finish(verdict);
    call->receive([this, call, serve](const grpc::Status& received) {
      if (!received.ok()) return call->finish(received);
      if (call->cancelled()) {
        return call->finish(status_of(grpc::StatusCode::CANCELLED, kCallCancelled));
      }
      grpc::ByteBuffer bytes;
      const grpc::Status status = call->guarded([&] { return serve(*call, bytes); });
      const bool given_up = status.error_code() == grpc::StatusCode::CANCELLED && core_.stopping;
      call->finish(given_up ? core_.no_room() : status, bytes);
    });
  };
  core_.authenticate(std::move(login));
}

grpc::Status Service::serve_capabilities(UnaryCall& call, grpc::ByteBuffer& answer) {
  gnmi::CapabilityRequest request;
  grpc::Status status = call.request(request);
  if (!status.ok()) return status;
  const profile::Profile profile = core_.options.profile;
  status = profile::check_capabilities(profile, request).status;
  if (!status.ok()) return status;
  gnmi::CapabilityResponse response;
  fill_capabilities(core_.parts.models, profile, response);
  return write_answer(response, answer);
}

grpc::Status Service::serve_paths(UnaryCall& call, grpc::ByteBuffer& answer) {
  gnmi::GetRequest request;
  grpc::Status status = call.request(request);
  if (!status.ok()) return status;
  const GetParts parts{core_.parts.resolver,
                       core_.parts.store,
                       core_.state,
                       core_.options.limits,
                       [this, &call] { return core_.stopping || call.cancelled(); },
                       core_.options.profile,
                       &core_.parts.models};
  return serve_get(parts, request, answer);
}

BytesReactor* Service::Capabilities(grpc::CallbackServerContext* context) {
  return answer(*context, "Capabilities", [this](UnaryCall& call, grpc::ByteBuffer& bytes) {
    return serve_capabilities(call, bytes);
  });
}

BytesReactor* Service::Get(grpc::CallbackServerContext* context) {
  return answer(*context, "Get", [this](UnaryCall& call, grpc::ByteBuffer& bytes) {
    return serve_paths(call, bytes);
  });
}

BytesReactor* Service::Set(grpc::CallbackServerContext* context) {
  return opened("Set", *context, [&] {
    const auto call = std::make_shared<SetCall>(core_, *context);
    attempt([&] { call->start(); });  // what it drops is answered
    return call->reactor();
  });
}

BytesReactor* Service::Subscribe(grpc::CallbackServerContext* context) {
  return opened("Subscribe", *context, [&] { return open_stream(core_, streams_, *context); });
}

// The streams end first: nothing is handed to the threads by them afterwards. A commit that has
// begun is finished and answered; a Set that waits is answered that the server goes.
void Service::stop() {
  core_.stopping = true;
  core_.state_events->stop();
  core_.sampler.stop();
  streams_.close_all();
  if (reflection_ != nullptr) reflection_->close_all();
  core_.logins.stop();
  core_.workers.stop();
  core_.rounds.stop();
  core_.writer.stop();
}

}  // namespace

std::unique_ptr<GnmiService> make_gnmi_service(const GnmiServiceParts& parts,
                                               const GnmiServiceOptions& options) {
  return std::make_unique<Service>(parts, options);
}

}  // namespace nexa::server
