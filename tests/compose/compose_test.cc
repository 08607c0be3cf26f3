// Payloads that convert: each place and shape of value, through both converters.
#include "compose_fixture.h"

namespace nexa::host {
namespace {

constexpr char kDevice[] = "<device xmlns=\"urn:example:device\">";
const std::string kPort = std::string(kDevice) + "<port><name>p1</name>";
constexpr char kPath[] = "/example-device:device";

class EachConverter : public ComposeTest, public ::testing::WithParamInterface<Converter> {
 protected:
  std::string convert(const std::string& path, const std::string& value,
                      RequestType mode = UPDATE) {
    return data(path, value, GetParam(), mode);
  }
};

INSTANTIATE_TEST_SUITE_P(Compose, EachConverter,
                         ::testing::Values(Converter::kStrict, Converter::kSimple),
                         [](const auto& converter) {
                           return converter.param == Converter::kStrict ? "strict" : "simple";
                         });

TEST_P(EachConverter, PutsALeafAtTheTipIntoItsParent) {
  EXPECT_EQ(convert("/example-device:device/name", "\"core-1\""),
            std::string(kDevice) + "<name>core-1</name></device>");
}

TEST_P(EachConverter, TakesTheMembersOfAContainer) {
  EXPECT_EQ(
      convert(kPath, R"({"name": "core-1", "limits": {"count16": 7}})"),
      std::string(kDevice) + "<name>core-1</name><limits><count16>7</count16></limits></device>");
}

TEST_P(EachConverter, GivesTheKeysOfTheEntryInThePathOnce) {
  const std::string expected = kPort + "<speed>10</speed></port></device>";
  EXPECT_EQ(convert("/example-device:device/port[name=p1]", R"({"speed": "10"})"), expected);
  EXPECT_EQ(convert("/example-device:device/port[name=p1]", R"({"speed": "10", "name": "p1"})"),
            expected);
  EXPECT_EQ(convert("/example-device:device/port[name=p1]",
                    R"({"example-device:name": "p1", "speed": "10"})"),
            expected);
}

TEST_P(EachConverter, PutsEntriesOfAListDirectlyIntoTheirParent) {
  const std::string expected =
      kPort + "<speed>1</speed></port><port><name>p2</name></port></device>";
  const std::string entries = R"([{"speed": "1", "name": "p1"}, {"name": "p2"}])";
  EXPECT_EQ(convert("/example-device:device/port", entries), expected);
  EXPECT_EQ(convert(kPath, "{\"port\": " + entries + "}"), expected);
}

TEST_P(EachConverter, PutsKeysFirstInSchemaOrder) {
  EXPECT_EQ(convert("/example-device:device/port[name=p1]",
                    R"({"route": [{"next-hop": "n", "metric": 5, "prefix": "10.0.0.0/8"}]})"),
            kPort +
                "<route><prefix>10.0.0.0/8</prefix><metric>5</metric><next-hop>n</next-hop></route>"
                "</port></device>");
  EXPECT_EQ(
      convert("/example-device:device/port[name=p1]/route[metric=5][prefix=x]/next-hop", "\"h\""),
      kPort +
          "<route><prefix>x</prefix><metric>5</metric><next-hop>h</next-hop></route>"
          "</port></device>");
}

TEST_P(EachConverter, PutsEntriesOfALeafListDirectlyIntoTheirParent) {
  const std::string expected =
      std::string(kDevice) + "<search>b</search><search>a</search></device>";
  EXPECT_EQ(convert("/example-device:device/search", R"(["b", "a"])"), expected);
  EXPECT_EQ(convert(kPath, R"({"search": ["b", "a"]})"), expected);
}

TEST_P(EachConverter, CompletesTheNamespaceOfAnAugmentEitherWay) {
  const std::string expected =
      kPort + "<radio xmlns=\"urn:example:radio\"><channel>6</channel></radio></port></device>";
  EXPECT_EQ(
      convert("/example-device:device/port[name=p1]", R"({"example-radio:radio": {"channel": 6}})"),
      expected);
  EXPECT_EQ(
      convert("/example-device:device/port[name=p1]/example-radio:radio", R"({"channel": 6})"),
      expected);
  EXPECT_EQ(convert("/example-device:device/port[name=p1]/radio/channel", "6"), expected);
  EXPECT_EQ(convert("/example-device:device/port[name=p1]/name-plate", "\"x\""),
            kPort + "<name-plate xmlns=\"urn:example:radio\">x</name-plate></port></device>");
}

TEST_P(EachConverter, DeclaresThePrefixOfAnIdentity) {
  EXPECT_EQ(convert("/example-device:device/port[name=p1]", R"({"medium": "example-types:fibre"})"),
            kPort + "<medium xmlns:ext=\"urn:example:types\">ext:fibre</medium></port></device>");
  EXPECT_EQ(convert("/example-device:device/port[name=p1]/medium", "\"radio\""),
            kPort + "<medium>radio</medium></port></device>");
}

TEST_P(EachConverter, WritesNumbersWithAllTheirDigits) {
  EXPECT_EQ(convert("/example-device:device/limits",
                    R"({"count32": 4294967295, "medium": -2147483648, "small": 1e3, "tiny": -0,
                        "large": "-9223372036854775808", "count64": "18446744073709551615",
                        "load": "3.1415"})"),
            std::string(kDevice) +
                "<limits><count32>4294967295</count32><medium>-2147483648</medium>"
                "<small>1000</small><tiny>0</tiny><large>-9223372036854775808</large>"
                "<count64>18446744073709551615</count64><load>3.1415</load></limits></device>");
}

TEST_P(EachConverter, KeepsStringsThatTheConvertersTakeForEmptyOrForIdentities) {
  for (const std::string text : {"n", "u", "l", "*", " ", "  ", "null", "[null]", "urn:x", "a:b"}) {
    EXPECT_EQ(convert("/example-device:device/name", "\"" + text + "\""),
              std::string(kDevice) + "<name>" + text + "</name></device>");
  }
  const std::string named = convert("/example-device:device/name", "\"example-types:copper\"");
  EXPECT_NE(named.find(">example-types:copper</name>"), std::string::npos) << named;
}

TEST_P(EachConverter, KeepsTheEmptyString) {
  const std::string xml = convert("/example-device:device/name", "\"\"");
  EXPECT_TRUE(xml == std::string(kDevice) + "<name/></device>" ||
              xml == std::string(kDevice) + "<name></name></device>")
      << xml;
}

TEST_P(EachConverter, EscapesWhatXmlReserves) {
  EXPECT_EQ(convert("/example-device:device/name", R"("<a> & \"b\" ]]>")"),
            std::string(kDevice) + "<name>&lt;a&gt; &amp; \"b\" ]]&gt;</name></device>");
}

TEST_P(EachConverter, MakesAnEmptyElementOfTheEmptyValue) {
  const std::string xml = convert("/example-device:device/limits", R"({"marker": [null]})");
  EXPECT_TRUE(xml == std::string(kDevice) + "<limits><marker/></limits></device>" ||
              xml == std::string(kDevice) + "<limits><marker></marker></limits></device>")
      << xml;
  EXPECT_EQ(convert("/example-device:device/limits/marker", "[null]"), xml);
}

TEST_P(EachConverter, WritesBooleans) {
  EXPECT_EQ(convert("/example-device:device/limits/enabled", "true"),
            std::string(kDevice) + "<limits><enabled>true</enabled></limits></device>");
  EXPECT_EQ(convert("/example-device:device/limits/enabled", "false"),
            std::string(kDevice) + "<limits><enabled>false</enabled></limits></device>");
}

using StrictConverter = ComposeTest;

TEST_F(StrictConverter, KeepsAnEmptyContainer) {
  EXPECT_EQ(data("/example-device:device/debug", "{}"), std::string(kDevice) + "<debug/></device>");
  EXPECT_EQ(data(kPath, R"({"debug": {}})"), std::string(kDevice) + "<debug/></device>");
}

using SimpleConverter = ComposeTest;

TEST_F(SimpleConverter, RefusesAnEmptyContainer) {
  std::string xml = "unchanged";
  const grpc::Status verdict =
      status("/example-device:device/debug", "{}", xml, Converter::kSimple);
  EXPECT_EQ(verdict.error_code(), grpc::StatusCode::INTERNAL);
  EXPECT_EQ(verdict.error_message(),
            "The value of /example-device:device/debug could not be converted");
  EXPECT_EQ(xml, "unchanged");
}

TEST_P(EachConverter, WritesAKeyAtTheTipOfThePathOnce) {
  EXPECT_EQ(convert("/example-device:device/port[name=p1]/name", "\"p1\""),
            kPort + "</port></device>");
}

TEST_P(EachConverter, MergesTheMembersOfAWholeTree) {
  EXPECT_EQ(convert("/", R"({"example-device:device": {"name": "a", "search": ["s"]}})", REPLACE),
            std::string(kDevice) + "<name>a</name><search>s</search></device>");
}

TEST_P(EachConverter, DoesTheSameTwice) {
  const std::string first = convert(kPath, R"({"name": "core-1"})");
  EXPECT_EQ(convert(kPath, R"({"name": "core-1"})"), first);
}

}  // namespace
}  // namespace nexa::host
