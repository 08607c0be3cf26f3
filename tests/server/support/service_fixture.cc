// The schema is loaded once for the process; each test has a server of its own.
#include "server/support/service_fixture.h"

#include <thread>

#include "kestrel/loader.h"

namespace nexa_test {

using nexa::access::Caller;
using nexa::access::Credentials;
using nexa::access::Role;

ExampleSchema& example_schema() {
  static ExampleSchema& schema = *[] {
    static ExampleSchema loaded;
    kestrel::LoadOptions load;
    load.search_dirs = {NEXA_SOURCE_DIR "/models"};
#ifdef NEXA_MORE_MODELS
    load.search_dirs.emplace_back(NEXA_MORE_MODELS);
#endif
    const auto problem = kestrel::load(load);
    EXPECT_FALSE(problem.has_value()) << problem->text();
    loaded.mapper.populate();
    loaded.schema = std::make_unique<nexa::model::Schema>();
    loaded.resolver = std::make_unique<nexa::model::Resolver>(*loaded.schema);
    loaded.translator =
        std::make_unique<nexa::translate::Translator>(loaded.mapper, *loaded.schema);
    return &loaded;
  }();
  return schema;
}

void Recorder::call_ended(std::string_view method, grpc::StatusCode code,
                          std::chrono::nanoseconds /*time*/) {
  const std::lock_guard<std::mutex> lock(mutex_);
  calls_.push_back(std::string(method) + " " + std::to_string(code));
}

void Recorder::stream_opened() {
  const std::lock_guard<std::mutex> lock(mutex_);
  ++open_streams_;
}

void Recorder::stream_closed() {
  const std::lock_guard<std::mutex> lock(mutex_);
  --open_streams_;
}

void Recorder::updates_sent(std::size_t leaves) {
  const std::lock_guard<std::mutex> lock(mutex_);
  leaves_ += leaves;
}

void Recorder::stream_overflowed() {
  const std::lock_guard<std::mutex> lock(mutex_);
  ++overflows_;
}

void Recorder::audit(const std::string& line) {
  const std::lock_guard<std::mutex> lock(mutex_);
  audit_lines_.push_back(line);
}

void Recorder::login_failed(const std::string& line) {
  const std::lock_guard<std::mutex> lock(mutex_);
  failed_logins_.push_back(line);
}

void Recorder::fault(const std::string& line) {
  const std::lock_guard<std::mutex> lock(mutex_);
  faults_.push_back(line);
}

std::vector<std::string> Recorder::audit_lines() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return audit_lines_;
}

std::vector<std::string> Recorder::failed_logins() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return failed_logins_;
}

std::vector<std::string> Recorder::faults() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return faults_;
}

std::vector<std::string> Recorder::calls() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return calls_;
}

int Recorder::open_streams() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return open_streams_;
}

int Recorder::overflows() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return overflows_;
}

std::size_t Recorder::leaves() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return leaves_;
}

namespace {

std::string word(bool is_given, bool is_several, std::string_view text) {
  if (is_several) return "?" + std::string(text);
  return is_given ? std::string(text) : "-";
}

}  // namespace

grpc::Status FakeAccess::authenticate(const Credentials& credentials, Caller& caller) {
  if (before_authenticate) before_authenticate();
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    last_shown_ =
        word(!credentials.user.empty(), credentials.users_differ, credentials.user) + "/" +
        word(!credentials.password.empty(), credentials.passwords_differ, credentials.password) +
        "/" +
        word(credentials.certificate, credentials.has_several_names, credentials.certificate_name);
  }
  if (users.empty()) {
    caller = {"anonymous", Role::kReadWrite};
    return grpc::Status::OK;
  }
  const auto user = users.find(std::string(credentials.user));
  if (nexa::access::proof_of(credentials) != nexa::access::Proof::kPassword ||
      user == users.end() || user->second.password != credentials.password) {
    return {grpc::StatusCode::UNAUTHENTICATED, "who are you"};
  }
  caller = {user->first, user->second.role};
  return grpc::Status::OK;
}

std::string FakeAccess::last_shown() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return last_shown_;
}

bool FakeAccess::remembers(const Credentials& /*credentials*/, Caller& /*caller*/) { return false; }

nexa::text::Done FakeAccess::reload() { return {}; }

void ServiceTest::start() {
  ExampleSchema& schema = example_schema();
  nexa::store::ConfigStore& used = other_store != nullptr ? *other_store : store;
  const nexa::server::GnmiServiceParts parts{*schema.resolver,
                                             *schema.translator,
                                             used,
                                             access,
                                             schema.mapper.cached_capability_response_,
                                             providers,
                                             recorder,
                                             approve};
  service = nexa::server::make_gnmi_service(parts, options);
  grpc::ServerBuilder builder;
  builder.AddListeningPort("127.0.0.1:0", credentials, &port_);
  builder.SetMaxReceiveMessageSize(max_receive_bytes);
  builder.RegisterService(&service->service());
  if (offer_reflection) builder.RegisterCallbackGenericService(&service->reflection());
  server_ = builder.BuildAndStart();
  ASSERT_NE(server_, nullptr);
  stub_ = gnmi::gNMI::NewStub(new_channel());
}

void ServiceTest::stop() {
  if (server_ == nullptr) return;
  service->shutdown();
  server_->Shutdown(std::chrono::system_clock::now() + std::chrono::seconds(5));
  server_->Wait();
  stub_.reset();
  server_.reset();
  service.reset();
}

std::shared_ptr<grpc::Channel> ServiceTest::new_channel() const {
  grpc::ChannelArguments arguments;
  arguments.SetInt(GRPC_ARG_USE_LOCAL_SUBCHANNEL_POOL, 1);
  arguments.SetMaxReceiveMessageSize(-1);
  return grpc::CreateCustomChannel(address(), grpc::InsecureChannelCredentials(), arguments);
}

grpc::Status ServiceTest::get(const gnmi::GetRequest& request, gnmi::GetResponse& response) {
  grpc::ClientContext context;
  for (const auto& [key, value] : metadata) context.AddMetadata(key, value);
  return stub_->Get(&context, request, &response);
}

grpc::Status ServiceTest::set(const gnmi::SetRequest& request, gnmi::SetResponse& response) {
  grpc::ClientContext context;
  for (const auto& [key, value] : metadata) context.AddMetadata(key, value);
  return stub_->Set(&context, request, &response);
}

std::string shown(const grpc::Status& status) {
  return std::to_string(status.error_code()) + " " + status.error_message();
}

bool eventually(const std::function<bool()>& condition, std::chrono::milliseconds limit) {
  const auto end = std::chrono::steady_clock::now() + limit;
  while (!condition()) {
    if (std::chrono::steady_clock::now() > end) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  return true;
}

}  // namespace nexa_test
