// The full profile: messages, encodings, errors, models, origins and extensions (rows 1 to 13).
#include <set>

#include "nexa/nexa_srv_rpc_msg_helpers.h"
#include "server/support/conformance.h"

namespace nexa_test {
namespace {

TEST_F(Conformance, Row01ATimestampIsInNanosecondsAndAlwaysThere) {
  ASSERT_EQ(update(kDevicePath, R"({"name":"box"})"), "0 ");
  const std::int64_t before = nexa::ServiceRpcMsgHelpers::get_timestamp();
  get_text(kDevicePath);
  EXPECT_GE(response.notification(0).timestamp(), before);
  EXPECT_LE(response.notification(0).timestamp(), nexa::ServiceRpcMsgHelpers::get_timestamp());
}

TEST_F(Conformance, Row02NoPathStandsTwiceInANotification) {
  ASSERT_EQ(update(kDevicePath, R"({"port":[{"name":"a","speed":"1"},{"name":"b","speed":"2"}]})"),
            "0 ");
  get_text("/.../speed", gnmi::PROTO);
  std::set<std::string> paths;
  for (const gnmi::Update& each : response.notification(0).update()) {
    EXPECT_TRUE(paths.insert(nexa::translate::format_path_string(each.path())).second);
  }
  EXPECT_EQ(paths.size(), 2U);
}

TEST_F(Conformance, Row04TheRootIsTheEmptyPathAndKeysAreTexts) {
  ASSERT_EQ(update(kDevicePath, R"({"port":[{"name":"a","route":[{"prefix":"p","metric":7}]}]})"),
            "0 ");
  EXPECT_EQ(get_text("/"),
            "/ json_ietf_val: \"{\\\"example-device:device\\\":{\\\"location\\\":\\\"unknown\\\","
            "\\\"port\\\":[{\\\"name\\\":\\\"a\\\",\\\"route\\\":[{\\\"prefix\\\":\\\"p\\\","
            "\\\"metric\\\":7}]}]}}\"\n");
  EXPECT_EQ(get_text("/device/port[name=a]/route[prefix=p][metric=7]/metric", gnmi::PROTO),
            "/device/port[name=a]/route[metric=7][prefix=p]/metric uint_val: 7\n");
}

TEST_F(Conformance, Row05ATargetIsEchoedIfAndOnlyIfItWasSent) {
  ASSERT_EQ(update("/example-device:device/name", "\"box\""), "0 ");
  gnmi::GetRequest asked;
  *asked.add_path() = path_of("/device/name");
  get_text(asked);
  EXPECT_FALSE(response.notification(0).has_prefix());
  asked.mutable_prefix()->set_target("box1");
  get_text(asked);
  EXPECT_EQ(response.notification(0).prefix().target(), "box1");
  gnmi::SetRequest change;
  *change.add_update() = update_of("/example-device:device/name", "\"box\"");
  gnmi::SetResponse answer;
  ASSERT_TRUE(set(change, answer).ok());
  EXPECT_FALSE(answer.has_prefix());
  change.mutable_prefix()->set_target("box1");
  ASSERT_TRUE(set(change, answer).ok());
  EXPECT_EQ(answer.prefix().target(), "box1");
}

TEST_F(Conformance, Row06ScalarsHaveTheirNativeFields) {
  ASSERT_EQ(
      update(kLimitsPath, R"({"tiny":-5,"large":"-9000000000","count8":5,"count64":"9000000000",
      "load":"1.5","enabled":true,"state":"up","flags":"loud fast","blob":"aGk=","marker":[null],
      "choice-of-types":"example-device:radio"})"),
      "0 ");
  EXPECT_EQ(get_text("/device/limits", gnmi::PROTO),
            "/device/limits/tiny int_val: -5\n"
            "/device/limits/large int_val: -9000000000\n"
            "/device/limits/count8 uint_val: 5\n"
            "/device/limits/count64 uint_val: 9000000000\n"
            "/device/limits/load double_val: 1.5\n"
            "/device/limits/enabled bool_val: true\n"
            "/device/limits/state string_val: \"up\"\n"
            "/device/limits/flags string_val: \"loud fast\"\n"
            "/device/limits/blob bytes_val: \"hi\"\n"
            "/device/limits/marker bool_val: true\n"
            "/device/limits/choice-of-types string_val: \"example-device:radio\"\n");
  EXPECT_EQ(response.notification_size(), 1);
  ASSERT_EQ(update("/example-device:device/search", R"(["b","a"])"), "0 ");
  EXPECT_EQ(get_text("/device/search", gnmi::PROTO),
            "/device/search leaflist_val { element { string_val: \"b\" } "
            "element { string_val: \"a\" } }\n");
}

TEST_F(Conformance, Row07NoEncodingMeansJson) {
  ASSERT_EQ(update("/example-device:device/port[name=a]", R"({"medium":"example-device:radio"})"),
            "0 ");
  gnmi::GetRequest asked;
  *asked.add_path() = path_of("/device/port[name=a]");
  EXPECT_EQ(get_text(asked),
            "/device/port[name=a] json_val: "
            "\"{\\\"name\\\":\\\"a\\\",\\\"medium\\\":\\\"radio\\\"}\"\n");
  EXPECT_EQ(get_text("/device/port[name=a]/medium"),
            "/device/port[name=a]/medium json_ietf_val: \"\\\"example-device:radio\\\"\"\n");
}

TEST_F(Conformance, Row08ThePrefixStandsBeforeThePath) {
  ASSERT_EQ(update("/example-device:device/name", "\"box\""), "0 ");
  gnmi::GetRequest asked;
  asked.set_encoding(gnmi::PROTO);
  *asked.mutable_prefix() = path_of("/example-device:device");
  *asked.add_path() = path_of("/name");
  EXPECT_EQ(get_text(asked), "/name string_val: \"box\"\n");
}

TEST_F(Conformance, Row09KeysLeftOutAndWildcardsNameEveryEntry) {
  ASSERT_EQ(update(kDevicePath, R"({"port":[{"name":"a*","speed":"1"},{"name":"b","speed":"2"}]})"),
            "0 ");
  const std::string both =
      "/device/port[name=a*]/speed uint_val: 1\n/device/port[name=b]/speed uint_val: 2\n";
  for (const char* path : {"/device/port/speed", "/device/port[name=*]/speed", "/device/*/speed"}) {
    EXPECT_EQ(get_text(path, gnmi::PROTO), both) << path;
  }
  EXPECT_EQ(get_text("/device/port[name=a*]/speed", gnmi::PROTO),
            "/device/port[name=a*]/speed uint_val: 1\n");
}

TEST_F(Conformance, Row10ARefusalSaysWhatFailedAndWhere) {
  gnmi::SetRequest change;
  *change.add_update() = update_of("/example-device:device/name", "\"box\"");
  *change.add_update() = update_of("/example-device:device/limits/tiny", "300");
  const std::string text = apply(change);
  EXPECT_EQ(text.substr(0, 50), "3 update[1] of /example-device:device/limits/tiny:");
  EXPECT_EQ(get_text("/device/name"), "5 path[0] /device/name: no data");
}

TEST_F(Conformance, Row11UseModelsLeavesOutWhatOtherModelsDefine) {
  ASSERT_EQ(update(kDevicePath, R"({"port":[{"name":"a","example-radio:radio":{"channel":7}}],
      "limits":{"choice-of-types":"example-device:radio"}})"),
            "0 ");
  gnmi::GetRequest asked;
  asked.set_encoding(gnmi::PROTO);
  asked.add_use_models()->set_name("example-device");
  *asked.add_path() = path_of("/device/port");
  EXPECT_EQ(get_text(asked), "/device/port[name=a]/name string_val: \"a\"\n");
  *asked.mutable_path(0) = path_of("/device/port/radio");
  EXPECT_EQ(get_text(asked), "5 path[0] /device/port/radio: no data");
  asked.add_use_models()->set_name("example-radio");
  EXPECT_EQ(get_text(asked), "/device/port[name=a]/radio/channel uint_val: 7\n");
  asked.add_use_models()->set_name("nothing");
  EXPECT_EQ(get_text(asked), "5 use_models[2]: no model \"nothing\"");
}

TEST_F(Conformance, Row12AnOriginBoundsAReplace) {
  ASSERT_EQ(update(kDevicePath, R"({"name":"box"})"), "0 ");
  gnmi::SetRequest change;
  *change.add_replace() = from("openconfig", "/", "{}");
  EXPECT_EQ(apply(change), "0 ");
  EXPECT_EQ(get_text("/device/name", gnmi::PROTO), "/device/name string_val: \"box\"\n");
  change.mutable_prefix()->set_origin("openconfig");
  EXPECT_EQ(apply(change),
            "3 replace[0] of /: an origin stands in the prefix or in the paths, not in both");
}

TEST_F(Conformance, Row13AnUnknownExtensionChangesNothing) {
  gnmi::SetRequest change;
  *change.add_update() = update_of("/example-device:device/name", "\"box\"");
  change.add_extension()->mutable_registered_ext()->set_id(gnmi_ext::EID_EXPERIMENTAL);
  EXPECT_EQ(apply(change), "0 ");
}

}  // namespace
}  // namespace nexa_test
