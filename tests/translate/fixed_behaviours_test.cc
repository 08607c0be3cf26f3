// One test for each fixed behaviour of the library that loses or changes data in careless hands.
#include "translate/fixture.h"

namespace nexa_test {
namespace {

class FixedBehaviours : public ExampleModels {};

constexpr char kDevice[] = "<device xmlns=\"urn:example:device\">";

std::string device(const std::string& inner) { return kDevice + inner + "</device>"; }

TEST_F(FixedBehaviours, AnEmptyArrayNeverReachesTheAssertion) {
  EXPECT_EQ(stored("/example-device:device", R"({"port":[],"search":[]})"),
            "<device xmlns=\"urn:example:device\"/>");
  EXPECT_EQ(stored("/example-device:device/port", "[]"), "<device xmlns=\"urn:example:device\"/>");
  EXPECT_EQ(stored_tree(R"({"example-device:device":{"port":[{"name":"a","tag":[]}]}})"),
            device("<port><name>a</name></port>"));
  EXPECT_EQ(
      refusal("/example-device:device/limits/marker", "[]"),
      "update of /example-device:device/limits/marker: an array is no value of a leaf, except "
      "[null] (line 1, column 1)");
}

TEST_F(FixedBehaviours, KeysComeFirstWithoutASwapAndBindingsStayRight) {
  EXPECT_EQ(
      stored("/example-device:device", R"({"port":[{"tag":["x","y"],"speed":"5","name":"a",)"
                                       R"("route":[{"next-hop":"h","metric":7,"prefix":"p"}]}]})"),
      device("<port><name>a</name><tag>x</tag><tag>y</tag><speed>5</speed><route>"
             "<prefix>p</prefix><metric>7</metric><next-hop>h</next-hop></route></port>"));
}

TEST_F(FixedBehaviours, AMemberWithoutSchemaNodeIsRefusedByItsPath) {
  EXPECT_EQ(
      refusal("/example-device:device", R"({"port":[{"name":"a","route":[
{"prefix":"p","metric":1,"nope":{}}]}]})"),
      "update of /example-device:device: member port[name=a]/route[prefix=p][metric=1]/nope: no "
      "node \"nope\" below \"route\" (line 2, column 33)");
}

TEST_F(FixedBehaviours, ElementsBelowALeafAreRefused) {
  EXPECT_EQ(missing("/example-device:device/name/deeper", "1"),
            "update of /example-device:device/name/deeper: no node \"deeper\" below "
            "\"/example-device:device/name\"");
}

TEST_F(FixedBehaviours, NamesAreMatchedWithTheirModule) {
  EXPECT_EQ(missing("/example-device:device/port[name=a]/example-device:radio", "{}"),
            "update of /example-device:device/port[name=a]/example-device:radio: no node "
            "\"example-device:radio\" below \"/example-device:device/port\"");
}

TEST_F(FixedBehaviours, AModulesSecondTopLevelNodeIsReached) {
  EXPECT_EQ(stored("/example-device:services/ntp", "true"),
            "<services xmlns=\"urn:example:device\"><ntp>true</ntp></services>");
  EXPECT_EQ(missing("/example-device:services/name", "\"x\""),
            "update of /example-device:services/name: no node \"name\" below "
            "\"/example-device:services\"");
}

TEST_F(FixedBehaviours, EachKeyIsGivenOnceInSchemaOrderAtEveryList) {
  EXPECT_EQ(
      stored("/example-device:device/port[name=a]/route[metric=7][prefix=p]/next-hop", "\"h\""),
      device("<port><name>a</name><route><prefix>p</prefix><metric>7</metric>"
             "<next-hop>h</next-hop></route></port>"));
}

TEST_F(FixedBehaviours, ALeafALeafListAndAnArrayStandUnderTheirParent) {
  EXPECT_EQ(stored("/example-device:device/name", "\"x\""), device("<name>x</name>"));
  EXPECT_EQ(stored("/example-device:device/search", R"(["a","b"])"),
            device("<search>a</search><search>b</search>"));
  EXPECT_EQ(stored("/example-device:device/port", R"([{"name":"a"},{"name":"b"}])"),
            device("<port><name>a</name></port><port><name>b</name></port>"));
}

TEST_F(FixedBehaviours, NamespacesAreCompletedWhereTheyChange) {
  EXPECT_EQ(stored("/example-device:device/port[name=a]/example-radio:radio/channel", "3"),
            device("<port><name>a</name><radio xmlns=\"urn:example:radio\"><channel>3</channel>"
                   "</radio></port>"));
  EXPECT_EQ(stored("/example-device:device/port[name=a]/example-radio:name-plate", "\"x\""),
            device("<port><name>a</name><name-plate xmlns=\"urn:example:radio\">x</name-plate>"
                   "</port>"));
  EXPECT_EQ(stored_tree(R"({"example-device:device":{"example-device:port":[{"name":"a"}]}})"),
            device("<port><name>a</name></port>"));
}

TEST_F(FixedBehaviours, AWholeTreeReplaceTakesEveryTopLevelMember) {
  EXPECT_EQ(stored_tree(R"({"example-device:services":{"ntp":true},)"
                        R"("example-device:device":{"name":"x"}})"),
            "<services xmlns=\"urn:example:device\"><ntp>true</ntp></services>" +
                device("<name>x</name>"));
  EXPECT_EQ(stored_tree("{}"), "");
}

TEST_F(FixedBehaviours, EveryNumberKeepsItsDigits) {
  EXPECT_EQ(limit("count32", "4294967295"), "4294967295");
  EXPECT_EQ(limit("count64", "\"18446744073709551615\""), "18446744073709551615");
  EXPECT_EQ(limit("large", "\"-9223372036854775808\""), "-9223372036854775808");
  EXPECT_EQ(limit("load", "\"922337203685477.5807\""), "922337203685477.5807");
  EXPECT_EQ(limit("tiny", "1.2e1"), "12");
}

TEST_F(FixedBehaviours, AStringIsStoredByteForByte) {
  for (const char* text : {"n", "u", "l", "*", " ", "  ", " n ", "null", "[null]",
                           "example-device:x", "example-types:", "exd:x", "fe80::1", "a:b", ""}) {
    EXPECT_EQ(stored("/example-device:device/name", '"' + std::string(text) + '"'),
              device("<name>" + std::string(text) + "</name>"));
  }
  EXPECT_EQ(stored("/example-device:device/name", "\"<&>\\\"'\\n\\t\\u00e9\""),
            device("<name>&lt;&amp;&gt;\"'\n\t&#xE9;</name>"));
}

TEST_F(FixedBehaviours, AnEmptyLeafIsWrittenAsAnArrayOfNull) {
  EXPECT_EQ(limit("marker", "[null]"), "");
}

TEST_F(FixedBehaviours, ABooleanPrintsNothing) {
  testing::internal::CaptureStdout();
  EXPECT_EQ(limit("enabled", "true"), "true");
  EXPECT_EQ(limit("enabled", "false"), "false");
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

TEST_F(FixedBehaviours, AKeyThatContradictsThePathIsRefused) {
  EXPECT_EQ(
      stored("/example-device:device/port[name=a]", R"({"example-device:name":"a","speed":"1"})"),
      device("<port><name>a</name><speed>1</speed></port>"));
  EXPECT_EQ(
      refusal("/example-device:device/port[name=a]", R"({"example-device:name":"b"})"),
      "update of /example-device:device/port[name=a]: member example-device:name: value \"b\": "
      "the path says name=\"a\" (line 1, column 24)");
  EXPECT_EQ(
      refusal("/example-device:device/port[name=a]/name", "\"b\""),
      "update of /example-device:device/port[name=a]/name: value \"b\": the path says name=\"a\" "
      "(line 1, column 1)");
}

TEST_F(FixedBehaviours, AStringOfAMebibyteIsStoredWhole) {
  for (const std::size_t size : {32766U, 32767U, 32768U, 40000U, 1U << 20U}) {
    const std::string text(size, 'x');
    EXPECT_EQ(stored("/example-device:device/name", '"' + text + '"'),
              device("<name>" + text + "</name>"));
    EXPECT_EQ(stored("/example-device:device/port[name=" + text + "]/speed", "\"1\""),
              device("<port><name>" + text + "</name><speed>1</speed></port>"));
  }
}

TEST_F(FixedBehaviours, KeyValuesHoldAnyCharacter) {
  EXPECT_EQ(stored(R"(/example-device:device/port[name=a=\[b\]/c 'd' "e"]/speed)", "\"1\""),
            device("<port><name>a=[b]/c 'd' \"e\"</name><speed>1</speed></port>"));
}

TEST_F(FixedBehaviours, DuplicateMembersAreRefusedInEitherSpelling) {
  EXPECT_EQ(
      refusal("/example-device:device", R"({"name":"a","example-device:name":"b"})"),
      "update of /example-device:device: member example-device:name: the member is there twice "
      "(line 1, column 35)");
}

}  // namespace
}  // namespace nexa_test
