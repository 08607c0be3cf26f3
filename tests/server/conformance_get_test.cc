// The full profile: Capabilities and Get (rows 16 to 19).
#include <set>

#include "server/support/conformance.h"

namespace nexa_test {
namespace conformance_get_test {

// Operational data of the port "a", and a leaf that only the device knows.
class Events : public nexa::state::StateProvider {
 public:
  std::string_view name() const override { return "events"; }
  std::string_view module() const override { return "example-device"; }
  void append_xml(std::string& xml) override {
    xml += "<device xmlns=\"urn:example:device\"><event><at>7</at><text>up</text></event></device>";
  }
};

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
  ASSERT_EQ(update(kDevicePath, R"({"name":"a b","port":[{"name":"x","speed":"5"}]})"), "0 ");
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

TEST_F(Conformance, Row18PathsThatDifferInTheirKeysAloneAreEachTheirOwn) {
  ASSERT_EQ(update(kDevicePath,
                   R"({"port":[{"name":"a","speed":"1","tag":["x"]},{"name":"*a","speed":"2"},
      {"name":"b","route":[{"prefix":"p","metric":7,"next-hop":"h"},
                           {"prefix":"p","metric":8,"next-hop":"i"}]}]})"),
            "0 ");
  gnmi::GetRequest asked;
  asked.set_encoding(gnmi::PROTO);
  *asked.mutable_prefix() = path_of("/device");
  for (const char* path :
       {"/port[name=a]/speed", "/port[name=*a]/speed", "/port[name=*]/speed", "/port[name=a]/speed",
        "/port[name=b]/route[prefix=p][metric=7]/next-hop",
        "/port[name=b]/route[prefix=p][metric=08]/next-hop", "/port[name=a]/tag[.=x]",
        "/port/speed"}) {
    *asked.add_path() = path_of(path);
  }
  EXPECT_EQ(get_text(asked),
            "/port[name=a]/speed uint_val: 1\n/port[name=*a]/speed uint_val: 2\n"
            "/port[name=a]/speed uint_val: 1\n/port[name=*a]/speed uint_val: 2\n"
            "/port[name=a]/speed uint_val: 1\n"
            "/port[name=b]/route[metric=7][prefix=p]/next-hop string_val: \"h\"\n"
            "/port[name=b]/route[metric=08][prefix=p]/next-hop string_val: \"i\"\n"
            "/port[name=a]/tag[.=x] string_val: \"x\"\n"
            "/port[name=a]/speed uint_val: 1\n/port[name=*a]/speed uint_val: 2\n");
  ASSERT_EQ(response.notification_size(), 8);
  EXPECT_EQ(response.notification(2).update_size(), 2);
}

TEST_F(Conformance, Row17WhatIsWrongWithAPathCountsMoreThanMissingData) {
  gnmi::GetRequest asked;
  *asked.add_path() = path_of("/device/port[name=none]/route[prefix=p][metric=1]");
  EXPECT_EQ(get_text(asked).substr(0, 9), "5 path[0]");
  *asked.add_path() = path_of("/device/port[name=none]/route[prefix=p][metric=2]");
  *asked.add_path() = path_of("/device/port[name=none]/route[prefix=p][metric=x]");
  EXPECT_EQ(get_text(asked).substr(0, 9), "3 path[2]");
  *asked.add_path() = path_of("/device/colour");
  EXPECT_EQ(get_text(asked).substr(0, 9), "3 path[2]");
  asked.mutable_path()->DeleteSubrange(2, 1);
  EXPECT_EQ(get_text(asked).substr(0, 10), "12 path[2]");
  asked.add_use_models()->set_name("nothing");
  EXPECT_EQ(get_text(asked).substr(0, 10), "12 path[2]");
}

}  // namespace conformance_get_test
}  // namespace nexa_test
