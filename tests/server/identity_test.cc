// What of a call reaches access control? Metadata, and the certificate that TLS has verified.
#include "nexad/test_certificates.h"
#include "server/call_identity.h"
#include "server/support/service_fixture.h"
#include "server/support/stream_client.h"

namespace nexa_test {
namespace {

class Identity : public ServiceTest {
 protected:
  void SetUp() override {
    store.put("/device/name", "\"box\"");
    store.know("/device/name");
  }

  // The verdict of a call on this channel, and what access control saw of it.
  std::string seen(const std::shared_ptr<grpc::Channel>& channel) {
    grpc::ClientContext context;
    for (const auto& [key, value] : metadata) context.AddMetadata(key, value);
    gnmi::CapabilityResponse response;
    const grpc::Status status =
        gnmi::gNMI::NewStub(channel)->Capabilities(&context, gnmi::CapabilityRequest(), &response);
    return std::to_string(status.error_code()) + " " + access.last_shown();
  }
};

TEST_F(Identity, Row15OfAPlainCallIsItsMetadata) {
  start();
  EXPECT_EQ(seen(new_channel()), "0 -/-/-");
  metadata = {{"username", "alice"}, {"password", "secret"}};
  EXPECT_EQ(seen(new_channel()), "0 alice/secret/-");
  metadata = {{"username", "alice"}};
  EXPECT_EQ(seen(new_channel()), "0 alice/-/-");
  metadata = {{"password", "secret"}};
  EXPECT_EQ(seen(new_channel()), "0 -/secret/-");
}

TEST_F(Identity, CountsOneValueOnceHoweverOftenItIsGiven) {
  start();
  metadata = {{"username", "alice"}, {"username", "alice"}, {"password", "s"}, {"password", "s"}};
  EXPECT_EQ(seen(new_channel()), "0 alice/s/-");
  metadata = {{"username", "alice"}, {"username", "bob"}, {"password", "secret"}};
  EXPECT_EQ(seen(new_channel()), "0 ?/secret/-");
  metadata = {{"username", "alice"}, {"password", "a"}, {"password", "a"}, {"password", "b"}};
  EXPECT_EQ(seen(new_channel()), "0 alice/?/-");
  metadata = {{"username", "alice"}, {"username", ""}, {"password", "a"}};
  EXPECT_EQ(seen(new_channel()), "0 ?/a/-");
}

TEST(CountCommonNames, KnowsNamesFromWhatValuesSay) {
  using nexa::server::count_common_names;
  EXPECT_EQ(count_common_names(""), 0U);
  EXPECT_EQ(count_common_names("O=CN=a"), 0U);
  EXPECT_EQ(count_common_names("CN=a"), 1U);
  EXPECT_EQ(count_common_names("CN=a,O=b"), 1U);
  EXPECT_EQ(count_common_names(R"(CN=a\,CN=b,O=c)"), 1U);
  EXPECT_EQ(count_common_names(R"(CN=a\,O=c)"), 1U);
  EXPECT_EQ(count_common_names(R"(CN=a\,CN\=b)"), 1U);
  EXPECT_EQ(count_common_names(R"(CN=a\\,CN=b)"), 2U);
  EXPECT_EQ(count_common_names("O=x+CN=a,CN=b"), 2U);
}

TEST_F(Identity, OfAStreamIsTheSame) {
  start();
  StreamClient client(stub(), std::chrono::seconds(20),
                      {{"username", "carol"}, {"password", "pass"}});
  client.write(watch({"/device/name"}, 1000));
  ASSERT_EQ(client.read_to_sync().size(), 2U);
  EXPECT_EQ(access.last_shown(), "carol/pass/-");
}

class TlsIdentity : public Identity {
 protected:
  void SetUp() override {
    Identity::SetUp();
    certificates.make_authority("ca");
    certificates.make("server", "ca");
    certificates.make("dave", "ca");
  }

  void serve(grpc_ssl_client_certificate_request_type clients) {
    grpc::SslServerCredentialsOptions with(clients);
    with.pem_root_certs = certificates.read("ca.crt");
    with.pem_key_cert_pairs = {{certificates.read("server.key"), certificates.read("server.crt")}};
    credentials = grpc::SslServerCredentials(with);
    start();
  }

  std::shared_ptr<grpc::Channel> channel(const std::string& certificate) {
    grpc::SslCredentialsOptions with;
    with.pem_root_certs = certificates.read("ca.crt");
    if (!certificate.empty()) {
      with.pem_private_key = certificates.read(certificate + ".key");
      with.pem_cert_chain = certificates.read(certificate + ".crt");
    }
    return grpc::CreateChannel(address(), grpc::SslCredentials(with));
  }

  nexad_test::TestCertificates certificates;
};

TEST_F(TlsIdentity, WithoutACertificateIsItsMetadata) {
  serve(GRPC_SSL_DONT_REQUEST_CLIENT_CERTIFICATE);
  EXPECT_EQ(seen(channel("")), "0 -/-/-");
  metadata = {{"username", "alice"}, {"password", "secret"}};
  EXPECT_EQ(seen(channel("dave")), "0 alice/secret/-");
}

TEST_F(TlsIdentity, Row15HasTheCommonNameOfTheCertificate) {
  serve(GRPC_SSL_REQUEST_AND_REQUIRE_CLIENT_CERTIFICATE_AND_VERIFY);
  EXPECT_EQ(seen(channel("dave")), "0 -/-/dave");
  metadata = {{"username", "alice"}, {"password", "secret"}};
  EXPECT_EQ(seen(channel("dave")), "0 alice/secret/dave");
}

TEST_F(TlsIdentity, NoticesASecondCommonName) {
  certificates.run(
      "openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes -days 2 "
      "-subj '/CN=dave/O=x/CN=erin' -CA ca.crt -CAkey ca.key -keyout two.key -out two.crt");
  certificates.run(
      "openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes -days 2 "
      "-subj '/CN=dave,CN=erin' -CA ca.crt -CAkey ca.key -keyout comma.key -out comma.crt");
  serve(GRPC_SSL_REQUEST_AND_REQUIRE_CLIENT_CERTIFICATE_AND_VERIFY);
  EXPECT_EQ(seen(channel("two")).substr(0, 7), "0 -/-/?");
  EXPECT_EQ(seen(channel("comma")), "0 -/-/dave,CN=erin");
}

TEST_F(TlsIdentity, ACertificateOfAnotherAuthorityDoesNotReachAccessControl) {
  certificates.make_authority("other");
  certificates.make("eve", "other");
  serve(GRPC_SSL_REQUEST_AND_REQUIRE_CLIENT_CERTIFICATE_AND_VERIFY);
  EXPECT_EQ(seen(channel("eve")), "14 ");
  EXPECT_EQ(seen(channel("")), "14 ");
}

}  // namespace
}  // namespace nexa_test
