// Updates that are refused: each with the text a client reads, and never with a document.
#include "compose_fixture.h"

namespace nexa::host {
namespace {

using ComposeRefusal = ComposeTest;

constexpr char kDevice[] = "/example-device:device";
constexpr char kPort[] = "/example-device:device/port[name=p1]";

TEST_F(ComposeRefusal, GivesTheLibrarysVerdictOnThePath) {
  EXPECT_EQ(refusal("/example-device:device/1x", "{}"),
            "Invalid PathElement.name 1x char 1 is invalid");
  EXPECT_EQ(
      refusal("/", "{}"),
      "Invalid argument.  Path with 0 elements (xpath = \"/\") is not supported for SET and GET "
      "requests");
  EXPECT_EQ(refusal("/example-device:device/port[na*=x]", "{}"),
            "Invalid path element key/name: na*");
  std::string xml;
  const grpc::Status wild = status("/example-device:device/port[name=*]", "{}", xml);
  EXPECT_EQ(wild.error_code(), grpc::StatusCode::UNIMPLEMENTED);
  EXPECT_EQ(wild.error_message(),
            "Invalid key value * wild card is not supported for SET key value");
}

TEST_F(ComposeRefusal, NamesThePathElementWithoutASchemaNode) {
  EXPECT_EQ(refusal("/example-device:device/foo", "{}"),
            "No schema node for path element \"foo\" of /example-device:device/foo");
  EXPECT_EQ(refusal("/example-device:device/name/foo", "{}"),
            "No schema node for path element \"foo\" of /example-device:device/name/foo");
  EXPECT_EQ(refusal("/example-device:nothing/name", "{}"),
            "No schema node for path element \"example-device:nothing\" of "
            "/example-device:nothing/name");
  EXPECT_EQ(refusal("/example-device:device/example-radio:name", "{}"),
            "No schema node for path element \"example-radio:name\" of "
            "/example-device:device/example-radio:name");
  EXPECT_EQ(
      refusal("/device/name", "{}"),
      "No schema node for path element \"device\" of /device/name; write the first element as "
      "module-name:device");
  EXPECT_EQ(refusal("/no-such-module:device", "{}"),
            "Unknown module [ no-such-module ] in path element [ no-such-module:device ]");
}

TEST_F(ComposeRefusal, JudgesTheKeysOfThePath) {
  EXPECT_EQ(refusal("/example-device:device/port/speed", "\"1\""),
            "Path element /example-device:device/port does not give every key of the list");
  EXPECT_EQ(
      refusal("/example-device:device/port[name=p1]/route[metric=1]/next-hop", "\"1\""),
      "Path element /example-device:device/port[name=p1]/route[metric=1] does not give every key "
      "of the list");
  EXPECT_EQ(refusal("/example-device:device/port[nome=p1]/speed", "\"1\""),
            "List /example-device:device/port[nome=p1] has no key \"nome\"");
  EXPECT_EQ(refusal("/example-device:device/limits[x=1]/count8", "1"),
            "/example-device:device/limits[x=1] takes no keys: it is no list");
  EXPECT_EQ(refusal("/example-device:device/port[name=p1]/route", "{}"),
            "When list keys are not fully specified json_ietf val should be array ");
  EXPECT_EQ(refusal(kPort, "[]"),
            "When list keys are fully specified json_ietf val should NOT be array ");
  EXPECT_EQ(
      refusal("/example-device:device/port[name=p1]/route[metric=1]",
              R"([{"prefix": "x", "metric": 1}])"),
      "Path element /example-device:device/port[name=p1]/route[metric=1] gives some keys of the "
      "list only");
}

TEST_F(ComposeRefusal, RefusesAPayloadThatContradictsAKeyOfThePath) {
  EXPECT_EQ(refusal(kPort, R"({"name": "p2"})"),
            "/example-device:device/port[name=p1]/name contradicts the key in the path");
  EXPECT_EQ(refusal("/example-device:device/port[name=p1]/name", "\"p2\""),
            "/example-device:device/port[name=p1]/name contradicts the key in the path");
}

TEST_F(ComposeRefusal, NamesTheUnknownMember) {
  EXPECT_EQ(refusal(kDevice, R"({"foo": 1})"), "Unknown member /example-device:device/foo");
  EXPECT_EQ(refusal(kDevice, R"({"port": [{"name": "p1", "foo": 1}]})"),
            "Unknown member /example-device:device/port[name=p1]/foo");
  EXPECT_EQ(refusal(kPort, R"({"Name": "p1"})"),
            "Unknown member /example-device:device/port[name=p1]/Name");
  EXPECT_EQ(refusal(kDevice, R"({"no-such-module:name": "x"})"),
            "Unknown member /example-device:device/no-such-module:name");
  EXPECT_EQ(refusal("/", R"({"example-device:foo": 1})", REPLACE),
            "No schema node for path element \"example-device:foo\" of /example-device:foo");
}

TEST_F(ComposeRefusal, RefusesShapesThatTheSchemaDoesNotHave) {
  EXPECT_EQ(refusal(kDevice, "[]"),
            "/example-device:device is a container: its value is an object");
  EXPECT_EQ(refusal(kDevice, R"({"name": {}})"),
            "/example-device:device/name takes a single value, no object or array");
  EXPECT_EQ(refusal(kDevice, R"({"name": ["x"]})"),
            "/example-device:device/name is a leaf: it takes one value");
  EXPECT_EQ(refusal(kDevice, R"({"port": {"name": "x"}})"),
            "/example-device:device/port is a list: its value is an array of objects");
  EXPECT_EQ(refusal(kDevice, R"({"port": ["x"]})"),
            "/example-device:device/port is a list: each of its entries is an object");
  EXPECT_EQ(refusal(kDevice, R"({"search": "x"})"),
            "/example-device:device/search is a leaf-list: its value is an array");
  EXPECT_EQ(refusal("/example-device:device/search", "\"x\""),
            "/example-device:device/search is a leaf-list: its value is an array");
  EXPECT_EQ(refusal(kDevice, R"({"limits": 1})"),
            "/example-device:device/limits is a container: its value is an object");
  EXPECT_EQ(refusal("/", "[]", REPLACE),
            "The value of the empty path must be a JSON object of top-level members");
}

TEST_F(ComposeRefusal, RefusesEmptyArraysBeforeTheBinding) {
  EXPECT_EQ(refusal(kDevice, R"({"port": []})"), "/example-device:device/port is an empty array");
  EXPECT_EQ(refusal(kDevice, R"({"search": []})"),
            "/example-device:device/search is an empty array");
  EXPECT_EQ(refusal("/example-device:device/port", "[]"),
            "/example-device:device/port is an empty array");
}

TEST_F(ComposeRefusal, RefusesAnEntryWithoutItsKeys) {
  EXPECT_EQ(refusal(kDevice, R"({"port": [{"speed": "1"}]})"),
            "/example-device:device/port lacks the list key name");
  EXPECT_EQ(refusal(kPort, R"({"route": [{"metric": 1}]})"),
            "/example-device:device/port[name=p1]/route[metric=1] lacks the list key prefix");
}

TEST_F(ComposeRefusal, RefusesDuplicateMembers) {
  EXPECT_EQ(refusal(kDevice, R"({"name": "a", "name": "b"})"),
            "/example-device:device/name is given twice");
  EXPECT_NE(refusal(kDevice, R"({"name": "a", "example-device:name": "b"})").find("is given twice"),
            std::string::npos);
  EXPECT_EQ(refusal("/", R"({"example-device:device": {}, "example-device:device": {}})", REPLACE),
            "/example-device:device is given twice");
}

TEST_F(ComposeRefusal, RefusesValuesThatCannotArrive) {
  EXPECT_EQ(refusal(kDevice, R"({"name": null})"),
            "/example-device:device/name is null, which is no value");
  EXPECT_EQ(
      refusal("/example-device:device/limits", R"({"load": 1.5})"),
      "/example-device:device/limits/load loses digits as a number: write it as a string (RFC "
      "7951 section 6.1)");
  EXPECT_EQ(
      refusal("/example-device:device/limits", R"({"large": 9223372036854775807})"),
      "/example-device:device/limits/large loses digits as a number: write it as a string (RFC "
      "7951 section 6.1)");
  EXPECT_EQ(
      refusal("/example-device:device/limits", R"({"target": "/example-device:device"})"),
      "/example-device:device/limits/target is an instance-identifier, which is not converted");
  EXPECT_EQ(refusal(kDevice, R"({"vendor": {"a": 1}})"),
            "/example-device:device/vendor holds data without a schema, which is not converted");
  EXPECT_EQ(refusal(kDevice, R"({"name": "\u0001"})"),
            "/example-device:device/name has a character that XML cannot carry");
  EXPECT_EQ(refusal(kDevice, "{\"name\": \"" + std::string(32768, 'x') + "\"}"),
            "/example-device:device/name is longer than 32767 bytes");
}

TEST_F(ComposeRefusal, TakesTheLongestString) {
  const std::string longest(32767, 'x');
  EXPECT_EQ(data("/example-device:device/name", "\"" + longest + "\""),
            "<device xmlns=\"urn:example:device\"><name>" + longest + "</name></device>");
}

TEST_F(ComposeRefusal, SaysWhereJsonIsMalformed) {
  EXPECT_EQ(refusal(kDevice, "{\n \"name\": }"),
            "Malformed JSON: expected a JSON value at byte 11 (line 2, column 10)");
  EXPECT_EQ(refusal(kDevice, "{} x"),
            "Malformed JSON: text after the end of the JSON value at byte 3 (line 1, column 4)");
  EXPECT_EQ(refusal(kDevice, "{\"name\": \"\xFF\"}"),
            "Malformed JSON: invalid UTF-8 at byte 10 (line 1, column 11)");
  EXPECT_EQ(refusal(kDevice, std::string("{\"name\": \"a\0b\"}", 15)),
            "Malformed JSON: control character in a JSON string at byte 11 (line 1, column 12)");
}

TEST_F(ComposeRefusal, SurvivesFiveMegabytesOfOpenBrackets) {
  EXPECT_EQ(refusal(kDevice, std::string(5 << 20, '[')),
            "Malformed JSON: JSON nested deeper than 256 levels at byte 256 (line 1, column 257)");
}

TEST_F(ComposeRefusal, CutsNamesOfAHundredKilobytesInItsTexts) {
  const std::string name(100000, 'x');
  const std::string shown = std::string(100, 'x') + "...";
  EXPECT_EQ(refusal(kDevice, "{\"" + name + "\": 1}"),
            "Unknown member /example-device:device/" + shown);
  EXPECT_EQ(refusal("/example-device:device/" + name, "{}").substr(0, 33 + 103 + 5),
            "No schema node for path element \"" + shown + "\" of ");
}

TEST_F(ComposeRefusal, RefusesKeyValuesThatXmlCannotCarry) {
  EXPECT_EQ(refusal("/example-device:device/port[name=\x01]", "{}"),
            "Key value of \"name\" in /example-device:device/port[name=?] has a character that XML "
            "cannot carry");
  EXPECT_EQ(refusal("/example-device:device/port[name=\xFF]", "{}"),
            "Key value of \"name\" in /example-device:device/port[name=?] is not valid UTF-8");
}

}  // namespace
}  // namespace nexa::host
