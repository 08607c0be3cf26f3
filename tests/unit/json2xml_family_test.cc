// The entry of the family, objects and arrays: what comes out of whole payloads.
#include "nexa/nexa_srv_rpc_msg_helpers.h"
#include "support/conversion.h"
#include "support/unit_test.h"
#include "support/xml_trees.h"

namespace json2xml_family_test {

using nexa::ServiceRpcMsgHelpers;
using nexa_test::Conversion;
using nexa_test::errors_of;
using nexa_test::LogCapture;
using nexa_test::text_of;
using nexa_test::traces_of;
using nexa_test::XmlTree;
using Texts = std::vector<std::string>;

constexpr char kUnit[] = "nexa_srv_rpc_msg_helpers/json2xml_family.cc: ";

class Family : public testing::Test {
 protected:
  std::string start(const std::string& json, kestrel_cs_node* node) {
    return text_of(c.start(c.bound_tree(json, node)));
  }

  Conversion c;
};

TEST_F(Family, AnObjectBecomesAnElementNamedByItsSchemaNode) {
  EXPECT_EQ(start("{\"name\":\"eth0\",\"mtu\":1500,\"enabled\":true}", c.entry),
            "<interface><name>eth0</name><mtu>1500</mtu><enabled>true</enabled></interface>");
  EXPECT_TRUE(c.status.ok());
}

TEST_F(Family, NumbersAreIntegers) {
  EXPECT_EQ(start("{\"name\":\"e\",\"mtu\":3.0}", c.entry),
            "<interface><name>e</name><mtu>3</mtu></interface>");
  EXPECT_EQ(start("{\"name\":\"e\",\"mtu\":0.1}", c.entry),
            "<interface><name>e</name><mtu>0</mtu></interface>");
}

TEST_F(Family, APrefixedMemberDeclaresItsNamespace) {
  EXPECT_EQ(start("{\"name\":\"e\",\"ietf-ip:ipv4\":{}}", c.entry),
            "<interface><name>e</name><ipv4 xmlns=\"urn:ip\"/></interface>");
}

TEST_F(Family, AMemberOfAnUnknownModuleGetsNoNamespace) {
  EXPECT_EQ(start("{\"nowhere:name\":\"e\"}", c.entry), "<interface><name>e</name></interface>");
}

TEST_F(Family, ListEntriesStandDirectlyInTheirParent) {
  EXPECT_EQ(start("{\"name\":\"e\",\"sample\":[{\"id\":1},{\"id\":2}],\"mtu\":9}", c.entry),
            "<interface><name>e</name><sample><id>1</id></sample><sample><id>2</id></sample>"
            "<mtu>9</mtu></interface>");
}

TEST_F(Family, LeafListValuesStandDirectlyInTheirParent) {
  EXPECT_EQ(start("{\"name\":\"e\",\"ietf-interfaces:alias\":[\"a\",\"n\",\"c\"]}", c.entry),
            "<interface><name>e</name><alias>a</alias><alias/><alias>c</alias></interface>");
}

TEST_F(Family, AnArrayAtTheTopKeepsAnElementAroundItsEntries) {
  EXPECT_EQ(start("[{\"id\":1},{\"id\":2}]", c.sample),
            "<sample><sample><id>1</id></sample><sample><id>2</id></sample></sample>");
}

TEST_F(Family, EntriesOfEveryTypeAreConverted) {
  EXPECT_EQ(start("[true,1,\"x\"]", c.alias),
            "<alias><alias>true</alias><alias>1</alias><alias>x</alias></alias>");
  EXPECT_EQ(start("[[1,2],{\"id\":3}]", c.sample),
            "<sample><sample><sample>1</sample><sample>2</sample></sample>"
            "<sample><id>3</id></sample></sample>");
}

TEST_F(Family, AScalarAtTheTopTakesTheNameOfItsSchemaNode) {
  EXPECT_EQ(start("1500", c.mtu), "<mtu>1500</mtu>");
  EXPECT_EQ(start("true", c.enabled), "<enabled>true</enabled>");
  EXPECT_EQ(start("\"iana-if-type:x\"", c.type),
            "<type xmlns:ianaift=\"urn:ianaift\">ianaift:x</type>");
}

TEST_F(Family, ANamedTopDeclaresItsNamespaceTwice) {
  // Why only a payload's root, which has no name, is given to the entry.
  cJSON* item = c.bound_tree("{\"ietf-interfaces:mtu\":1}", c.entry)->child;
  const XmlTree element = c.start(item);
  ASSERT_NE(element, nullptr);
  EXPECT_EQ(text_of(element), "<mtu xmlns=\"urn:if\" xmlns=\"urn:if\">1</mtu>");
}

TEST_F(Family, AnEmptyObjectGivesAnEmptyElement) {
  cJSON* item = c.bound("{}", c.ipv4);
  LogCapture log;
  EXPECT_EQ(text_of(c.start(item)), "<ipv4/>");
  EXPECT_EQ(errors_of(log), (Texts{std::string(kUnit) + "in json_object2xml at # Empty object"}));
  EXPECT_TRUE(c.status.ok());
}

TEST_F(Family, AnEmptyArrayGivesAnElementWithoutEntries) {
  cJSON* item = c.bound("[]", c.sample);
  LogCapture log;
  EXPECT_EQ(text_of(c.start(item)), "<sample/>");
  EXPECT_EQ(errors_of(log), (Texts{std::string(kUnit) + "in json_array2xml at # Empty Array"}));
  EXPECT_TRUE(c.status.ok());
}

TEST_F(Family, ANullMemberIsReportedAsUnsupportedAndLeftOut) {
  cJSON* item = c.bound_tree("{\"name\":\"e\",\"mtu\":null,\"enabled\":true}", c.entry);
  LogCapture log;
  EXPECT_EQ(text_of(c.start(item)), "<interface><name>e</name><enabled>true</enabled></interface>");
  EXPECT_EQ(errors_of(log),
            (Texts{std::string(kUnit) + "in json_object2xml at # USUPPORTED cjson_ele->type 4"}));
  EXPECT_TRUE(c.status.ok());
}

TEST_F(Family, ABooleanAtTheTop) {
  EXPECT_EQ(text_of(c.start(c.bound("false", c.enabled))), "<enabled>false</enabled>");
  EXPECT_EQ(text_of(c.start(c.bound("true", c.enabled))), "<enabled>true</enabled>");
}

TEST_F(Family, ANullAtTheTopGivesNullAndLeavesTheStatus) {
  c.status = grpc::Status(grpc::StatusCode::ABORTED, "before");
  cJSON* item = c.bound("null", c.mtu);
  LogCapture log;
  EXPECT_EQ(c.start(item), nullptr);
  EXPECT_EQ(c.verdict(), "10: before");
  EXPECT_EQ(errors_of(log),
            (Texts{std::string(kUnit) + "In FUNCTION start_json2xml at line # failed "
                                        "json_value2xml"}));
}

TEST_F(Family, AFlaggedTypeIsConvertedBelowTheTop) {
  cJSON* item = c.bound_tree("{\"name\":\"e\"}", c.entry);
  item->child->type |= cJSON_StringIsConst;
  EXPECT_EQ(text_of(c.start(item)), "<interface><name>e</name></interface>");
  item->child->type &= ~cJSON_StringIsConst;
}

TEST_F(Family, AFlaggedArrayIsSpreadOverItsParentAndNamesItsEntries) {
  cJSON* item = c.bound_tree("{\"ietf-interfaces:alias\":[\"a\",1]}", c.entry);
  item->child->type |= cJSON_StringIsConst;
  EXPECT_EQ(text_of(c.start(item)), "<interface><alias>a</alias><alias>1</alias></interface>");
  item->child->type &= ~cJSON_StringIsConst;
}

TEST_F(Family, UnsupportedTypesAreShownWhole) {
  constexpr int kFlaggedNull = cJSON_NULL | cJSON_StringIsConst;
  cJSON* object = c.bound_tree("{\"mtu\":null}", c.entry);
  object->child->type = kFlaggedNull;
  cJSON* array = c.bound_tree("[null]", c.alias);
  array->child->type = kFlaggedNull;
  LogCapture log;
  EXPECT_EQ(text_of(c.convert(&ServiceRpcMsgHelpers::json_object2xml, object)), "<interface/>");
  EXPECT_EQ(text_of(c.convert(&ServiceRpcMsgHelpers::json_array2xml, array)), "(null)");
  EXPECT_EQ(c.verdict(), "13: UNSUPPORTED cjson_ele->type 516 at #");
  EXPECT_EQ(errors_of(log),
            (Texts{std::string(kUnit) + "in json_object2xml at # USUPPORTED cjson_ele->type 516",
                   std::string(kUnit) + "in json_array2xml at # UNSUPPORTED cjson_ele->type 516"}));
  object->child->type = cJSON_NULL;
  array->child->type = cJSON_NULL;
}

TEST_F(Family, ConvertsAThousandLevels) {
  // cJSON takes no more.
  const std::string json = std::string(999, '[') + "1" + std::string(999, ']');
  cJSON* item = c.parse(json);
  ASSERT_NE(item, nullptr);
  nexa::visit_value(item, c.sample, &c.hash);
  const XmlTree element = c.start(item);
  ASSERT_NE(element, nullptr);
  int levels = 0;
  for (xmlNodePtr node = element.get(); node != nullptr; node = node->children) ++levels;
  EXPECT_EQ(levels, 1001);  // 999 arrays, the number and its text
}

TEST_F(Family, TracesAnObjectWithAnArray) {
  cJSON* item = c.bound_tree("{\"alias\":[\"a\"]}", c.entry);
  LogCapture log;
  const XmlTree element = c.start(item);
  Texts traces;
  for (const std::string& line : traces_of(log)) {
    if (line.compare(0, sizeof(kUnit) - 1, kUnit) == 0)
      traces.push_back(line.substr(sizeof(kUnit) - 1));
  }
  EXPECT_EQ(
      traces,
      (Texts{"In FUNCTION start_json2xml at line #", "in json_value2xml at #",
             "In FUNCTION json_object2xml at line #",
             "In FUNCTION json_object2xml at line #, cjson->string (null)",
             "In FUNCTION json_object2xml at line # creating node with tag: interface",
             "In FUNCTION json_array2xml at line # cJsonCsnode->cs_node_ is 0x# parent tag alias "
             "type_flag is_identityref: 0 type_flag is_leaflist: 1 shallow_type vals 4",
             "in json_array2xml at # calling json_name2xml",
             "in json_array2xml at # returned from json_name2xml",
             "In FUNCTION json_array2xml at line #",
             "In FUNCTION json_object2xml at line # Attaching xmlNode child->name  alias to parent "
             "interface",
             "in json_object2xml at # calling json_name2xml",
             "in json_object2xml at # returned from json_name2xml",
             "In FUNCTION json_object2xml at line #",
             "in start_json2xml at # calling json_name2xml",
             "In FUNCTION start_json2xml at line # TOP XML VALUE NODE 0x# has name interface"}));
}

TEST_F(Family, TracesAStringMemberAndTheTree) {
  cJSON* item = c.bound_tree("{\"name\":\"e\",\"mtu\":1,\"enabled\":true,\"ipv4\":{}}", c.entry);
  LogCapture log;
  const XmlTree element = c.start(item);
  const Texts traces = traces_of(log);
  EXPECT_EQ(
      std::count(traces.begin(), traces.end(),
                 std::string(kUnit) +
                     "in json_object2xml at # xml parent xml array elem 0x# String tag name "),
      1);
  EXPECT_EQ(std::count_if(traces.begin(), traces.end(),
                          [](const std::string& line) {
                            return line.find("xml parent xml array elem") != std::string::npos;
                          }),
            1)
      << "for strings alone";
  EXPECT_EQ(std::count_if(traces.begin(), traces.end(),
                          [](const std::string& line) {
                            return line.find(
                                       "<?xml version=\"1.0\"?>\n<interface><name>e</name>"
                                       "<mtu>1</mtu><enabled>true</enabled><ipv4/></interface>") !=
                                   std::string::npos;
                          }),
            1);
}

}  // namespace json2xml_family_test
