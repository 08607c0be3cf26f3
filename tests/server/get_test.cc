// What does a Get answer? Over leaves that the test put there.
#include "nexa/nexa_srv_rpc_msg_helpers.h"
#include "server/support/service_fixture.h"
#include "translate/path_string.h"

namespace nexa_test {
namespace {

class Get : public ServiceTest {
 protected:
  void SetUp() override {
    store.put("/device/name", "\"box\"");
    store.put("/device/port[name=a]/speed", "\"10\"");
    store.put("/device/port[name=b]/speed", "\"20\"");
    store.put("/device/port[name=b]/medium", "\"up\"", true);
    store.know("/device/location");
    request.set_encoding(gnmi::JSON_IETF);
  }

  // The answer as lines: "prefix|path=json", "nothing" for a failure.
  std::string answer() {
    if (service == nullptr) start();
    response.Clear();
    status = get(request, response);
    if (!status.ok()) return shown(status);
    std::string text;
    for (const gnmi::Notification& notification : response.notification()) {
      text += notification.has_prefix()
                  ? notification.prefix().target() +
                        nexa::translate::format_path_string(notification.prefix())
                  : "";
      for (const gnmi::Update& update : notification.update()) {
        const std::string& json = request.encoding() == gnmi::JSON ? update.val().json_val()
                                                                   : update.val().json_ietf_val();
        text += "|" + update.path().origin() + nexa::translate::format_path_string(update.path()) +
                "=" + json;
      }
      text += "\n";
    }
    return text;
  }

  gnmi::GetRequest request;
  gnmi::GetResponse response;
  grpc::Status status;
};

TEST_F(Get, GivesALeaf) {
  *request.add_path() = path_of("/device/name");
  EXPECT_EQ(answer(), "|/device/name=\"box\"\n");
  const std::int64_t age =
      nexa::ServiceRpcMsgHelpers::get_timestamp() - response.notification(0).timestamp();
  EXPECT_GE(age, 0);
  EXPECT_LT(age, 60'000'000'000);
  const gnmi::Update& update = response.notification(0).update(0);
  const auto* deprecated = gnmi::Update::descriptor()->FindFieldByName("value");
  EXPECT_FALSE(update.GetReflection()->HasField(update, deprecated));
}

TEST_F(Get, WritesJsonWhereJsonIsAsked) {
  request.set_encoding(gnmi::JSON);
  *request.add_path() = path_of("/device/name");
  EXPECT_EQ(answer(), "|/device/name=\"box\"\n");
  EXPECT_TRUE(response.notification(0).update(0).val().has_json_val());
}

TEST_F(Get, GivesOneNotificationForEachPath) {
  *request.add_path() = path_of("/device/name");
  *request.add_path() = path_of("/device/port[name=a]");
  EXPECT_EQ(answer(), "|/device/name=\"box\"\n|/device/port[name=a]={\"speed\":\"10\"}\n");
}

TEST_F(Get, ReadsAllPathsFromOneSnapshot) {
  for (int count = 0; count < 5; ++count) *request.add_path() = path_of("/device/name");
  answer();
  EXPECT_EQ(store.snapshots_taken(), 1);
}

TEST_F(Get, GivesOneUpdateForEachMatchOfAWildcard) {
  *request.add_path() = path_of("/device/port[name=*]/speed");
  EXPECT_EQ(answer(), "|/device/port[name=a]/speed=\"10\"|/device/port[name=b]/speed=\"20\"\n");
  *request.mutable_path(0) = path_of("/device/*/medium");
  EXPECT_EQ(answer(), "|/device/port[name=b]/medium=\"up\"\n");
}

TEST_F(Get, WritesPathsRelativeToThePrefix) {
  *request.mutable_prefix() = path_of("/device/port[name=b]");
  request.mutable_prefix()->set_target("box1");
  *request.add_path() = path_of("/speed");
  EXPECT_EQ(answer(), "box1/device/port[name=b]|/speed=\"20\"\n");
}

TEST_F(Get, APrefixWithWildcardsGivesWholePaths) {
  *request.mutable_prefix() = path_of("/device/port[name=*]");
  request.mutable_prefix()->set_target("box1");
  *request.add_path() = path_of("/speed");
  EXPECT_EQ(answer(),
            "box1/|/device/port[name=a]/speed=\"10\"|/device/port[name=b]/speed=\"20\"\n");
}

TEST_F(Get, APrefixAloneIsRead) {
  *request.mutable_prefix() = path_of("/device/port[name=b]/speed");
  EXPECT_EQ(answer(), "/device/port[name=b]/speed|/=\"20\"\n");
}

TEST_F(Get, NothingAskedIsRefusedWithTheLibrarysText) {
  options.profile = nexa::profile::Profile::kDevice;
  const std::string refusal =
      "3 Invalid argument.  Path with 0 elements (xpath = \"/\") is not supported for SET and GET "
      "requests";
  EXPECT_EQ(answer(), refusal);
  request.mutable_prefix()->set_target("box1");
  EXPECT_EQ(answer(), refusal);
  request.add_path();
  EXPECT_EQ(answer(), refusal);
}

TEST_F(Get, TypesChooseTheirPart) {
  options.profile = nexa::profile::Profile::kDevice;
  *request.add_path() = path_of("/device/port[name=b]");
  request.set_type(gnmi::GetRequest::CONFIG);
  EXPECT_EQ(answer(), "|/device/port[name=b]={\"speed\":\"20\"}\n");
  request.set_type(gnmi::GetRequest::STATE);
  EXPECT_EQ(answer(), "|/device/port[name=b]={\"medium\":\"up\"}\n");
  request.set_type(gnmi::GetRequest::ALL);
  EXPECT_EQ(answer(), "|/device/port[name=b]={\"medium\":\"up\",\"speed\":\"20\"}\n");
  request.set_type(gnmi::GetRequest::OPERATIONAL);
  EXPECT_EQ(answer(), "12 Requested data type \"OPERATIONAL\" not supported");
  request.set_type(static_cast<gnmi::GetRequest::DataType>(4));
  EXPECT_EQ(answer(), "3 type: 4 is none of ALL, CONFIG, STATE, OPERATIONAL");
}

TEST_F(Get, NothingThereIsNotFound) {
  *request.add_path() = path_of("/device/name");
  *request.add_path() = path_of("/device/location");
  EXPECT_EQ(answer(), "5 path[1] /device/location: no data");
  *request.mutable_path(1) = path_of("/device/port[name=*]/tag");
  EXPECT_EQ(answer(), "5 path[1] /device/port[name=*]/tag: no data");
}

TEST_F(Get, RefusalsOfTheChecksComeAsTheyAre) {
  options.profile = nexa::profile::Profile::kDevice;
  *request.add_path() = path_of("/device/name");
  request.set_encoding(gnmi::PROTO);
  EXPECT_EQ(answer(), "12 Requested encoding \"PROTO\" not supported");
  request.set_encoding(gnmi::JSON_IETF);
  request.add_use_models()->set_name("m");
  EXPECT_EQ(answer(), "12 Use of ModelData not currently supported.");
  request.clear_use_models();
  request.mutable_path(0)->mutable_elem(0)->set_name("1device");
  EXPECT_EQ(answer(), "3 Invalid PathElement.name 1device char 1 is invalid");
}

TEST_F(Get, OriginsAreServedOrRefusedInWords) {
  *request.add_path() = path_of("/device/name");
  request.mutable_path(0)->set_origin("openconfig");
  EXPECT_EQ(answer(),
            "12 path[0] /device/name: no node \"device\" at the top of origin \"openconfig\"");
  request.mutable_path(0)->mutable_elem(0)->set_name("example-device:device");
  EXPECT_EQ(answer(), "|openconfig/example-device:device/name=\"box\"\n");
  request.mutable_path(0)->mutable_elem(0)->set_name("device");
  request.mutable_path(0)->set_origin("example-device");
  EXPECT_EQ(answer(), "|example-device/device/name=\"box\"\n");
  request.mutable_path(0)->set_origin("rfc7951");
  EXPECT_EQ(answer(), "|rfc7951/device/name=\"box\"\n");
  request.mutable_path(0)->set_origin("cli");
  EXPECT_EQ(answer(),
            "12 path[0] /device/name: origin \"cli\" not supported, the served ones are "
            "\"openconfig\", \"rfc7951\", the names of modules and none");
  request.mutable_path(0)->set_origin("openconfig");
  request.mutable_prefix()->set_origin("rfc7951");
  EXPECT_EQ(answer(),
            "3 path[0] /device/name: an origin stands in the prefix or in the paths, not in both");
  request.mutable_path(0)->set_origin("rfc7951");
  EXPECT_EQ(answer(),
            "3 path[0] /device/name: an origin stands in the prefix or in the paths, not in both");
}

TEST_F(Get, APrefixsOriginStaysInThePrefix) {
  *request.add_path() = path_of("/device/name");
  request.mutable_prefix()->set_origin("rfc7951");
  EXPECT_EQ(answer(), "/|/device/name=\"box\"\n");
  EXPECT_EQ(response.notification(0).prefix().origin(), "rfc7951");
}

TEST_F(Get, ATargetStandsInThePrefixOnly) {
  *request.add_path() = path_of("/device/name");
  request.mutable_path(0)->set_target("box1");
  EXPECT_EQ(answer(), "3 path[0] /device/name: a target is taken in the prefix only");
}

TEST_F(Get, TooManyPathsAreRefused) {
  options.limits.max_paths = 3;
  for (int count = 0; count < 3; ++count) *request.add_path() = path_of("/device/name");
  EXPECT_EQ(answer().substr(0, 1), "|");
  *request.add_path() = path_of("/device/name");
  EXPECT_EQ(answer(), "3 4 paths in one request, at most 3 are taken");
}

TEST_F(Get, ExtensionsThatChangeTheRequestAreRefusedUnknownOnesPassedOver) {
  options.profile = nexa::profile::Profile::kDevice;
  *request.add_path() = path_of("/device/name");
  request.add_extension()->mutable_registered_ext()->set_msg("anything");
  EXPECT_EQ(answer(), "|/device/name=\"box\"\n");
  request.add_extension()->mutable_config_subscription()->mutable_start();
  EXPECT_EQ(answer(), "12 Extension config_subscription not supported");
}

TEST_F(Get, AFaultOfTheStoreIsTheServers) {
  store.on_read = [] { throw std::runtime_error("no memory"); };
  *request.add_path() = path_of("/device/name");
  EXPECT_EQ(answer(), "13 The server failed to serve the call");
  EXPECT_EQ(recorder.faults(), std::vector<std::string>{"Get failed: no memory"});
}

TEST_F(Get, ALongTextIsCutToWhatATrailerTakes) {
  *request.add_path() = path_of("/device/name");
  request.mutable_path(0)->mutable_elem(0)->set_name(std::string(100000, 'x') + "!");
  answer();
  EXPECT_EQ(status.error_code(), grpc::StatusCode::INVALID_ARGUMENT);
  EXPECT_EQ(status.error_message().substr(0, 26), "Invalid PathElement.name x");
  EXPECT_LT(status.error_message().size(), 2600U);
  EXPECT_EQ(status.error_message().substr(status.error_message().size() - 3), "...");
}

}  // namespace
}  // namespace nexa_test
