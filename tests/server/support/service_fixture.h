// The service behind a real gRPC server on a loopback port, and short forms for calls on it.
#ifndef TESTS_SERVER_SUPPORT_SERVICE_FIXTURE_H_
#define TESTS_SERVER_SUPPORT_SERVICE_FIXTURE_H_

#include <grpcpp/grpcpp.h>
#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "nexa/nexa_srv_kestrel_namespace_mapper_impl.h"
#include "server/gnmi_service.h"
#include "server/support/fake_store.h"
#include "support/translate_oracle.h"
#include "translate/translate.h"

namespace nexa_test {

// The example modules; loaded once for the test program.
struct ExampleSchema {
  nexa::ServiceKestrelNamespaceMapperImpl mapper;
  std::unique_ptr<nexa::model::Schema> schema;
  std::unique_ptr<nexa::model::Resolver> resolver;
  std::unique_ptr<nexa::translate::Translator> translator;
};
ExampleSchema& example_schema();

// Keeps what the service tells.
class Recorder : public nexa::server::ServiceObserver {
 public:
  void call_ended(std::string_view method, grpc::StatusCode code,
                  std::chrono::nanoseconds time) override;
  void stream_opened() override;
  void stream_closed() override;
  void updates_sent(std::size_t leaves) override;
  void stream_overflowed() override;
  void login_failed(const std::string& line) override;
  void audit(const std::string& line) override;
  void fault(const std::string& line) override;

  std::vector<std::string> audit_lines() const;
  std::vector<std::string> failed_logins() const;
  std::vector<std::string> faults() const;
  // "Get 0", the method and the code's number.
  std::vector<std::string> calls() const;
  int open_streams() const;
  int overflows() const;
  std::size_t leaves() const;

 private:
  mutable std::mutex mutex_;
  std::vector<std::string> audit_lines_;
  std::vector<std::string> failed_logins_;
  std::vector<std::string> faults_;
  std::vector<std::string> calls_;
  int open_streams_ = 0;
  int overflows_ = 0;
  std::size_t leaves_ = 0;
};

// Users by name; nobody is asked for anything while there are none.
class FakeAccess : public nexa::access::AccessControl {
 public:
  struct User {
    std::string password;
    nexa::access::Role role = nexa::access::Role::kReadOnly;
  };

  grpc::Status authenticate(const nexa::access::Credentials& credentials,
                            nexa::access::Caller& caller) override;
  bool remembers(const nexa::access::Credentials& credentials,
                 nexa::access::Caller& caller) override;
  nexa::text::Done reload() override;

  // What the last caller showed: "user/password/certificate", "-" for what was not there, "?" in
  // front of what was there more than once.
  std::string last_shown() const;

  std::map<std::string, User> users;          // set before calls are made
  std::function<void()> before_authenticate;  // the same

 private:
  mutable std::mutex mutex_;
  std::string last_shown_;
};

class ServiceTest : public testing::Test {
 protected:
  // Before the members that a test's own fixture adds are gone.
  void TearDown() override { stop(); }

  // Starts the server with what the members below say; `store()` is the fake one unless
  // `other_store` is set.
  void start();
  void stop();

  std::shared_ptr<grpc::Channel> new_channel() const;
  gnmi::gNMI::Stub& stub() { return *stub_; }
  std::string address() const { return "127.0.0.1:" + std::to_string(port_); }

  grpc::Status get(const gnmi::GetRequest& request, gnmi::GetResponse& response);
  grpc::Status set(const gnmi::SetRequest& request, gnmi::SetResponse& response);

  FakeStore store;
  nexa::store::ConfigStore* other_store = nullptr;
  FakeAccess access;
  Recorder recorder;
  nexa::server::GnmiServiceOptions options;
  std::vector<nexa::state::StateProvider*> providers;
  std::function<grpc::Status(const nexa::store::Change&)> approve;
  std::multimap<std::string, std::string> metadata;  // of get() and set()
  int max_receive_bytes = 64 << 20;
  bool offer_reflection = false;
  std::shared_ptr<grpc::ServerCredentials> credentials = grpc::InsecureServerCredentials();

  std::unique_ptr<nexa::server::GnmiService> service;

 private:
  std::unique_ptr<grpc::Server> server_;
  int port_ = 0;
  std::unique_ptr<gnmi::gNMI::Stub> stub_;
};

// A text and a code in one comparison: "3 text".
std::string shown(const grpc::Status& status);

// Waits until `condition` holds, for at most `limit`; whether it did.
bool eventually(const std::function<bool()>& condition,
                std::chrono::milliseconds limit = std::chrono::seconds(20));

}  // namespace nexa_test

#endif  // TESTS_SERVER_SUPPORT_SERVICE_FIXTURE_H_
