// The depth extension (gNMI conformance row 41), in Get and Subscribe, over the real store.
#include "server/support/store_fixture.h"
#include "server/support/stream_client.h"
#include "translate/path_string.h"

namespace nexa_test {
namespace {

using Lines = std::vector<std::string>;

class Depth : public StoredServiceTest {
 protected:
  void SetUp() override {
    StoredServiceTest::SetUp();
    ASSERT_EQ(update("/device", R"({"name":"box","search":["a"],"limits":{"tiny":1},"debug":{},
        "port":[{"name":"p","speed":"5","route":[{"prefix":"r","metric":2}]}]})"),
              "0 ");
  }

  static void limit(google::protobuf::RepeatedPtrField<gnmi_ext::Extension>& extensions,
                    std::uint32_t level) {
    extensions.Add()->mutable_depth()->set_level(level);
  }

  // Every value of a Get, or the refusal.
  std::string get_at(const std::string& path, std::uint32_t level,
                     gnmi::Encoding encoding = gnmi::JSON_IETF) {
    gnmi::GetRequest asked;
    asked.set_encoding(encoding);
    if (encoding == gnmi::ASCII) asked.set_type(gnmi::GetRequest::CONFIG);
    *asked.add_path() = path_of(path);
    limit(*asked.mutable_extension(), level);
    gnmi::GetResponse response;
    const grpc::Status status = get(asked, response);
    if (!status.ok()) return shown(status);
    std::string text;
    for (const gnmi::Update& each : response.notification(0).update()) {
      if (encoding == gnmi::PROTO) {
        text += nexa::translate::format_path_string(each.path()) + "\n";
      } else {
        text += encoding == gnmi::ASCII ? each.val().ascii_val() : each.val().json_ietf_val();
      }
    }
    return text;
  }

  static gnmi::SubscribeRequest watched(const std::string& path, std::uint32_t level,
                                        gnmi::SubscriptionMode mode = gnmi::ON_CHANGE) {
    gnmi::SubscribeRequest asked = watch({path}, 0);
    asked.mutable_subscribe()->mutable_subscription(0)->set_mode(mode);
    limit(*asked.mutable_extension(), level);
    return asked;
  }
};

constexpr char kLeaves[] =
    R"({"example-device:name":"box","example-device:location":"unknown","example-device:search":["a"]})";

TEST_F(Depth, Row41OneLevelIsLeavesAndLeafLists) {
  EXPECT_EQ(get_at("/device", 1), kLeaves);
  EXPECT_EQ(get_at("/device", 1, gnmi::PROTO), "/device/name\n/device/location\n/device/search\n");
  EXPECT_EQ(get_at("/device", 1, gnmi::ASCII),
            "example-device:name box\nexample-device:location unknown\nexample-device:search a\n");
}

TEST_F(Depth, Row41TheLastLevelHasNoContainersAndNoEntries) {
  EXPECT_EQ(get_at("/device", 2),
            R"({"example-device:name":"box","example-device:location":"unknown",)"
            R"("example-device:limits":{"tiny":1},)"
            R"("example-device:port":[{"name":"p","speed":"5"}],)"
            R"("example-device:search":["a"],"example-device:debug":{}})");
  EXPECT_EQ(get_at("/device", 2, gnmi::PROTO),
            "/device/name\n/device/location\n/device/limits/tiny\n/device/port[name=p]/name\n"
            "/device/port[name=p]/speed\n/device/search\n");
  EXPECT_EQ(get_at("/device", 2, gnmi::ASCII),
            "example-device:name box\nexample-device:location unknown\n"
            "example-device:limits\n  tiny 1\nexample-device:port[name=p]\n  speed 5\n"
            "example-device:search a\nexample-device:debug\n");
}

TEST_F(Depth, Row41NoughtAndMoreThanThereAreIsAll) {
  const std::string all = get_at("/device", 0);
  EXPECT_NE(all.find("metric"), std::string::npos);
  EXPECT_EQ(get_at("/device", 3), all);
  EXPECT_EQ(get_at("/device", 4000000000U), all);
}

TEST_F(Depth, Row41LevelsCountFromEachNodeThatThePathNames) {
  EXPECT_EQ(get_at("/device/port", 1), R"({"example-device:name":"p","example-device:speed":"5"})");
  EXPECT_EQ(get_at("/device/port[name=*]", 1),
            R"({"example-device:name":"p","example-device:speed":"5"})");
  EXPECT_EQ(get_at("/device/port[name=p]/speed", 1), "\"5\"");
  EXPECT_EQ(get_at("/device/limits", 1), R"({"example-device:tiny":1})");
  EXPECT_EQ(get_at("/", 1), "5 path[0] /: no data");
  EXPECT_EQ(get_at("/", 2), std::string(R"({"example-device:device":)") +
                                R"({"name":"box","location":"unknown","search":["a"]}})");
}

TEST_F(Depth, Row41ASubscriptionHasItsLevelsFromTheStart) {
  for (const auto mode : {gnmi::SAMPLE, gnmi::ON_CHANGE, gnmi::TARGET_DEFINED}) {
    gnmi::SubscribeRequest asked = watched("/device", 1, mode);
    if (mode == gnmi::SAMPLE) {
      asked.mutable_subscribe()->mutable_subscription(0)->set_sample_interval(3600000000000);
    }
    StreamClient client(stub(), asked);
    EXPECT_EQ(client.next(),
              "|/device/name=\"box\"|/device/location=\"unknown\"|/device/search=[\"a\"]");
    EXPECT_EQ(client.next(), "sync");
  }
}

TEST_F(Depth, Row41ChangesBelowTheLastLevelAreNotTold) {
  StreamClient client(stub(), watched("/device/port", 1));
  client.read_to_sync();
  ASSERT_EQ(update("/device/port[name=p]/route[prefix=r][metric=2]/next-hop", "\"h\""), "0 ");
  ASSERT_EQ(update("/device/port[name=q]", R"({"route":[{"prefix":"r","metric":2}]})"), "0 ");
  EXPECT_EQ(client.next(), "|/device/port[name=q]/name=\"q\"");
  ASSERT_EQ(remove("/device/port[name=q]/route"), "0 ");
  ASSERT_EQ(remove("/device/port[name=q]"), "0 ");
  EXPECT_EQ(client.next(), "|-/device/port[name=q]");
}

TEST_F(Depth, Row41ABranchOfWhichNothingWasShownGoesInSilence) {
  StreamClient client(stub(), watched("/device", 1));
  client.read_to_sync();
  ASSERT_EQ(remove("/device/limits"), "0 ");
  ASSERT_EQ(remove("/device/port"), "0 ");
  ASSERT_EQ(remove("/device/name"), "0 ");
  EXPECT_EQ(client.next(), "|-/device/name");
}

TEST_F(Depth, Row41CapabilitiesAndSetRefuseIt) {
  gnmi::SetRequest change;
  *change.add_update() = update_of("/device/name", "\"x\"");
  limit(*change.mutable_extension(), 1);
  EXPECT_EQ(apply(change), "12 Extension depth not supported");
  gnmi::CapabilityRequest asked;
  limit(*asked.mutable_extension(), 1);
  gnmi::CapabilityResponse answer;
  grpc::ClientContext context;
  EXPECT_EQ(shown(stub().Capabilities(&context, asked, &answer)),
            "12 Extension depth not supported");
  EXPECT_EQ(answer.supported_models_size(), 0);
}

TEST_F(Depth, Row41TwoOfThemContradictEachOther) {
  gnmi::GetRequest asked;
  *asked.add_path() = path_of("/device");
  limit(*asked.mutable_extension(), 1);
  limit(*asked.mutable_extension(), 2);
  gnmi::GetResponse response;
  EXPECT_EQ(shown(get(asked, response)), "3 Extension depth is given twice");
  gnmi::SubscribeRequest twice = watched("/device", 1);
  limit(*twice.mutable_extension(), 1);
  StreamClient client(stub(), twice);
  EXPECT_EQ(client.end(), "3 Extension depth is given twice");
}

TEST_F(Depth, TheDeviceProfileRefusesItButInCapabilities) {
  stop();
  options.profile = nexa::profile::Profile::kDevice;
  start();
  EXPECT_EQ(get_at("/device", 1), "12 Extension depth not supported");
  StreamClient client(stub(), watched("/device", 1, gnmi::SAMPLE));
  EXPECT_EQ(client.end(), "12 Extension depth not supported");
  gnmi::CapabilityRequest asked;
  limit(*asked.mutable_extension(), 1);
  gnmi::CapabilityResponse answer;
  grpc::ClientContext context;
  EXPECT_EQ(shown(stub().Capabilities(&context, asked, &answer)), "0 ");
}

}  // namespace
}  // namespace nexa_test
