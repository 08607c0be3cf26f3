// The four methods, each handed to the file whose job it is. Nothing here blocks: gRPC's threads
// start a call and go.
#include "server/gnmi_service.h"

#include <utility>

#include "server/get_request.h"
#include "server/messages.h"
#include "server/reflection_service.h"
#include "server/service_core.h"
#include "server/set_call.h"
#include "server/subscribe_stream.h"

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

class Service final : public GnmiService, public gnmi::gNMI::CallbackService {
 public:
  Service(const GnmiServiceParts& parts, const GnmiServiceOptions& options)
      : core_(parts, options), streams_(options.limits.max_streams) {
    core_.state_events->start();
  }
  ~Service() override { stop(); }

  grpc::Service& service() override { return *this; }
  grpc::CallbackGenericService& reflection() override;
  void shutdown() override { stop(); }

  grpc::ServerUnaryReactor* Capabilities(grpc::CallbackServerContext* context,
                                         const gnmi::CapabilityRequest* /*request*/,
                                         gnmi::CapabilityResponse* response) override;
  grpc::ServerUnaryReactor* Get(grpc::CallbackServerContext* context,
                                const gnmi::GetRequest* request,
                                gnmi::GetResponse* response) override;
  grpc::ServerUnaryReactor* Set(grpc::CallbackServerContext* context,
                                const gnmi::SetRequest* request,
                                gnmi::SetResponse* response) override;
  grpc::ServerBidiReactor<gnmi::SubscribeRequest, gnmi::SubscribeResponse>* Subscribe(
      grpc::CallbackServerContext* context) override;

 private:
  // Judges the caller and answers with what `serve` gives and puts into `response`.
  grpc::ServerUnaryReactor* answer(grpc::CallbackServerContext& context, const char* method,
                                   google::protobuf::Message& response,
                                   std::function<grpc::Status(const UnaryCall&)> serve);
  void stop();

  ServiceCore core_;
  OpenStreams<SubscribeStream> streams_;
  std::unique_ptr<ReflectionService> reflection_;
};

grpc::CallbackGenericService& Service::reflection() {
  if (reflection_ == nullptr) reflection_ = std::make_unique<ReflectionService>(core_);
  return *reflection_;
}

grpc::ServerUnaryReactor* Service::answer(grpc::CallbackServerContext& context, const char* method,
                                          google::protobuf::Message& response,
                                          std::function<grpc::Status(const UnaryCall&)> serve) {
  const auto call = std::make_shared<UnaryCall>(core_, context, method);
  grpc::ServerUnaryReactor* reactor = call->reactor();
  ServiceCore::Login login{
      call->identity(), method, core_.workers, [call] { return call->cancelled(); }, {}};
  login.then = [this, call, &response, serve = std::move(serve)](const grpc::Status& verdict,
                                                                 const access::Caller& /*caller*/) {
    if (!verdict.ok()) {
      call->finish(verdict);
    } else if (call->cancelled()) {
      call->finish({grpc::StatusCode::CANCELLED, kCallCancelled});
    } else {
      const grpc::Status status = call->guarded([&] { return serve(*call); });
      const bool given_up = status.error_code() == grpc::StatusCode::CANCELLED && core_.stopping;
      call->finish(given_up ? core_.no_room() : status, response);
    }
  };
  core_.authenticate(std::move(login));
  return reactor;
}

grpc::ServerUnaryReactor* Service::Capabilities(grpc::CallbackServerContext* context,
                                                const gnmi::CapabilityRequest* /*request*/,
                                                gnmi::CapabilityResponse* response) {
  return answer(*context, "Capabilities", *response, [this, response](const UnaryCall& /*call*/) {
    fill_capabilities(core_.parts.models, core_.options.profile, *response);
    return grpc::Status::OK;
  });
}

grpc::ServerUnaryReactor* Service::Get(grpc::CallbackServerContext* context,
                                       const gnmi::GetRequest* request,
                                       gnmi::GetResponse* response) {
  return answer(*context, "Get", *response, [this, request, response](const UnaryCall& call) {
    const GetParts parts{core_.parts.resolver,
                         core_.parts.store,
                         core_.state,
                         core_.options.limits,
                         [this, &call] { return core_.stopping || call.cancelled(); },
                         core_.options.profile,
                         &core_.parts.models};
    return serve_get(parts, *request, *response);
  });
}

grpc::ServerUnaryReactor* Service::Set(grpc::CallbackServerContext* context,
                                       const gnmi::SetRequest* request,
                                       gnmi::SetResponse* response) {
  return std::make_shared<SetCall>(core_, *context, *request, *response)->start();
}

grpc::ServerBidiReactor<gnmi::SubscribeRequest, gnmi::SubscribeResponse>* Service::Subscribe(
    grpc::CallbackServerContext* context) {
  return open_stream(core_, streams_, *context);
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
