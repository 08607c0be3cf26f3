// The single recursive converter.
#include "nexa/nexa_srv_rpc_msg_helpers.h"
#include "support/conversion.h"
#include "support/unit_test.h"
#include "support/xml_trees.h"

namespace json2xml_test {

using nexa::ServiceRpcMsgHelpers;
using nexa_test::Conversion;
using nexa_test::errors_of;
using nexa_test::LogCapture;
using nexa_test::text_of;
using nexa_test::traces_of;
using nexa_test::XmlTree;
using Texts = std::vector<std::string>;

constexpr char kUnit[] = "nexa_srv_rpc_msg_helpers/json2xml.cc: ";

class Json2Xml : public testing::Test {
 protected:
  // The XML of the first member of an object that is bound as an interface.
  std::string member(const std::string& json) {
    return text_of(c.json2xml(c.bound_tree(json, c.entry)->child));
  }
  // The XML of a payload without bindings.
  std::string unbound(const std::string& json) { return text_of(c.json2xml(c.parse(json))); }

  Conversion c;
};

TEST_F(Json2Xml, ANullItemGivesNull) { EXPECT_EQ(c.json2xml(nullptr), nullptr); }

TEST_F(Json2Xml, ANullMapperStopsTheProcess) {
  EXPECT_DEATH(ServiceRpcMsgHelpers::json2xml(c.token, nullptr, &c.hash, nullptr),
               "mapperIntf != NULL");
}

TEST_F(Json2Xml, AnItemWithoutNameKeepsThePlaceholder) {
  EXPECT_EQ(unbound("1"), "<placeholder>1</placeholder>");
  EXPECT_EQ(unbound("{\"a\":1}"), "<placeholder><a>1</a></placeholder>");
}

TEST_F(Json2Xml, APrefixedContainerDeclaresItsNamespace) {
  EXPECT_EQ(
      text_of(c.json2xml(
          c.bound_tree("{\"ietf-interfaces:config\":{\"name\":\"eth0\",\"mtu\":1500}}", c.entry)
              ->child)),
      "<config xmlns=\"urn:if\"><name>eth0</name><mtu>1500</mtu></config>");
}

TEST_F(Json2Xml, AMemberOfAnUnknownModuleGetsNoNamespace) {
  EXPECT_EQ(member("{\"nowhere:mtu\":1}"), "<mtu>1</mtu>");
}

TEST_F(Json2Xml, NumbersArePrintedWithSixDigits) {
  const std::pair<const char*, const char*> kCases[] = {{"1500", "1500"},
                                                        {"2.5", "2.5"},
                                                        {"1e+20", "1e+20"},
                                                        {"3.0", "3"},
                                                        {"0.1", "0.1"},
                                                        {"-7", "-7"},
                                                        {"0", "0"},
                                                        {"-0", "-0"},
                                                        {"1234567", "1.23457e+06"},
                                                        {"0.00001234567", "1.23457e-05"},
                                                        {"123456", "123456"},
                                                        {"0.0001", "0.0001"},
                                                        {"1e400", "inf"},
                                                        {"4294967295", "4.29497e+09"}};
  for (const auto& [json, text] : kCases) {
    EXPECT_EQ(unbound(json), std::string("<placeholder>") + text + "</placeholder>") << json;
  }
}

TEST_F(Json2Xml, BooleansBecomeTheirWords) {
  EXPECT_EQ(unbound("true"), "<placeholder>true</placeholder>");
  EXPECT_EQ(unbound("false"), "<placeholder>false</placeholder>");
}

TEST_F(Json2Xml, NullBecomesAnEmptyText) {
  EXPECT_EQ(unbound("{\"a\":null}"), "<placeholder><a></a></placeholder>");
}

TEST_F(Json2Xml, TheEmptyValueBecomesAnEmptyText) {
  EXPECT_EQ(unbound("\"n\""), "<placeholder></placeholder>");
  EXPECT_EQ(unbound("\"  \""), "<placeholder></placeholder>");
  EXPECT_EQ(unbound("\"null\""), "<placeholder>null</placeholder>");
  EXPECT_EQ(unbound("\"\""), "<placeholder></placeholder>");
}

TEST_F(Json2Xml, APlainStringKeepsItsPrefixAndDeclaresAKnownModule) {
  EXPECT_EQ(unbound("\"ietf-ip:y\""),
            "<placeholder xmlns:ietf-ip=\"urn:ip\">ietf-ip:y</placeholder>");
}

TEST_F(Json2Xml, ABoundStringThatIsNoIdentityIsAPlainString) {
  EXPECT_EQ(member("{\"name\":\"ietf-ip:y\"}"), "<name xmlns:ietf-ip=\"urn:ip\">ietf-ip:y</name>");
  EXPECT_EQ(member("{\"name\":\"n\"}"), "<name></name>");
}

TEST_F(Json2Xml, WithoutAPrefixNothingIsLookedUp) {
  c.mapper.nsByModuleName_[""] = "urn:nothing";
  c.mapper.nsByYmpPrefix_[""] = "urn:nothing";
  EXPECT_EQ(member("{\"name\":\"eth0\"}"), "<name>eth0</name>");
  EXPECT_EQ(member("{\"type\":\"tunnel\"}"), "<type>tunnel</type>");
}

TEST_F(Json2Xml, APlainStringWithAnUnknownPrefixIsReportedAndKept) {
  LogCapture log;
  EXPECT_EQ(unbound("\"fe80::1\""), "<placeholder>fe80::1</placeholder>");
  EXPECT_EQ(errors_of(log),
            (Texts{std::string(kUnit) + "in json2xml at # No NAMESPACE for prefix fe80"}));
}

TEST_F(Json2Xml, AStringThatBeginsWithAColonHasNoPrefix) {
  LogCapture log;
  EXPECT_EQ(unbound("\":x\""), "<placeholder>:x</placeholder>");
  EXPECT_EQ(errors_of(log), Texts{});
}

TEST_F(Json2Xml, AnIdentityIsTranslatedAndItsPrefixDeclared) {
  EXPECT_EQ(member("{\"type\":\"iana-if-type:tunnel\"}"),
            "<type xmlns:ianaift=\"urn:ianaift\">ianaift:tunnel</type>");
  EXPECT_EQ(member("{\"ietf-interfaces:type\":\"iana-if-type:tunnel\"}"),
            "<type xmlns=\"urn:if\" xmlns:ianaift=\"urn:ianaift\">ianaift:tunnel</type>");
}

TEST_F(Json2Xml, AnIdentityWithoutOrWithAnUnknownModuleStays) {
  LogCapture log;
  EXPECT_EQ(member("{\"type\":\"tunnel\"}"), "<type>tunnel</type>");
  EXPECT_EQ(member("{\"type\":\"nowhere:tunnel\"}"), "<type>nowhere:tunnel</type>");
  EXPECT_EQ(errors_of(log), Texts{});
}

TEST_F(Json2Xml, AnIdentityOfOneCharacterIsNotTheEmptyValue) {
  EXPECT_EQ(member("{\"type\":\"n\"}"), "<type>n</type>");
}

TEST_F(Json2Xml, AnArrayKeepsAnElementAroundItsEntries) {
  EXPECT_EQ(member("{\"sample\":[{\"id\":1},{\"id\":2}]}"),
            "<sample><sample><id>1</id></sample><sample><id>2</id></sample></sample>");
  EXPECT_EQ(member("{\"ietf-interfaces:alias\":[\"a\",\"b\"]}"),
            "<alias xmlns=\"urn:if\"><alias>a</alias><alias>b</alias></alias>");
}

TEST_F(Json2Xml, TheEntriesOfAnArrayWithoutNameKeepThePlaceholder) {
  EXPECT_EQ(unbound("[1,2]"),
            "<placeholder><placeholder>1</placeholder><placeholder>2</placeholder></placeholder>");
}

TEST_F(Json2Xml, AnEmptyObjectOrArrayIsNotConverted) {
  LogCapture log;
  EXPECT_EQ(unbound("{}"), "(null)");
  EXPECT_EQ(unbound("[]"), "(null)");
  EXPECT_EQ(errors_of(log),
            (Texts{std::string(kUnit) + "in json2xml at #:  Unhandled JSON type 64",
                   std::string(kUnit) + "in json2xml at #:  Unhandled JSON type 32"}));
}

TEST_F(Json2Xml, AFailureBelowFreesWhatStandsAbove) {
  EXPECT_EQ(unbound("{\"a\":{\"b\":[1,{\"c\":{}}]}}"), "(null)");
}

TEST_F(Json2Xml, ANameThatCannotBeCopiedFails) {
  LogCapture log;
  EXPECT_EQ(unbound("{\"" + std::string(32768, 'a') + "\":1}"), "(null)");
  EXPECT_EQ(errors_of(log),
            (Texts{"nexa_srv_rpc_msg_helpers/json2xml_name.cc: Error occurred while copying string "
                   "during conversion of JSON to XML"}));
}

TEST_F(Json2Xml, ATextThatCannotBeCopiedFails) {
  LogCapture log;
  EXPECT_EQ(unbound("\"" + std::string(32768, 'a') + "\""), "(null)");
  EXPECT_EQ(errors_of(log),
            (Texts{std::string(kUnit) +
                   "Error occurred while copying string during conversion of JSON to XML"}));
}

TEST_F(Json2Xml, LookingANameUpLeavesANullEntry) {
  cJSON* item = c.parse("{\"a\":\"x\"}");
  EXPECT_NE(c.json2xml(item), nullptr);
  EXPECT_FALSE(c.hash.contains(item));
  EXPECT_TRUE(c.hash.contains(item->child));
  EXPECT_EQ(c.hash.find(item->child), nullptr);
}

TEST_F(Json2Xml, NamesAndStringsLeaveANullEntryEachOnItsOwn) {
  cJSON* number = c.parse("{\"a\":1}")->child;
  EXPECT_NE(c.json2xml(number), nullptr);
  EXPECT_TRUE(c.hash.contains(number));
  cJSON* text = c.parse("\"x\"");
  EXPECT_NE(c.json2xml(text), nullptr);
  EXPECT_TRUE(c.hash.contains(text));
  cJSON* neither = c.parse("1");
  EXPECT_NE(c.json2xml(neither), nullptr);
  EXPECT_FALSE(c.hash.contains(neither));
}

TEST_F(Json2Xml, FlagsOfATypePlayNoPart) {
  for (const char* json : {"{\"a\":1}", "{\"a\":true}", "{\"a\":\"x\"}", "{\"a\":[2,3]}"}) {
    cJSON* item = c.parse(json)->child;
    const std::string plain = text_of(c.json2xml(item));
    item->type |= cJSON_StringIsConst;
    EXPECT_EQ(text_of(c.json2xml(item)), plain) << json;
    item->type &= ~cJSON_StringIsConst;
  }
}

TEST_F(Json2Xml, ConvertsAThousandLevels) {
  std::string json;
  for (int i = 0; i < 999; ++i) json += "{\"a\":";
  json += "1" + std::string(999, '}');
  const std::string xml = unbound(json);
  EXPECT_EQ(xml.substr(0, 30), "<placeholder><a><a><a><a><a><a");
}

TEST_F(Json2Xml, TracesANumber) {
  cJSON* item = c.bound_tree("{\"mtu\":9}", c.entry)->child;
  LogCapture log;
  const XmlTree element = c.json2xml(item);
  EXPECT_EQ(traces_of(log),
            (Texts{std::string(kUnit) + "IN json2xml hash contains 2 entries",
                   std::string(kUnit) + "in json2xml at # root->string != NULL",
                   "nexa_srv_rpc_msg_helpers/json2xml_name.cc: in json2xml at # NOT identityref",
                   std::string(kUnit) + "in json2xml at # cJSON has NO children --> LEAF",
                   std::string(kUnit) + "in json2xml at # cJSON LEAF is number 9"}));
}

TEST_F(Json2Xml, TracesAnIdentity) {
  cJSON* item = c.bound_tree("{\"type\":\"iana-if-type:x\"}", c.entry)->child;
  LogCapture log;
  const XmlTree element = c.json2xml(item);
  const Texts traces = traces_of(log);
  ASSERT_EQ(traces.size(), 7u);
  EXPECT_EQ(traces[2], "nexa_srv_rpc_msg_helpers/json2xml_name.cc: in json2xml at # identityref");
  EXPECT_EQ(traces[4], std::string(kUnit) + "in json2xml at # cJSON LEAF is STRING iana-if-type:x");
  EXPECT_EQ(traces[5], std::string(kUnit) +
                           "in json2xml at # cJSON LEAF is STRING IDENTITYREF iana-if-type:x");
  EXPECT_EQ(traces[6],
            std::string(kUnit) + "IDENTITYREF internalized XMLVAL: ianaift:x  at line #");
}

TEST_F(Json2Xml, TracesOtherLeaves) {
  const auto last_traces = [this](const std::string& json, std::size_t count) {
    cJSON* item = c.parse(json);
    LogCapture log;
    const XmlTree element = c.json2xml(item);
    const Texts traces = traces_of(log);
    return Texts(traces.end() - static_cast<std::ptrdiff_t>(count), traces.end());
  };
  const std::string unit = kUnit;
  EXPECT_EQ(last_traces("true", 1), Texts{unit + "in json2xml at # cJSON LEAF is BOOL True"});
  EXPECT_EQ(last_traces("false", 1), Texts{unit + "in json2xml at # cJSON LEAF is BOOL False"});
  EXPECT_EQ(last_traces("null", 1), Texts{unit + "in json2xml at # cJSON LEAF is NULL"});
  EXPECT_EQ(last_traces("\"n\"", 2),
            (Texts{unit + "in json2xml at # cJSON LEAF is STRING n",
                   unit + "in json2xml at # cJSON LEAF is STRING [ null ] n"}));
  EXPECT_EQ(last_traces("\"up\"", 3),
            (Texts{unit + "in json2xml at # cJSON LEAF is STRING up",
                   unit + "in json2xml at # cJSON LEAF is PLAIN STRING up",
                   unit + "?????XMLVAL: up ???? at line #"}));
  EXPECT_EQ(last_traces("[1]", 4)[0], unit + "in json2xml at # cJSON has children");
}

}  // namespace json2xml_test
