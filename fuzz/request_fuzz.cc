// A request as it comes off the wire, to the service over the real store in one process: one
// answer, a refusal has a text, and the observer hears of no fault of the server's own.
#include <grpcpp/grpcpp.h>

#include <chrono>
#include <memory>
#include <utility>
#include <vector>

#include "gnmi.grpc.pb.h"
#include "requests.h"
#include "server/gnmi_service.h"
#include "store/tree_store.h"
#include "support.h"

namespace {

using nexa::store::ConfigStore;

class Everybody : public nexa::access::AccessControl {
 public:
  grpc::Status authenticate(const nexa::access::Credentials& /*credentials*/,
                            nexa::access::Caller& caller) override {
    caller = {"fuzz", nexa::access::Role::kReadWrite};
    return grpc::Status::OK;
  }
  bool remembers(const nexa::access::Credentials& credentials,
                 nexa::access::Caller& caller) override {
    return authenticate(credentials, caller).ok();
  }
  nexa::text::Done reload() override { return {}; }
};

class Observer : public nexa::server::ServiceObserver {
 public:
  void fault(const std::string& line) override { fuzz::fail("a fault of the server", line); }
};

// The server in this process, and a client of it.
class Service {
 public:
  explicit Service(const std::string& folder)
      : schema_(loaded_schema()), resolver_(schema_), translator_(fuzz::mapper(), schema_) {
    nexa::store::TreeStoreOptions options;
    options.directory = folder;
    options.sync = false;
    options.history_limit = 10;
    options.commits_per_snapshot = 10;
    auto store = nexa::store::open_tree_store(options);
    if (!store.ok()) fuzz::fail("no store", store.failure().line());
    store_ = std::move(store).value();
    nexa::server::GnmiServiceOptions limits;
    limits.workers = 1;
    service_ = nexa::server::make_gnmi_service(
        {resolver_, translator_, *store_, access_, models_, {}, observer_, {}}, limits);
    grpc::ServerBuilder builder;
    builder.RegisterService(&service_->service());
    server_ = builder.BuildAndStart();
    stub_ = gnmi::gNMI::NewStub(server_->InProcessChannel({}));
  }
  Service(const Service&) = delete;
  Service& operator=(const Service&) = delete;

  void call(const google::protobuf::Message& request) {
    grpc::ClientContext context;
    // Nothing here may hang; a run under a sanitizer is slow.
    context.set_deadline(std::chrono::system_clock::now() + std::chrono::seconds(60));
    grpc::Status status;
    if (const auto* get = dynamic_cast<const gnmi::GetRequest*>(&request)) {
      gnmi::GetResponse answer;
      status = stub_->Get(&context, *get, &answer);
    } else if (const auto* set = dynamic_cast<const gnmi::SetRequest*>(&request)) {
      gnmi::SetResponse answer;
      status = stub_->Set(&context, *set, &answer);
    } else {
      status = subscribe(context, dynamic_cast<const gnmi::SubscribeRequest&>(request));
    }
    check(status);
  }

 private:
  grpc::Status subscribe(grpc::ClientContext& context, const gnmi::SubscribeRequest& request) {
    const auto stream = stub_->Subscribe(&context);
    stream->Write(request);
    gnmi::SubscribeResponse answer;
    while (stream->Read(&answer)) {
      if (answer.sync_response()) context.TryCancel();
    }
    const grpc::Status status = stream->Finish();
    return status.error_code() == grpc::StatusCode::CANCELLED ? grpc::Status::OK : status;
  }

  static void check(const grpc::Status& status) {
    switch (status.error_code()) {
      case grpc::StatusCode::DEADLINE_EXCEEDED:
      case grpc::StatusCode::INTERNAL:
      case grpc::StatusCode::UNKNOWN:
        fuzz::fail("not an answer to a client's fault", status.error_message());
      default:
        if (!status.ok() && status.error_message().empty()) fuzz::fail("no text");
    }
  }

  static const nexa::model::Schema& loaded_schema() {
    fuzz::mapper();  // loads it
    static const nexa::model::Schema schema;
    return schema;
  }

  const nexa::model::Schema& schema_;
  nexa::model::Resolver resolver_;
  nexa::translate::Translator translator_;
  std::unique_ptr<ConfigStore> store_;
  Everybody access_;
  Observer observer_;
  const gnmi::CapabilityResponse models_;
  std::unique_ptr<nexa::server::GnmiService> service_;
  std::unique_ptr<grpc::Server> server_;
  std::unique_ptr<gnmi::gNMI::Stub> stub_;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string name;
  const auto request = fuzz::parse_request(fuzz::text_of(data, size), name);
  if (request == nullptr) return 0;
  static const fuzz::TemporaryFolder folder;
  // One store for the whole run: what a Set leaves is what the next request meets. It is not ended:
  // the store's end needs what belongs to the main thread, which is gone when static objects end.
  static Service& service = *std::make_unique<Service>(folder.path()).release();
  service.call(*request);
  return 0;
}
