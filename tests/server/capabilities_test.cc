// What does the server say of itself, and to whom?
#include "server/support/service_fixture.h"

namespace nexa_test {
namespace {

class Capabilities : public ServiceTest {
 protected:
  grpc::Status ask(gnmi::CapabilityResponse& response) {
    grpc::ClientContext context;
    for (const auto& [key, value] : metadata) context.AddMetadata(key, value);
    return stub().Capabilities(&context, gnmi::CapabilityRequest(), &response);
  }
};

TEST_F(Capabilities, NamesModelsEncodingsAndVersion) {
  options.profile = nexa::profile::Profile::kDevice;
  start();
  gnmi::CapabilityResponse response;
  ASSERT_EQ(shown(ask(response)), "0 ");
  std::vector<std::string> models;
  for (const gnmi::ModelData& model : response.supported_models()) {
    models.push_back(model.name() + " " + model.organization() + " " + model.version());
  }
  std::sort(models.begin(), models.end());
  EXPECT_EQ(models, (std::vector<std::string>{"example-device Nexa examples 2026-11-21",
                                              "example-radio Nexa examples 2026-11-21",
                                              "example-types Nexa examples 2026-11-21"}));
  ASSERT_EQ(response.supported_encodings_size(), 2);
  EXPECT_EQ(response.supported_encodings(0), gnmi::JSON);
  EXPECT_EQ(response.supported_encodings(1), gnmi::JSON_IETF);
  EXPECT_EQ(response.gnmi_version(), "0.10.0");
  // A call counts when it is over, which the client may see a moment earlier.
  EXPECT_TRUE(eventually([this] { return !recorder.calls().empty(); }));
  EXPECT_EQ(recorder.calls(), std::vector<std::string>{"Capabilities 0"});
}

TEST_F(Capabilities, AreNotForStrangers) {
  access.users["alice"] = {"secret", nexa::access::Role::kReadOnly};
  start();
  gnmi::CapabilityResponse response;
  EXPECT_EQ(shown(ask(response)), "16 who are you");
  metadata = {{"username", "alice"}, {"password", "wrong"}};
  EXPECT_EQ(shown(ask(response)), "16 who are you");
  EXPECT_EQ(response.supported_models_size(), 0);
  metadata = {{"username", "alice"}, {"password", "secret"}};
  EXPECT_EQ(shown(ask(response)), "0 ");
}

TEST_F(Capabilities, APasswordGivenTwiceCountsOnceAndTwoAreWrong) {
  access.users["alice"] = {"secret", nexa::access::Role::kReadOnly};
  start();
  metadata = {{"username", "alice"}, {"password", "secret"}, {"password", "secret"}};
  gnmi::CapabilityResponse response;
  EXPECT_EQ(shown(ask(response)), "0 ");
  metadata = {{"username", "alice"}, {"password", "secret"}, {"password", "guess"}};
  EXPECT_EQ(shown(ask(response)), "16 who are you");
}

TEST_F(Capabilities, AFaultOfAccessControlIsTheServers) {
  access.before_authenticate = [] { throw std::runtime_error("users are gone"); };
  start();
  gnmi::CapabilityResponse response;
  EXPECT_EQ(shown(ask(response)), "13 The server failed to serve the call");
  EXPECT_EQ(recorder.faults(), std::vector<std::string>{"access control failed: users are gone"});
}

TEST_F(Capabilities, AfterShutdownNothingIsServed) {
  start();
  service->shutdown();
  gnmi::CapabilityResponse response;
  EXPECT_EQ(shown(ask(response)), "14 The server is shutting down");
}

}  // namespace
}  // namespace nexa_test
