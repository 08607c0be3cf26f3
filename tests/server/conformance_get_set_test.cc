// The full profile, behaviour by behaviour: what clients of gNMI 0.10 expect of Capabilities, Get
// and Set. The number in a test's name is that of the behaviour in the table that the served matrix
// (docs/nexad/gnmi.md) refers to.
#include <set>

#include "google/rpc/status.pb.h"
#include "nexa/nexa_srv_rpc_msg_helpers.h"
#include "server/support/store_fixture.h"
#include "translate/path_string.h"

namespace nexa_test {
namespace {

constexpr char kDevice[] = "/example-device:device";
constexpr char kLimits[] = "/example-device:device/limits";

gnmi::TypedValue typed(const std::function<void(gnmi::TypedValue&)>& set) {
  gnmi::TypedValue value;
  set(value);
  return value;
}

// Operational data of the port "a", and a leaf that only the device knows.
class Events : public nexa::state::StateProvider {
 public:
  std::string_view name() const override { return "events"; }
  std::string_view module() const override { return "example-device"; }
  void append_xml(std::string& xml) override {
    xml += "<device xmlns=\"urn:example:device\"><event><at>7</at><text>up</text></event></device>";
  }
};

class Conformance : public StoredServiceTest {
 protected:
  gnmi::GetResponse response;

  // "path value" of each update, one line each, or the refusal.
  std::string get_text(const gnmi::GetRequest& asked) {
    response.Clear();
    const grpc::Status status = get(asked, response);
    if (!status.ok()) return shown(status);
    std::string text;
    for (const gnmi::Notification& notification : response.notification()) {
      for (const gnmi::Update& each : notification.update()) {
        text += nexa::translate::format_path_string(each.path()) + " " +
                each.val().ShortDebugString() + "\n";
      }
    }
    return text;
  }

  std::string get_text(const std::string& path, gnmi::Encoding encoding = gnmi::JSON_IETF) {
    gnmi::GetRequest asked;
    asked.set_encoding(encoding);
    *asked.add_path() = path_of(path);
    return get_text(asked);
  }

  std::string set_typed(const std::string& path, const gnmi::TypedValue& value) {
    gnmi::SetRequest change;
    gnmi::Update& update = *change.add_update();
    *update.mutable_path() = path_of(path);
    *update.mutable_val() = value;
    return apply(change);
  }

  static gnmi::Update from(const std::string& origin, const std::string& path,
                           const std::string& json) {
    gnmi::Update update = update_of(path, json);
    update.mutable_path()->set_origin(origin);
    return update;
  }
};

// Row 1, 2, 4, 5, 8: messages and paths.

TEST_F(Conformance, Row01ATimestampIsInNanosecondsAndAlwaysThere) {
  ASSERT_EQ(update(kDevice, R"({"name":"box"})"), "0 ");
  const std::int64_t before = nexa::ServiceRpcMsgHelpers::get_timestamp();
  get_text(kDevice);
  EXPECT_GE(response.notification(0).timestamp(), before);
  EXPECT_LE(response.notification(0).timestamp(), nexa::ServiceRpcMsgHelpers::get_timestamp());
}

TEST_F(Conformance, Row02NoPathStandsTwiceInANotification) {
  ASSERT_EQ(update(kDevice, R"({"port":[{"name":"a","speed":"1"},{"name":"b","speed":"2"}]})"),
            "0 ");
  get_text("/.../speed", gnmi::PROTO);
  std::set<std::string> paths;
  for (const gnmi::Update& each : response.notification(0).update()) {
    EXPECT_TRUE(paths.insert(nexa::translate::format_path_string(each.path())).second);
  }
  EXPECT_EQ(paths.size(), 2U);
}

TEST_F(Conformance, Row04TheRootIsTheEmptyPathAndKeysAreTexts) {
  ASSERT_EQ(update(kDevice, R"({"port":[{"name":"a","route":[{"prefix":"p","metric":7}]}]})"),
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
  ASSERT_EQ(update(kLimits, R"({"tiny":-5,"large":"-9000000000","count8":5,"count64":"9000000000",
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
  ASSERT_EQ(update(kDevice, R"({"port":[{"name":"a*","speed":"1"},{"name":"b","speed":"2"}]})"),
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
  ASSERT_EQ(update(kDevice, R"({"port":[{"name":"a","example-radio:radio":{"channel":7}}],
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
  ASSERT_EQ(update(kDevice, R"({"name":"box"})"), "0 ");
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

// Rows 16 to 19: Capabilities and Get.

TEST_F(Conformance, Row16CapabilitiesNameTheEncodingsThatGetAndSubscribeServe) {
  gnmi::CapabilityResponse answer;
  grpc::ClientContext context;
  ASSERT_TRUE(stub().Capabilities(&context, gnmi::CapabilityRequest(), &answer).ok());
  ASSERT_EQ(update("/example-device:device/name", "\"box\""), "0 ");
  EXPECT_EQ(answer.gnmi_version(), "0.10.0");
  EXPECT_EQ(answer.supported_models_size(), 3);
  std::set<int> encodings;
  for (const int encoding : answer.supported_encodings()) {
    encodings.insert(encoding);
    const std::string text = get_text("/device/name", static_cast<gnmi::Encoding>(encoding));
    EXPECT_EQ(text.substr(0, 13), "/device/name ") << text;
  }
  EXPECT_EQ(encodings, (std::set<int>{gnmi::JSON, gnmi::JSON_IETF, gnmi::PROTO}));
}

TEST_F(Conformance, Row17WhatIsNotServedIsRefusedInWords) {
  ASSERT_EQ(update("/example-device:device/name", "\"box\""), "0 ");
  EXPECT_EQ(get_text("/device/name", gnmi::BYTES), "12 Requested encoding \"BYTES\" not supported");
  EXPECT_EQ(get_text("/device/name", gnmi::ASCII),
            "12 Encoding \"ASCII\" is served for a Get of type CONFIG only");
  EXPECT_EQ(get_text("/device/name", static_cast<gnmi::Encoding>(9)),
            "3 encoding: 9 is none of JSON, BYTES, PROTO, ASCII, JSON_IETF");
  gnmi::GetRequest bad;
  bad.add_path()->add_elem()->set_name("1device");
  EXPECT_EQ(get_text(bad), "3 Invalid PathElement.name 1device char 1 is invalid");
}

TEST_F(Conformance, Row17AsciiIsConfigurationAsLines) {
  ASSERT_EQ(update(kDevice, R"({"name":"a b","port":[{"name":"x","speed":"5"}]})"), "0 ");
  gnmi::GetRequest asked;
  asked.set_encoding(gnmi::ASCII);
  asked.set_type(gnmi::GetRequest::CONFIG);
  *asked.add_path() = path_of("/");
  get_text(asked);
  ASSERT_EQ(response.notification_size(), 1);
  EXPECT_EQ(response.notification(0).update(0).val().ascii_val(),
            "example-device:device\n  name \"a b\"\n  location unknown\n  port[name=x]\n"
            "    speed 5\n");
}

TEST_F(Conformance, Row17NoTypeMeansEveryKindOfData) {
  Events events;
  stop();
  providers.push_back(&events);
  start();
  ASSERT_EQ(update("/example-device:device/name", "\"box\""), "0 ");
  gnmi::GetRequest asked;
  asked.set_encoding(gnmi::PROTO);
  *asked.add_path() = path_of("/device");
  const std::string state = "/device/event/at uint_val: 7\n/device/event/text string_val: \"up\"\n";
  const std::string config =
      "/device/name string_val: \"box\"\n/device/location string_val: \"unknown\"\n";
  EXPECT_EQ(get_text(asked), config + state);
  asked.set_type(gnmi::GetRequest::CONFIG);
  EXPECT_EQ(get_text(asked), config);
  asked.set_type(gnmi::GetRequest::STATE);
  EXPECT_EQ(get_text(asked), state);
  asked.set_type(gnmi::GetRequest::OPERATIONAL);
  EXPECT_EQ(get_text(asked), state);
  stop();
}

TEST_F(Conformance, Row18EachPathHasItsNotificationAndAllHaveOneTime) {
  ASSERT_EQ(update("/example-device:device/name", "\"box\""), "0 ");
  gnmi::GetRequest asked;
  for (int count = 0; count < 3; ++count) *asked.add_path() = path_of("/device/name");
  get_text(asked);
  ASSERT_EQ(response.notification_size(), 3);
  for (const gnmi::Notification& each : response.notification()) {
    EXPECT_EQ(each.update_size(), 1);
    EXPECT_EQ(each.timestamp(), response.notification(0).timestamp());
  }
}

TEST_F(Conformance, Row19PresentAbsentNotImplementedAndBadAreToldApart) {
  ASSERT_EQ(update("/example-device:device/name", "\"box\""), "0 ");
  EXPECT_EQ(get_text("/device/location", gnmi::PROTO),
            "/device/location string_val: \"unknown\"\n");
  EXPECT_EQ(get_text("/device/limits/tiny"), "5 path[0] /device/limits/tiny: no data");
  EXPECT_EQ(get_text("/device/port[name=none]"), "5 path[0] /device/port[name=none]: no data");
  EXPECT_EQ(get_text("/device/colour"),
            "12 path[0] /device/colour: no node \"colour\" below \"/device\"");
  EXPECT_EQ(get_text("/no-module:device"),
            "12 path[0] /no-module:device: unknown module \"no-module\"");
  EXPECT_EQ(get_text("/device/port[colour=1]").substr(0, 2), "3 ");
}

// Rows 20 to 29: Set.

TEST_F(Conformance, Row20DeletesThenReplacesThenUpdatesEachInOrder) {
  gnmi::SetRequest change;
  *change.add_update() = update_of("/example-device:device/name", "\"first\"");
  *change.add_update() = update_of("/example-device:device/name", "\"last\"");
  *change.add_replace() = update_of("/example-device:device/name", "\"replaced\"");
  *change.add_delete_() = path_of("/example-device:device");
  EXPECT_EQ(apply(change), "0 ");
  EXPECT_EQ(get_text("/device/name", gnmi::PROTO), "/device/name string_val: \"last\"\n");
}

TEST_F(Conformance, Row21UnionReplaceIsTheUnionOfItsUpdates) {
  ASSERT_EQ(update(kDevice, R"({"name":"old","location":"here","limits":{"tiny":1}})"), "0 ");
  ASSERT_EQ(update("/example-device:services", R"({"ntp":true})"), "0 ");
  gnmi::SetRequest change;
  *change.add_union_replace() = update_of("/example-device:device/name", "\"new\"");
  *change.add_union_replace() =
      update_of("/example-device:device/port[name=a]", R"({"name":"a","tag":["x"]})");
  *change.add_union_replace() =
      update_of("/example-device:device/port[name=a]", R"({"name":"a","speed":"5","tag":["y"]})");
  gnmi::SetResponse answer;
  ASSERT_EQ(shown(set(change, answer)), "0 ");
  ASSERT_EQ(answer.response_size(), 3);
  EXPECT_EQ(answer.response(2).op(), gnmi::UpdateResult::UNION_REPLACE);
  EXPECT_EQ(get_text("/", gnmi::PROTO),
            "/example-device:device/name string_val: \"new\"\n"
            "/example-device:device/location string_val: \"unknown\"\n"
            "/example-device:device/port[name=a]/name string_val: \"a\"\n"
            "/example-device:device/port[name=a]/speed uint_val: 5\n"
            "/example-device:device/port[name=a]/tag leaflist_val { element { string_val: \"x\" } "
            "element { string_val: \"y\" } }\n");
}

TEST_F(Conformance, Row21UnionReplaceStandsAlone) {
  gnmi::SetRequest change;
  *change.add_union_replace() = update_of("/example-device:device/name", "\"a\"");
  *change.add_delete_() = path_of("/example-device:device");
  const std::string refusal =
      "3 union_replace stands alone in its request, without delete, replace and update";
  EXPECT_EQ(apply(change), refusal);
  change.clear_delete_();
  *change.add_update() = update_of("/example-device:device/name", "\"a\"");
  EXPECT_EQ(apply(change), refusal);
}

TEST_F(Conformance, Row21ContradictionsOfAUnionAreRefused) {
  ASSERT_EQ(update("/example-device:device/name", "\"old\""), "0 ");
  gnmi::SetRequest change;
  *change.add_union_replace() = update_of("/example-device:device/name", "\"a\"");
  *change.add_union_replace() = update_of("/example-device:device", R"({"name":"a"})");
  EXPECT_EQ(apply(change), "0 ");
  *change.add_union_replace() = update_of("/example-device:device", R"({"name":"b"})");
  EXPECT_EQ(apply(change),
            "3 union_replace[2] of /example-device:device: value {\"name\":\"b\"}: another update "
            "of the union says something else at /example-device:device/name");
  change.Clear();
  *change.add_union_replace() = update_of("/example-device:device/console", "true");
  *change.add_union_replace() = update_of("/example-device:device/ssh/port", "22");
  EXPECT_EQ(apply(change).substr(0, 2), "3 ");
  EXPECT_EQ(get_text("/device/name", gnmi::PROTO), "/device/name string_val: \"a\"\n");
}

TEST_F(Conformance, Row21AUnionReplacesTheOriginsThatItNames) {
  ASSERT_EQ(update(kDevice, R"({"name":"old","location":"here"})"), "0 ");
  gnmi::SetRequest change;
  *change.add_union_replace() = from("openconfig", "/", "{}");
  EXPECT_EQ(apply(change), "0 ");
  EXPECT_EQ(get_text("/device/name", gnmi::PROTO), "/device/name string_val: \"old\"\n");
  *change.add_union_replace() = from("example-device", "/device/name", "\"new\"");
  EXPECT_EQ(apply(change), "0 ");
  EXPECT_EQ(get_text("/device", gnmi::PROTO),
            "/device/name string_val: \"new\"\n"
            "/device/location string_val: \"unknown\"\n");
  change.Clear();
  *change.add_union_replace() = from("openconfig", "/example-device:device/name", "\"x\"");
  EXPECT_EQ(apply(change).substr(0, 2), "3 ");
}

TEST_F(Conformance, Row21AUnionThatCannotBeAppliedIsInternalAndChangesNothing) {
  ASSERT_EQ(update("/example-device:device/name", "\"old\""), "0 ");
  stop();
  approve = [](const nexa::store::Change&) {
    return grpc::Status(grpc::StatusCode::FAILED_PRECONDITION, "the port is broken");
  };
  start();
  gnmi::SetRequest change;
  *change.add_union_replace() = update_of("/example-device:device/name", "\"new\"");
  EXPECT_EQ(apply(change), "13 the port is broken");
  EXPECT_EQ(get_text("/device/name", gnmi::PROTO), "/device/name string_val: \"old\"\n");
}

TEST_F(Conformance, Row22AnEmptySetIsNoError) { EXPECT_EQ(apply(gnmi::SetRequest()), "0 "); }

TEST_F(Conformance, Row23EachOperationHasItsResultInAppliedOrder) {
  gnmi::SetRequest change;
  *change.add_update() = update_of("/example-device:device/name", "\"b\"");
  *change.add_replace() = update_of("/example-device:device/location", "\"l\"");
  *change.add_delete_() = path_of("/example-device:device/search");
  gnmi::SetResponse answer;
  ASSERT_TRUE(set(change, answer).ok());
  ASSERT_EQ(answer.response_size(), 3);
  EXPECT_EQ(answer.response(0).op(), gnmi::UpdateResult::DELETE);
  EXPECT_EQ(answer.response(1).op(), gnmi::UpdateResult::REPLACE);
  EXPECT_EQ(answer.response(2).op(), gnmi::UpdateResult::UPDATE);
  EXPECT_EQ(nexa::translate::format_path_string(answer.response(2).path()),
            "/example-device:device/name");
  EXPECT_GT(answer.timestamp(), 0);
}

TEST_F(Conformance, Row24AllOrNothing) {
  gnmi::SetRequest change;
  *change.add_update() = update_of("/example-device:device/name", "\"box\"");
  *change.add_update() = update_of("/example-device:device/uplink", "\"nowhere\"");
  EXPECT_NE(apply(change).substr(0, 2), "0 ");
  EXPECT_EQ(get_text("/device/name"), "5 path[0] /device/name: no data");
}

TEST_F(Conformance, Row25ReplaceRemovesWhatWasNotSentAndUpdateDeletesNothing) {
  ASSERT_EQ(update(kDevice, R"({"name":"box","location":"here","search":["a"],
      "port":[{"name":"a"},{"name":"b"}]})"),
            "0 ");
  ASSERT_EQ(replace("/example-device:device/port", R"([{"name":"b"},{"name":"c"}])"), "0 ");
  EXPECT_EQ(get_text("/device/port/name", gnmi::PROTO),
            "/device/port[name=b]/name string_val: \"b\"\n"
            "/device/port[name=c]/name string_val: \"c\"\n");
  ASSERT_EQ(update("/example-device:device/port", R"([{"name":"d"}])"), "0 ");
  get_text("/device/port/name", gnmi::PROTO);
  EXPECT_EQ(response.notification(0).update_size(), 3);
  ASSERT_EQ(replace(kDevice, R"({"search":["z"]})"), "0 ");
  EXPECT_EQ(get_text("/device", gnmi::PROTO),
            "/device/location string_val: \"unknown\"\n"
            "/device/search leaflist_val { element { string_val: \"z\" } }\n");
  ASSERT_EQ(update("/example-device:device/limits/count8", "9"), "0 ");
  EXPECT_EQ(get_text("/device/limits/count8", gnmi::PROTO), "/device/limits/count8 uint_val: 9\n");
}

TEST_F(Conformance, Row25TheRootIsUpdatedAndReplaced) {
  ASSERT_EQ(update("/", R"({"example-device:device":{"name":"box"}})"), "0 ");
  ASSERT_EQ(update("/", R"({"example-device:services":{"ntp":true}})"), "0 ");
  EXPECT_EQ(get_text("/", gnmi::PROTO),
            "/example-device:device/name string_val: \"box\"\n"
            "/example-device:device/location string_val: \"unknown\"\n"
            "/example-device:services/ntp bool_val: true\n");
  ASSERT_EQ(replace("/", R"({"example-device:services":{"ntp":false}})"), "0 ");
  EXPECT_EQ(get_text("/device/name"), "5 path[0] /device/name: no data");
  EXPECT_EQ(get_text("/services/ntp", gnmi::PROTO), "/services/ntp bool_val: false\n");
}

TEST_F(Conformance, Row26ReplacesWithoutAValueAreRefused) {
  for (const auto& [path, json] : std::vector<std::pair<std::string, std::string>>{
           {"/example-device:device", "null"},
           {"/example-device:device/port[name=a]", "null"},
           {"/example-device:device/port[name=a]", "{}"},
           {"/example-device:device/name", "null"},
           {"/example-device:device/name", ""},
           {"/", "null"}}) {
    EXPECT_EQ(replace(path, json).substr(0, 2), "3 ") << path << " " << json;
  }
  gnmi::SetRequest change;
  *change.add_replace()->mutable_path() = path_of("/example-device:device/name");
  EXPECT_EQ(apply(change), "3 No value field provided");
}

TEST_F(Conformance, Row27PartialAndContradictingKeysAreRefused) {
  const std::string route = "/example-device:device/port[name=a]/route[prefix=p]";
  for (const std::string& text :
       {update(route + "/next-hop", "\"h\""), replace(route + "/next-hop", "\"h\""),
        update(route, R"({"next-hop":"h"})"),
        update("/example-device:device/port[name=a]", R"({"name":"b"})"),
        update("/example-device:device/port[name=a]/name", "\"b\"")}) {
    EXPECT_EQ(text.substr(0, 2), "3 ") << text;
  }
}

TEST_F(Conformance, Row28DeletesTakeWildcardsPartialKeysAndAbsentNodes) {
  ASSERT_EQ(update("/example-device:device/port[name=a]",
                   R"({"route":[{"prefix":"p","metric":1},{"prefix":"p","metric":2},
                                {"prefix":"q","metric":1}],"speed":"1"})"),
            "0 ");
  EXPECT_EQ(remove("/example-device:device/port[name=none]"), "0 ");
  EXPECT_EQ(remove("/example-device:device/port[name=a]/route[prefix=p]"), "0 ");
  EXPECT_EQ(get_text("/device/port/route/prefix", gnmi::PROTO),
            "/device/port[name=a]/route[metric=1][prefix=q]/prefix string_val: \"q\"\n");
  EXPECT_EQ(remove("/example-device:device/*/speed"), "0 ");
  EXPECT_EQ(get_text("/device/port/speed"), "5 path[0] /device/port/speed: no data");
  EXPECT_EQ(remove("/example-device:device"), "0 ");
  EXPECT_EQ(get_text("/device/port"), "5 path[0] /device/port: no data");
}

TEST_F(Conformance, Row29TheCodeIsThatOfTheOperationAtFault) {
  EXPECT_EQ(update("/example-device:device/colour", "1"),
            "5 update[0] of /example-device:device/colour: no node \"colour\" below "
            "\"/example-device:device\"");
  EXPECT_EQ(update("/example-device:device/limits/tiny", "\"x\"").substr(0, 12), "3 update[0] ");
  EXPECT_EQ(set_typed("/example-device:device/name",
                      typed([](gnmi::TypedValue& value) { value.set_ascii_val("x"); })),
            "12 Requested encoding \"ASCII\" not supported");
  gnmi::SetRequest change;
  *change.add_update() = update_of("/example-device:device/name", "\"a\"");
  *change.add_update() = update_of("/device/*", "1");
  EXPECT_EQ(apply(change), "12 Wildcard not implemented for UPDATE nor REPLACE");
  google::rpc::Status details;
  ASSERT_TRUE(details.ParseFromString(last_status.error_details()));
  gnmi::UpdateResult blamed;
  ASSERT_EQ(details.details_size(), 1);
  ASSERT_TRUE(details.details(0).UnpackTo(&blamed));
  EXPECT_EQ(nexa::translate::format_path_string(blamed.path()), "/device/*");
}

TEST_F(Conformance, Row29EveryKindOfScalarIsConvertedByTheTypeOfItsLeaf) {
  using Value = gnmi::TypedValue;
  struct Case {
    const char* leaf;
    Value value;
    const char* stored;  // as PROTO, or the beginning of the refusal
  };
  const auto decimal = [](std::int64_t digits, std::uint32_t precision) {
    return typed([=](Value& value) {
      value.mutable_decimal_val()->set_digits(digits);
      value.mutable_decimal_val()->set_precision(precision);
    });
  };
  const std::vector<Case> cases = {
      {"tiny", typed([](Value& v) { v.set_int_val(-5); }), "int_val: -5"},
      {"count64", typed([](Value& v) { v.set_int_val(7); }), "uint_val: 7"},
      {"large", typed([](Value& v) { v.set_uint_val(8); }), "int_val: 8"},
      {"tiny", typed([](Value& v) { v.set_uint_val(200); }), "3 update[0]"},
      {"tiny", typed([](Value& v) { v.set_string_val("12"); }), "int_val: 12"},
      {"enabled", typed([](Value& v) { v.set_bool_val(false); }), "bool_val: false"},
      {"enabled", typed([](Value& v) { v.set_int_val(1); }), "3 update[0]"},
      {"marker", typed([](Value& v) { v.set_bool_val(true); }), "bool_val: true"},
      {"marker", typed([](Value& v) { v.set_bool_val(false); }), "3 update[0]"},
      {"blob", typed([](Value& v) { v.set_bytes_val(std::string("\0\xFF", 2)); }),
       R"(bytes_val: "\000\377")"},
      {"state", typed([](Value& v) { v.set_bytes_val("up"); }), "3 update[0]"},
      {"state", typed([](Value& v) { v.set_string_val("down"); }), R"(string_val: "down")"},
      {"load", typed([](Value& v) { v.set_double_val(1.25); }), "double_val: 1.25"},
      {"load", typed([](Value& v) { v.set_float_val(0.1F); }), "double_val: 0.1"},
      {"load", typed([](Value& v) { v.set_int_val(3); }), "double_val: 3"},
      {"load", typed([](Value& v) { v.set_double_val(1.23456); }), "3 update[0]"},
      {"load", typed([](Value& v) { v.set_double_val(std::numeric_limits<double>::infinity()); }),
       "3 update[0]"},
      {"load", decimal(-5, 2), "double_val: -0.05"},
      {"load", decimal(1500000, 6), "double_val: 1.5"},
      {"load", decimal(0, 4000000000U), "double_val: 0"},
      {"load", decimal(1, 19), "3 update[0]"},
      {"tiny", typed([](Value& v) { v.set_double_val(7); }), "int_val: 7"},
      {"tiny", typed([](Value& v) { v.set_double_val(7.5); }), "3 update[0]"},
  };
  for (const Case& each : cases) {
    const std::string path = std::string(kLimits) + "/" + each.leaf;
    const std::string what = each.value.ShortDebugString() + " at " + each.leaf;
    ASSERT_EQ(remove(path), "0 ");
    const std::string verdict = set_typed(path, each.value);
    if (verdict != "0 ") {
      EXPECT_EQ(verdict.substr(0, std::string(each.stored).size()), each.stored) << what << verdict;
      continue;
    }
    EXPECT_EQ(get_text(path, gnmi::PROTO), path + " " + each.stored + "\n") << what;
  }
  const auto array = typed([](Value& value) {
    value.mutable_leaflist_val()->add_element()->set_string_val("b");
    value.mutable_leaflist_val()->add_element()->set_string_val("a");
  });
  EXPECT_EQ(set_typed("/example-device:device/search", array), "0 ");
  EXPECT_EQ(get_text("/example-device:device/search", gnmi::PROTO),
            "/example-device:device/search " + array.ShortDebugString() + "\n");
  const auto nested =
      typed([&array](Value& value) { *value.mutable_leaflist_val()->add_element() = array; });
  EXPECT_EQ(set_typed("/example-device:device/search", nested),
            "3 update[0] of /example-device:device/search: an array is no element of leaflist_val");
}

// Row 40: master arbitration.

TEST_F(Conformance, Row40OnlyTheHighestElectionIdOfARoleSets) {
  gnmi::SetRequest change;
  *change.add_update() = update_of("/example-device:device/name", "\"a\"");
  EXPECT_EQ(apply(change), "0 ");
  gnmi_ext::MasterArbitration& claim = *change.add_extension()->mutable_master_arbitration();
  EXPECT_EQ(apply(change), "3 Extension master_arbitration without an election_id");
  claim.mutable_election_id()->set_low(7);
  EXPECT_EQ(apply(change), "0 ");
  EXPECT_EQ(apply(change), "0 ");
  claim.mutable_election_id()->set_low(6);
  EXPECT_EQ(apply(change),
            "7 Another client is master, the highest election_id is "
            "0x00000000000000000000000000000007");
  claim.mutable_role()->set_id("");
  EXPECT_EQ(apply(change).substr(0, 2), "7 ");
  claim.mutable_election_id()->set_low(8);
  EXPECT_EQ(apply(change), "0 ");
  change.clear_extension();
  EXPECT_EQ(apply(change), "0 ");
}

}  // namespace
}  // namespace nexa_test
