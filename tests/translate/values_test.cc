// Every YANG built-in type at its ends, in strict and in tolerant form.
#include "translate/fixture.h"

namespace nexa_test {
namespace {

class Values : public ExampleModels {
 protected:
  static std::string refused(const std::string& leaf, const std::string& json,
                             Mode mode = Mode::kStrict) {
    const std::string path = "/example-device:device/limits/" + leaf;
    const std::string head = "update of " + path + ": ";
    const std::string text = refusal(path, json, mode);
    EXPECT_EQ(text.substr(0, head.size()), head);
    return text.substr(head.size());
  }
};

TEST_F(Values, IntegersReachBothEndsOfTheirRange) {
  EXPECT_EQ(limit("tiny", "-128"), "-128");
  EXPECT_EQ(limit("tiny", "127"), "127");
  EXPECT_EQ(limit("small", "-32768"), "-32768");
  EXPECT_EQ(limit("small", "32767"), "32767");
  EXPECT_EQ(limit("medium", "-2147483648"), "-2147483648");
  EXPECT_EQ(limit("medium", "2147483647"), "2147483647");
  EXPECT_EQ(limit("large", "\"9223372036854775807\""), "9223372036854775807");
  EXPECT_EQ(limit("count8", "255"), "255");
  EXPECT_EQ(limit("count16", "65535"), "65535");
  EXPECT_EQ(limit("count32", "4294967295"), "4294967295");
  EXPECT_EQ(limit("count64", "\"0\""), "0");
}

TEST_F(Values, OneBeyondTheRangeIsRefusedWithTheValue) {
  EXPECT_EQ(refused("tiny", "128"),
            "value 128: Value \"128\" is out of type int8 min/max bounds. (line 1, column 1)");
  EXPECT_EQ(refused("count64", "\"18446744073709551616\""),
            "value \"18446744073709551616\": Invalid type uint64 value "
            "\"18446744073709551616\". (line 1, column 1)");
}

TEST_F(Values, NumbersInOtherBasesAreStoredAsTheirValue) {
  EXPECT_EQ(limit("large", "\"0x10\""), "16");
  EXPECT_EQ(limit("large", "\"010\""), "8");
  EXPECT_EQ(limit("large", "\" 10 \""), "10");
}

TEST_F(Values, DecimalsKeepTheirDigits) {
  EXPECT_EQ(limit("load", "\"-922337203685477.5808\""), "-922337203685477.5808");
  EXPECT_EQ(limit("load", "\"1.50\""), "1.50");
  EXPECT_EQ(refused("load", "\"1.00001\"").substr(0, 18), "value \"1.00001\": V");
}

TEST_F(Values, TolerantModeTakesBareLargeNumbersAndQuotedSmallOnes) {
  EXPECT_EQ(limit("count64", "18446744073709551615", Mode::kTolerant), "18446744073709551615");
  EXPECT_EQ(limit("large", "-9223372036854775808", Mode::kTolerant), "-9223372036854775808");
  EXPECT_EQ(limit("load", "0.0001", Mode::kTolerant), "0.0001");
  EXPECT_EQ(limit("load", "1e-4", Mode::kTolerant), "0.0001");
  EXPECT_EQ(limit("tiny", "\"-7\"", Mode::kTolerant), "-7");
  EXPECT_EQ(refused("count64", "5"),
            "value 5: Invalid non-num64-encoded uint64 value \"5\". (line 1, column 1)");
  EXPECT_EQ(refused("tiny", "\"5\""),
            "value \"5\": Invalid non-number-encoded int8 value \"5\". (line 1, column 1)");
}

TEST_F(Values, TolerantModeLosesNoDigit) {
  EXPECT_EQ(refused("load", "0.00001", Mode::kTolerant).substr(0, 15), "value 0.00001: ");
  EXPECT_EQ(refused("count64", "1.5", Mode::kTolerant).substr(0, 11), "value 1.5: ");
  EXPECT_EQ(refused("tiny", "true", Mode::kTolerant),
            "value true: Invalid non-number-encoded int8 value \"true\". (line 1, column 1)");
}

TEST_F(Values, AnUnboundedExponentIsRefused) {
  EXPECT_EQ(refused("tiny", "1e400"), "the number is out of every range (line 1, column 1)");
  EXPECT_EQ(refused("tiny", "1e99999999999999999999"),
            "the number is out of every range (line 1, column 1)");
}

TEST_F(Values, EnumerationsBitsAndBinaryAreStoredAsSent) {
  EXPECT_EQ(limit("state", "\"testing\""), "testing");
  EXPECT_EQ(limit("flags", "\"loud fast\""), "loud fast");
  EXPECT_EQ(limit("flags", "\"\""), "");
  EXPECT_EQ(limit("blob", "\"/+8BAg==\""), "/+8BAg==");
}

TEST_F(Values, IdentitiesOfAnyModuleCarryTheirDeclaration) {
  const std::string path = "/example-device:device/port[name=a]/medium";
  const std::string head = "<device xmlns=\"urn:example:device\"><port><name>a</name><medium ";
  const std::string tail = "</medium></port></device>";
  EXPECT_EQ(stored(path, "\"example-types:copper\"", Mode::kStrict),
            head + "xmlns:ext=\"urn:example:types\">ext:copper" + tail);
  EXPECT_EQ(stored(path, "\"radio\"", Mode::kStrict),
            head + "xmlns:exd=\"urn:example:device\">exd:radio" + tail);
  EXPECT_EQ(stored(path, "\"fibre\"", Mode::kTolerant),
            head + "xmlns:ext=\"urn:example:types\">ext:fibre" + tail);
  EXPECT_EQ(
      refusal(path, "\"fibre\"", Mode::kStrict),
      "update of " + path +
          ": value \"fibre\": Invalid identityref \"fibre\" value - identity not found in module "
          "\"example-device\". (line 1, column 1)");
}

TEST_F(Values, UnionsTakeTheMemberThatTheFormAllows) {
  EXPECT_EQ(limit("choice-of-types", "5"), "5");
  EXPECT_EQ(limit("choice-of-types", "\"auto\""), "auto");
  EXPECT_EQ(limit("choice-of-types", "\"n\""), "n");
  EXPECT_EQ(stored("/example-device:device/limits/choice-of-types", "\"example-types:fibre\""),
            "<device xmlns=\"urn:example:device\"><limits><choice-of-types "
            "xmlns:ext=\"urn:example:types\">ext:fibre</choice-of-types></limits></device>");
  EXPECT_EQ(
      refused("choice-of-types", "500"),
      "value 500: Invalid union value \"500\" - no matching subtype found. (line 1, column 1)");
}

TEST_F(Values, InstanceIdentifiersNameEveryModule) {
  EXPECT_EQ(
      stored("/example-device:device/limits/target",
             "\"/example-device:device/port[name='a:b']/example-radio:radio/channel\""),
      "<device xmlns=\"urn:example:device\"><limits><target xmlns:exd=\"urn:example:device\" "
      "xmlns:exr=\"urn:example:radio\">/exd:device/exd:port[exd:name='a:b']/exr:radio/exr:channel"
      "</target></limits></device>");
}

TEST_F(Values, AnyUnicodeArrivesAndWhatXmlCannotHoldIsRefused) {
  EXPECT_EQ(stored("/example-device:device/name", "\"\xF0\x9F\x98\x80 \\ud83d\\ude00\""),
            "<device xmlns=\"urn:example:device\"><name>&#x1F600; &#x1F600;</name></device>");
  EXPECT_EQ(
      refusal("/example-device:device/name", "\"\\ud83d\\ude00\"", Mode::kStrict),
      "update of /example-device:device/name: strict mode takes characters beyond U+FFFF as UTF-8, "
      "not as escapes (line 1, column 1)");
  EXPECT_EQ(
      refusal("/example-device:device/name", "\"a\\u0000\""),
      "update of /example-device:device/name: not JSON at line 1, column 3: a character that no "
      "YANG string can hold");
  EXPECT_EQ(refusal("/example-device:device/name", "\"a\xFF\""),
            "update of /example-device:device/name: not JSON at line 1, column 3: not UTF-8");
}

TEST_F(Values, NullAndWrongKindsAreRefused) {
  EXPECT_EQ(refused("state", "null"),
            "value null: Invalid non-string-encoded enumeration value \"\". (line 1, column 1)");
  EXPECT_EQ(refused("state", "{}"), "an object is no value of a leaf (line 1, column 1)");
  EXPECT_EQ(refused("state", "[\"up\"]"),
            "an array is no value of a leaf, except [null] (line 1, column 1)");
  EXPECT_EQ(
      refused("enabled", "\"true\""),
      "value \"true\": Invalid non-boolean-encoded boolean value \"true\". (line 1, column 1)");
}

TEST_F(Values, AnydataKeepsItsContent) {
  EXPECT_EQ(
      stored("/example-device:device/vendor",
             R"({"a":1.50,"b":["n",true,{"c":"x:y"}],"example-device:services":{"ntp":true}})"),
      "<device xmlns=\"urn:example:device\"><vendor"
      " xmlns:json=\"urn:nexa:params:xml:ns:json:1.0\" json:value=\"{&quot;a&quot;:1.50,"
      "&quot;b&quot;:[&quot;n&quot;,true,{&quot;c&quot;:&quot;x:y&quot;}],"
      "&quot;example-device:services&quot;:{&quot;ntp&quot;:true}}\">"
      "<a>1.50</a><b>n</b><b>true</b><b><c>x:y</c></b>"
      "<services><ntp>true</ntp></services></vendor></device>");
  EXPECT_EQ(stored("/example-device:device/vendor",
                   R"({"a":"1","b":["n","m"],"example-radio:c":{"d":"e"}})"),
            "<device xmlns=\"urn:example:device\"><vendor><a>1</a><b>n</b><b>m</b>"
            "<c xmlns=\"urn:example:radio\"><d>e</d></c></vendor></device>");
  EXPECT_EQ(refusal("/example-device:device/vendor", "1"),
            "update of /example-device:device/vendor: anydata is written as an object (line 1, "
            "column 1)");
}

TEST_F(Values, WhatNoElementCanBeCalledIsRefusedInAnydata) {
  const std::string path = "/example-device:device/vendor";
  const std::string head = "update of " + path + ": ";
  const std::string rule =
      ": the name of a member of anydata is a YANG identifier (line 1, column ";
  EXPECT_EQ(refusal(path, R"({"a b":1})"), head + "member a b" + rule + "8)");
  EXPECT_EQ(refusal(path, R"({"x":{"<y":1}})"), head + "member x/<y" + rule + "12)");
  EXPECT_EQ(refusal(path, R"({"":1})").substr(0, head.size()), head);
  EXPECT_EQ(refusal(path, R"({"@a":1})"), head + "member @a" + rule + "7)");
  EXPECT_EQ(refusal(path, R"({"a":{"b":1,"b":2}})"),
            head + "member a: the object has a member twice (line 1, column 6)");
}

TEST_F(Values, AnydataMembersThatLookLikeNodesOfTheSchemaAreNotRead) {
  EXPECT_EQ(stored("/example-device:device/vendor", R"({"device":[[1]]})"),
            "<device xmlns=\"urn:example:device\"><vendor"
            " xmlns:json=\"urn:nexa:params:xml:ns:json:1.0\""
            " json:value=\"{&quot;device&quot;:[[1]]}\"/></device>");
}

TEST_F(Values, TolerantModeTakesQuotedBooleansAndNumbersWithoutFraction) {
  EXPECT_EQ(limit("enabled", "\"true\"", Mode::kTolerant), "true");
  EXPECT_EQ(limit("enabled", "\"false\"", Mode::kTolerant), "false");
  EXPECT_EQ(refused("enabled", "\"True\"", Mode::kTolerant).substr(0, 14), "value \"True\": ");
  EXPECT_EQ(limit("tiny", "1.0", Mode::kTolerant), "1");
  EXPECT_EQ(limit("count64", "7.000", Mode::kTolerant), "7");
  EXPECT_EQ(limit("tiny", "1.27e2", Mode::kTolerant), "127");
  EXPECT_EQ(refused("tiny", "1.5", Mode::kTolerant).substr(0, 11), "value 1.5: ");
  EXPECT_EQ(refused("tiny", "\"1.0\"", Mode::kTolerant).substr(0, 13), "value \"1.0\": ");
  EXPECT_EQ(refused("tiny", "1.0").substr(0, 11), "value 1.0: ");
}

TEST_F(Values, TolerantModeTakesNullForEmptyAndNoNumberForAString) {
  EXPECT_EQ(limit("marker", "null", Mode::kTolerant), limit("marker", "[null]"));
  EXPECT_EQ(refused("marker", "null").substr(0, 12), "value null: ");
  EXPECT_EQ(refusal("/example-device:device/name", "5"),
            "update of /example-device:device/name: value 5: Invalid non-string-encoded string "
            "value \"5\". (line 1, column 1)");
}

TEST_F(Values, TolerantModeTakesBase64WithLineBreaksAnywhere) {
  EXPECT_EQ(limit("blob", "\"YW\\nJj\\r\\nZGU=\\n\"", Mode::kTolerant), "YWJjZGU=");
  EXPECT_EQ(refused("blob", "\"YW\\nJ\"", Mode::kTolerant).substr(0, 7), "value \"");
}

// RFC 7951, section 6.10.
TEST_F(Values, AUnionSaysTheJsonTypeWhereItsTextDoesNot) {
  const std::string path = "/example-device:device/limits/choice-of-types";
  const std::string head = "<device xmlns=\"urn:example:device\"><limits><choice-of-types";
  const std::string mark = " xmlns:json=\"urn:nexa:params:xml:ns:json:1.0\" json:type=\"string\"";
  const std::string tail = "</choice-of-types></limits></device>";
  EXPECT_EQ(stored(path, "255"), head + ">255" + tail);
  EXPECT_EQ(stored(path, "\"auto\""), head + ">auto" + tail);
  EXPECT_EQ(stored(path, "\"words\""), head + ">words" + tail);
  for (const std::string text : {"255", "007", " 5", "+5"}) {
    EXPECT_EQ(stored(path, '"' + text + '"'), head + mark + ">" + text + tail);
    EXPECT_EQ(stored(path, '"' + text + '"', Mode::kStrict), head + mark + ">" + text + tail);
  }
}

TEST_F(Values, RefusalsQuoteOneLineOfAValue) {
  const std::string path = "/example-device:device/limits/state";
  const std::string text = refusal(path, '"' + std::string(5000, 'x') + '"');
  EXPECT_LT(text.size(), 400U) << text;
  const std::string lines = refusal(path, R"("a\nb\u007f")");
  EXPECT_EQ(lines, "update of " + path +
                       R"(: value "a\nb\x7F": Invalid enumeration value "a\nb\x7F". )" +
                       "(line 1, column 1)");
  const std::string name =
      refusal("/example-device:device", "{\"" + std::string(5000, 'n') + "\":1}");
  EXPECT_LT(name.size(), 10500U);
}

TEST_F(Values, PresenceContainersAndChoicesAreStored) {
  EXPECT_EQ(stored("/example-device:device/debug", "{}"),
            "<device xmlns=\"urn:example:device\"><debug/></device>");
  EXPECT_EQ(stored("/example-device:device", R"({"ssh":{"port":22}})"),
            "<device xmlns=\"urn:example:device\"><ssh><port>22</port></ssh></device>");
}

TEST_F(Values, AUserOrderedLeafListKeepsItsOrder) {
  EXPECT_EQ(stored("/example-device:device/search", R"(["z","a","m"])"),
            "<device xmlns=\"urn:example:device\"><search>z</search><search>a</search>"
            "<search>m</search></device>");
}

TEST_F(Values, MetadataIsRefusedByName) {
  EXPECT_EQ(
      refusal("/example-device:device", R"({"name":"a","@name":{"x:y":"z"}})"),
      "update of /example-device:device: member @name: metadata (RFC 7952) is not stored (line 1, "
      "column 21)");
}

TEST_F(Values, DepthIsBounded) {
  const std::string deep(201, '[');
  EXPECT_EQ(refusal("/example-device:device/search", deep).find("not JSON"),
            std::string("update of /example-device:device/search: ").size() +
                std::string("member ").size() + 200 * std::string("[0]").size() - 3 + 2);
}

}  // namespace
}  // namespace nexa_test
