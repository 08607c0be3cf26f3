// The gRPC server around a service: encryption and its renewal, limits, health, and
// peers that do not speak gRPC.
#include "server.h"

#include <grpcpp/grpcpp.h>
#include <grpcpp/impl/client_unary_call.h>
#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <memory>
#include <string>
#include <thread>

#include "gnmi.grpc.pb.h"
#include "raw_client.h"
#include "support/results.h"
#include "test_certificates.h"
#include "tls.h"

namespace {

using namespace nexad;
using namespace std::chrono_literals;
using nexa_test::value_of;
using nexad_test::RawClient;

// Answers Capabilities with who asks, and Get when the test likes.
class Echo final : public gnmi::gNMI::CallbackService {
 public:
  // Waits for a Get; the caller finishes it.
  grpc::ServerUnaryReactor* unanswered() { return gets_.get_future().get(); }

 private:
  grpc::ServerUnaryReactor* Capabilities(grpc::CallbackServerContext* context,
                                         const gnmi::CapabilityRequest*,
                                         gnmi::CapabilityResponse* response) override {
    const auto names = context->auth_context()->FindPropertyValues("x509_common_name");
    response->set_gnmi_version(names.empty() ? "nobody"
                                             : std::string(names[0].data(), names[0].size()));
    auto* reactor = context->DefaultReactor();
    reactor->Finish(grpc::Status::OK);
    return reactor;
  }
  grpc::ServerUnaryReactor* Get(grpc::CallbackServerContext* context, const gnmi::GetRequest*,
                                gnmi::GetResponse*) override {
    auto* reactor = context->DefaultReactor();
    gets_.set_value(reactor);
    return reactor;
  }

  std::promise<grpc::ServerUnaryReactor*> gets_;
};

struct Answer {
  grpc::Status status;
  std::string text;
};

Answer ask(const std::shared_ptr<grpc::Channel>& channel, std::size_t padding = 0) {
  grpc::ClientContext context;
  context.set_deadline(std::chrono::system_clock::now() + 10s);
  context.set_wait_for_ready(false);
  gnmi::CapabilityRequest request;
  if (padding > 0) {
    request.add_extension()->mutable_registered_ext()->set_msg(std::string(padding, 'x'));
  }
  gnmi::CapabilityResponse response;
  const auto status = gnmi::gNMI::NewStub(channel)->Capabilities(&context, request, &response);
  return {status, response.gnmi_version()};
}

Answer get(const std::shared_ptr<grpc::Channel>& channel) {
  grpc::ClientContext context;
  context.set_deadline(std::chrono::system_clock::now() + 30s);
  gnmi::GetResponse response;
  return {gnmi::gNMI::NewStub(channel)->Get(&context, gnmi::GetRequest(), &response), {}};
}

class ServerTest : public testing::Test {
 protected:
  ~ServerTest() override {
    if (server_ != nullptr) server_->stop({}, 200ms);
  }

  void start(std::shared_ptr<grpc::ServerCredentials> credentials) {
    server_ = value_of(
        Server::start(config_, value_of(open_listening_sockets(*parse_address("127.0.0.1:0"))),
                      std::move(credentials), {service_}));
  }

  // A connection of its own, not one that another channel has already.
  std::shared_ptr<grpc::Channel> channel(
      const std::shared_ptr<grpc::ChannelCredentials>& credentials) const {
    grpc::ChannelArguments arguments;
    arguments.SetInt(GRPC_ARG_USE_LOCAL_SUBCHANNEL_POOL, 1);
    return grpc::CreateCustomChannel("127.0.0.1:" + std::to_string(server_->address().port),
                                     credentials, arguments);
  }

  Answer ask_plain() const { return ask(channel(grpc::InsecureChannelCredentials())); }

  ServerConfig config_;
  Echo service_;
  std::unique_ptr<Server> server_;
};

class EncryptedServerTest : public ServerTest {
 protected:
  EncryptedServerTest() {
    files_.make_authority("ca");
    files_.make_authority("other");
    files_.make("server", "ca");
    files_.make("alice", "ca");
    files_.copy("server.crt", "cert");
    files_.copy("server.key", "key");
  }

  void start_tls(const std::string& authorities) {
    store_ = value_of(TlsStore::open({files_.path("cert"), files_.path("key"),
                                      authorities.empty() ? "" : files_.path(authorities)}));
    start(make_tls_credentials(store_));
  }

  Answer ask_with(const std::string& roots, const std::string& own = {}) const {
    grpc::SslCredentialsOptions options;
    options.pem_root_certs = files_.read(roots);
    if (!own.empty()) {
      options.pem_cert_chain = files_.read(own + ".crt");
      options.pem_private_key = files_.read(own + ".key");
    }
    return ask(channel(grpc::SslCredentials(options)));
  }

  nexad_test::TestCertificates files_;
  std::shared_ptr<TlsStore> store_;
};

TEST_F(ServerTest, ServesWithoutEncryption) {
  start(grpc::InsecureServerCredentials());
  EXPECT_EQ(ask_plain().text, "nobody");
  EXPECT_EQ(server_->listener_counts().accepted, 1U);
}

TEST_F(ServerTest, CountsAConnectionUntilItEnds) {
  start(grpc::InsecureServerCredentials());
  {
    const auto held = channel(grpc::InsecureChannelCredentials());
    ASSERT_TRUE(ask(held).status.ok());
    EXPECT_EQ(server_->connection_counts().open, 1U);
  }
  for (int i = 0; i < 200 && server_->connection_counts().open != 0; ++i) {
    std::this_thread::sleep_for(10ms);
  }
  EXPECT_EQ(server_->connection_counts().open, 0U);
}

TEST_F(ServerTest, ClosesTheOldestIdleConnectionForOneBeyondTheLimit) {
  config_.max_connections = 1;
  start(grpc::InsecureServerCredentials());
  const auto held = channel(grpc::InsecureChannelCredentials());
  ASSERT_TRUE(ask(held).status.ok());
  EXPECT_TRUE(ask_plain().status.ok());
  EXPECT_EQ(server_->connection_counts().gave_way, 1U);
}

TEST_F(ServerTest, RefusesARequestBeyondTheLimit) {
  config_.max_message_bytes = 100000;
  start(grpc::InsecureServerCredentials());
  const auto held = channel(grpc::InsecureChannelCredentials());
  EXPECT_TRUE(ask(held, 90000).status.ok());
  EXPECT_EQ(ask(held, 110000).status.error_code(), grpc::StatusCode::RESOURCE_EXHAUSTED);
  EXPECT_TRUE(ask(held).status.ok());
}

TEST_F(ServerTest, EndsAPeerThatSaysNothing) {
  config_.handshake_timeout_ms = 300;
  start(grpc::InsecureServerCredentials());
  const RawClient silent(server_->address());
  EXPECT_TRUE(silent.is_closed_within(5s));
  EXPECT_TRUE(ask_plain().status.ok());
}

TEST_F(ServerTest, EndsAPeerThatSpeaksSomethingElse) {
  start(grpc::InsecureServerCredentials());
  const RawClient browser(server_->address());
  browser.send("GET / HTTP/1.1\r\nHost: localhost\r\n\r\n");
  EXPECT_TRUE(browser.is_closed_within(5s));
  const RawClient garbage(server_->address());
  garbage.send(std::string(100000, '\xa5'));
  EXPECT_TRUE(garbage.is_closed_within(5s));
  EXPECT_TRUE(ask_plain().status.ok());
}

// grpc.health.v1.Health/Check, without its generated code: the answer is one varint field.
int health(const std::shared_ptr<grpc::Channel>& channel, const std::string& service) {
  grpc::ClientContext context;
  context.set_deadline(std::chrono::system_clock::now() + 5s);
  gnmi::ModelData request;  // field 1 is a string there, too
  request.set_name(service);
  gnmi_ext::History response;
  const grpc::internal::RpcMethod method("/grpc.health.v1.Health/Check",
                                         grpc::internal::RpcMethod::NORMAL_RPC);
  const auto status =
      grpc::internal::BlockingUnaryCall(channel.get(), method, &context, request, &response);
  if (!status.ok()) return -static_cast<int>(status.error_code());
  return static_cast<int>(response.snapshot_time());
}

TEST_F(ServerTest, TellsItsHealth) {
  start(grpc::InsecureServerCredentials());
  const auto held = channel(grpc::InsecureChannelCredentials());
  EXPECT_EQ(health(held, ""), 1);
  EXPECT_EQ(health(held, "gnmi.gNMI"), 1);
  EXPECT_EQ(health(held, "other"), -static_cast<int>(grpc::StatusCode::NOT_FOUND));
  int at_the_end = 0;
  server_->stop([&] { at_the_end = health(held, ""); }, 200ms);
  EXPECT_EQ(at_the_end, 2);
  server_.reset();
}

constexpr auto kGrace = 20s;

// A client's preface and SETTINGS frame, then nothing: it never reads that it is to go.
void connect_and_be_silent(const RawClient& client) {
  client.send("PRI * HTTP/2.0\r\n\r\nSM\r\n\r\n");
  client.send(std::string("\0\0\0\4\0\0\0\0\0", 9));
}

TEST_F(ServerTest, StopsAtOnceBesideIdleClients) {
  start(grpc::InsecureServerCredentials());
  const auto held = channel(grpc::InsecureChannelCredentials());
  ASSERT_TRUE(ask(held).status.ok());
  const RawClient silent(server_->address());
  connect_and_be_silent(silent);
  ASSERT_TRUE(ask(held).status.ok());
  const auto begin = std::chrono::steady_clock::now();
  server_->stop({}, kGrace);
  EXPECT_LT(std::chrono::steady_clock::now() - begin, kGrace / 4);
  EXPECT_TRUE(silent.is_closed_within(1s));
  server_.reset();
}

TEST_F(ServerTest, GivesACallInHandTheGrace) {
  start(grpc::InsecureServerCredentials());
  const auto held = channel(grpc::InsecureChannelCredentials());
  Answer answer;
  std::thread client([&] { answer = get(held); });
  auto* const call = service_.unanswered();
  std::thread worker([call] {
    std::this_thread::sleep_for(300ms);
    call->Finish(grpc::Status::OK);
  });
  const auto begin = std::chrono::steady_clock::now();
  server_->stop({}, kGrace);
  const auto time = std::chrono::steady_clock::now() - begin;
  worker.join();
  client.join();
  EXPECT_TRUE(answer.status.ok()) << answer.status.error_message();
  EXPECT_GE(time, 250ms);
  EXPECT_LT(time, kGrace / 4);
  server_.reset();
}

TEST_F(ServerTest, EndsACallThatOutlivesTheGrace) {
  start(grpc::InsecureServerCredentials());
  const auto held = channel(grpc::InsecureChannelCredentials());
  Answer answer;
  std::thread client([&] { answer = get(held); });
  auto* const call = service_.unanswered();
  std::thread worker([&] {
    client.join();  // the grace is over
    call->Finish(grpc::Status::OK);
  });
  server_->stop({}, 200ms);
  worker.join();
  EXPECT_FALSE(answer.status.ok());
  server_.reset();
}

TEST_F(EncryptedServerTest, ServesWithItsCertificate) {
  start_tls("");
  EXPECT_EQ(ask_with("ca.crt").text, "nobody");
  EXPECT_FALSE(ask_with("other.crt").status.ok());
  EXPECT_FALSE(ask_plain().status.ok());
}

TEST_F(EncryptedServerTest, RequiresAClientCertificateOfItsAuthorities) {
  files_.make("mallory", "other");
  start_tls("ca.crt");
  EXPECT_EQ(ask_with("ca.crt", "alice").text, "alice");
  EXPECT_FALSE(ask_with("ca.crt").status.ok());
  EXPECT_FALSE(ask_with("ca.crt", "mallory").status.ok());
}

TEST_F(EncryptedServerTest, RenewsItsCertificateWhileItServes) {
  files_.make("next", "other");
  start_tls("");
  grpc::SslCredentialsOptions options;
  options.pem_root_certs = files_.read("ca.crt");
  const auto held = channel(grpc::SslCredentials(options));
  ASSERT_TRUE(ask(held).status.ok());
  files_.copy("next.crt", "cert");
  ASSERT_FALSE(store_->reload(false).ok());
  EXPECT_TRUE(ask_with("ca.crt").status.ok());
  files_.copy("next.key", "key");
  ASSERT_EQ(value_of(store_->reload(false)), TlsStore::Outcome::kRenewed);
  EXPECT_TRUE(ask_with("other.crt").status.ok());
  EXPECT_FALSE(ask_with("ca.crt").status.ok());
  EXPECT_TRUE(ask(held).status.ok());
}

TEST_F(EncryptedServerTest, RenewsItsAuthorities) {
  files_.make("bob", "other");
  files_.copy("ca.crt", "clients");
  start_tls("clients");
  EXPECT_FALSE(ask_with("ca.crt", "bob").status.ok());
  files_.copy("other.crt", "clients");
  ASSERT_EQ(value_of(store_->reload(false)), TlsStore::Outcome::kRenewed);
  EXPECT_EQ(ask_with("ca.crt", "bob").text, "bob");
  EXPECT_FALSE(ask_with("ca.crt", "alice").status.ok());
}

TEST_F(EncryptedServerTest, SurvivesGarbageAndHandshakesThatStall) {
  config_.handshake_timeout_ms = 300;
  start_tls("");
  const RawClient garbage(server_->address());
  garbage.send(std::string(100000, '\xa5'));
  EXPECT_TRUE(garbage.is_closed_within(5s));
  const RawClient stalled(server_->address());
  stalled.send(std::string("\x16\x03\x01\x02\x00\x01", 6));  // a ClientHello that does not go on
  EXPECT_TRUE(stalled.is_closed_within(5s));
  EXPECT_TRUE(ask_with("ca.crt").status.ok());
}

}  // namespace
