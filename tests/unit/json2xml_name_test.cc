// Names and namespaces of elements.
#include "nexa/nexa_srv_rpc_msg_helpers.h"
#include "support/conversion.h"
#include "support/unit_test.h"
#include "support/xml_trees.h"

namespace json2xml_name_test {

using nexa::ServiceRpcMsgHelpers;
using nexa_test::Conversion;
using nexa_test::errors_of;
using nexa_test::LogCapture;
using nexa_test::text_of;
using nexa_test::traces_of;
using nexa_test::XmlTree;
using Texts = std::vector<std::string>;

constexpr char kUnit[] = "nexa_srv_rpc_msg_helpers/json2xml_name.cc: ";

class JsonName2Xml : public testing::Test {
 protected:
  // The first member of the object, bound to `node`.
  cJSON* member(const std::string& json, kestrel_cs_node* node) {
    cJSON* item = c.parse(json)->child;
    c.hash.bind(item, node);
    return item;
  }
  // Names the element that `xml` describes; the result replaces it.
  XmlTree name(cJSON* item, const std::string& xml = "<placeholder/>") {
    return XmlTree(ServiceRpcMsgHelpers::json_name2xml(
        c.token, item, nexa_test::parse_xml(xml).release(), &c.status, &c.hash, &c.mapper));
  }

  Conversion c;
};

TEST_F(JsonName2Xml, ReturnsTheElementItWasGiven) {
  xmlNodePtr element = xmlNewNode(nullptr, BAD_CAST "placeholder");
  const XmlTree named(ServiceRpcMsgHelpers::json_name2xml(c.token, member("{\"mtu\":1}", c.mtu),
                                                          element, &c.status, &c.hash, &c.mapper));
  EXPECT_EQ(named.get(), element);
  EXPECT_EQ(text_of(named), "<mtu/>");
  EXPECT_TRUE(c.status.ok());
}

TEST_F(JsonName2Xml, AnElementOfADocumentIsNamedThere) {
  const std::unique_ptr<xmlDoc, void (*)(xmlDocPtr)> doc(xmlNewDoc(BAD_CAST "1.0"), xmlFreeDoc);
  xmlNodePtr element = xmlNewDocNode(doc.get(), nullptr, BAD_CAST "placeholder", nullptr);
  xmlDocSetRootElement(doc.get(), element);
  EXPECT_EQ(ServiceRpcMsgHelpers::json_name2xml(c.token, member("{\"mtu\":1}", c.mtu), element,
                                                &c.status, &c.hash, &c.mapper),
            element);
  EXPECT_STREQ(reinterpret_cast<const char*>(element->name), "mtu");
  EXPECT_EQ(element->doc, doc.get());
}

TEST_F(JsonName2Xml, TheEntriesOfAnArrayKeepTheirNamesWhenTheSchemaNodeHasNone) {
  cJSON* item = member("{\"ietf-interfaces:alias\":[\"a\"]}", c.alias);
  c.schema.forget("alias");
  EXPECT_EQ(text_of(name(item, "<x><y/></x>")), "<alias xmlns=\"urn:if\"><y/></alias>");
}

TEST_F(JsonName2Xml, ABareNameGetsNoNamespace) {
  EXPECT_EQ(text_of(name(member("{\"mtu\":1}", c.mtu))), "<mtu/>");
}

TEST_F(JsonName2Xml, AModuleNameBecomesTheNamespace) {
  EXPECT_EQ(text_of(name(member("{\"ietf-ip:ipv4\":{}}", c.ipv4))), "<ipv4 xmlns=\"urn:ip\"/>");
}

TEST_F(JsonName2Xml, AnUnknownModuleGivesNoNamespace) {
  LogCapture log;
  EXPECT_EQ(text_of(name(member("{\"nowhere:mtu\":1}", c.mtu))), "<mtu/>");
  EXPECT_EQ(errors_of(log), Texts{});
  EXPECT_TRUE(c.status.ok());
}

TEST_F(JsonName2Xml, APlainNameIsNotLookedUpByPrefix) {
  EXPECT_EQ(text_of(name(member("{\"if:mtu\":1}", c.mtu))), "<mtu/>");
}

TEST_F(JsonName2Xml, AnIdentityrefIsNamedThroughItsInternalName) {
  EXPECT_EQ(text_of(name(member("{\"ietf-interfaces:type\":\"x\"}", c.type))),
            "<type xmlns=\"urn:if\"/>");
  EXPECT_EQ(text_of(name(member("{\"type\":\"x\"}", c.type))), "<type/>");
}

TEST_F(JsonName2Xml, AnIdentityrefOfAnUnknownModuleKeepsItsLocalName) {
  EXPECT_EQ(text_of(name(member("{\"nowhere:type\":\"x\"}", c.type))), "<type/>");
  EXPECT_TRUE(c.status.ok());
}

TEST_F(JsonName2Xml, TheNamespaceComesAfterWhatTheElementHas) {
  EXPECT_EQ(text_of(name(member("{\"ietf-interfaces:mtu\":1}", c.mtu), "<x a=\"1\"/>")),
            "<mtu a=\"1\" xmlns=\"urn:if\"/>");
}

TEST_F(JsonName2Xml, OnlyTheFirstColonSplits) {
  EXPECT_EQ(text_of(name(member("{\"ietf-ip:a:b\":1}", c.mtu))), "<a:b xmlns=\"urn:ip\"/>");
}

TEST_F(JsonName2Xml, ABareValueTakesTheNameOfItsSchemaNode) {
  EXPECT_EQ(text_of(name(c.bound("1500", c.mtu))), "<mtu/>");
  EXPECT_EQ(text_of(name(c.bound("{}", c.ipv4))), "<ipv4/>");
}

TEST_F(JsonName2Xml, ABareValueWithoutSchemaNameFails) {
  cJSON* item = c.bound("1500", c.mtu);
  c.schema.forget("mtu");
  LogCapture log;
  EXPECT_EQ(name(item), nullptr);
  EXPECT_EQ(c.verdict(), "13: Internal error at #");
  EXPECT_EQ(errors_of(log),
            (Texts{std::string(kUnit) +
                   "in json_name2xml at # Unable to retrieve cs_node name at tip of path"}));
}

TEST_F(JsonName2Xml, TheEntriesOfAnArrayTakeTheListsName) {
  cJSON* item = member("{\"ietf-interfaces:interface\":[1,2]}", c.entry);
  EXPECT_EQ(text_of(name(item, "<x><a/>text<b><c/></b></x>")),
            "<interface xmlns=\"urn:if\"><interface/>text<interface><c/></interface></interface>");
}

TEST_F(JsonName2Xml, TheChildrenOfAnObjectKeepTheirNames) {
  EXPECT_EQ(text_of(name(member("{\"ipv4\":{}}", c.ipv4), "<x><a/></x>")), "<ipv4><a/></ipv4>");
}

TEST_F(JsonName2Xml, ABareArrayTakesTheListsNameThroughout) {
  EXPECT_EQ(text_of(name(c.bound("[1]", c.alias), "<x><a/></x>")), "<alias><alias/></alias>");
}

TEST_F(JsonName2Xml, AnUnboundMemberFailsAndFreesTheElement) {
  cJSON* item = c.parse("{\"mtu\":1}")->child;
  LogCapture log;
  // A leak of the element would show under the sanitizers.
  EXPECT_EQ(name(item, "<x><y/></x>"), nullptr);
  EXPECT_EQ(c.verdict(), "13: Failed to find parent schema  for json mtuat #");
  EXPECT_EQ(errors_of(log),
            (Texts{std::string(kUnit) +
                   "in json_name2xml at # Failed to get cjson_csnode forcjson node 0x#"}));
  EXPECT_TRUE(c.hash.contains(item));
}

TEST_F(JsonName2Xml, AnUnboundBareValueFailsWithoutAName) {
  EXPECT_EQ(name(c.parse("1")), nullptr);
  EXPECT_EQ(c.verdict(), "13: Failed to find parent schema  for json at #");
}

TEST_F(JsonName2Xml, ABindingWithoutSchemaNodeFails) {
  EXPECT_EQ(name(member("{\"mtu\":1}", nullptr)), nullptr);
  EXPECT_EQ(c.verdict(), "13: Failed to find parent schema  for json mtuat #");
}

TEST_F(JsonName2Xml, ANameThatCannotBeCopiedFails) {
  const std::string too_long(32768, 'a');
  cJSON* item = member("{\"m:" + too_long + "\":1}", c.mtu);
  LogCapture log;
  EXPECT_EQ(name(item), nullptr);
  EXPECT_EQ(c.verdict(), "13: Failed copy at #");
  EXPECT_EQ(errors_of(log),
            (Texts{std::string(kUnit) +
                   "Error occurred while copying string during conversion of JSON to XML"}));
}

TEST_F(JsonName2Xml, ANameThatCannotBeCopiedFailsAlsoWhereTheSchemaHasIt) {
  const std::string longest(32767, 'a');
  const std::string too_long(32768, 'a');
  for (const gpr_log_severity level : {GPR_LOG_SEVERITY_DEBUG, GPR_LOG_SEVERITY_ERROR}) {
    LogCapture log(level);
    cJSON* fits = member("{\"" + longest + "\":1}", c.entry.leaf(longest));
    EXPECT_NE(c.convert(&ServiceRpcMsgHelpers::json_number2xml, fits), nullptr);
    cJSON* item = member("{\"" + too_long + "\":1}", c.entry.leaf(too_long));
    EXPECT_EQ(c.convert(&ServiceRpcMsgHelpers::json_number2xml, item), nullptr);
    EXPECT_EQ(c.verdict(), "13: Failed copy at #");
    EXPECT_EQ(errors_of(log),
              (Texts{std::string(kUnit) +
                     "Error occurred while copying string during conversion of JSON to XML"}));
    item = member("{\"" + too_long + "\":{}}", c.entry.container(too_long));
    EXPECT_EQ(c.convert(&ServiceRpcMsgHelpers::json_object2xml, item), nullptr);
    EXPECT_EQ(c.verdict(), "13: Failed copy at #");
  }
}

TEST_F(JsonName2Xml, AnIdentityrefsNameThatCannotBeCopiedFails) {
  const std::string too_long(32768, 'a');
  EXPECT_EQ(name(member("{\"" + too_long + "\":1}", c.type)), nullptr);
  EXPECT_EQ(c.verdict(), "13: Failed copy at #");
}

TEST_F(JsonName2Xml, AListNameThatCannotBeCopiedFails) {
  const nexa_test::FakeNode list = c.entry.list(std::string(32768, 'a'), {});
  cJSON* item = member("{\"x\":[1]}", list);
  LogCapture log;
  EXPECT_EQ(name(item, "<x><y/></x>"), nullptr);
  EXPECT_EQ(c.verdict(), "13: Failed copy at #");
  EXPECT_EQ(errors_of(log),
            (Texts{std::string(kUnit) +
                   "Error occurred while copying string during conversion of array element Tag to "
                   "XML"}));
}

TEST_F(JsonName2Xml, TracesAPlainName) {
  cJSON* item = member("{\"ietf-interfaces:mtu\":1}", c.mtu);
  LogCapture log;
  const XmlTree element = name(item);
  EXPECT_EQ(
      traces_of(log),
      (Texts{std::string(kUnit) + "in json_name2xml at #, cjson_root->string ietf-interfaces:mtu "
                                  "cjson_root->type 8 xml_root->name placeholder parent tag mtu",
             std::string(kUnit) + "in json_name2xml at # root->string != NULL ",
             std::string(kUnit) + "in json_name2xml at # NOT identityref",
             std::string(kUnit) +
                 "in json_name2xml at # the cjson->type cJSON_Number cjson->string "
                 "ietf-interfaces:mtu ==> xml_name mtu"}));
}

TEST_F(JsonName2Xml, TracesAnIdentityref) {
  cJSON* item = member("{\"type\":\"x\"}", c.type);
  LogCapture log;
  const XmlTree element = name(item);
  const Texts traces = traces_of(log);
  ASSERT_EQ(traces.size(), 4u);
  EXPECT_EQ(traces[2], std::string(kUnit) + "in json_name2xml at # identityref");
}

TEST_F(JsonName2Xml, TracesABareArray) {
  cJSON* item = c.bound("[1,2]", c.alias);
  LogCapture log;
  const XmlTree element = name(item, "<x><a/><b/></x>");
  EXPECT_EQ(traces_of(log),
            (Texts{std::string(kUnit) +
                       "in json_name2xml at #, cjson_root->string (null) cjson_root->type 32 "
                       "xml_root->name x parent tag alias",
                   std::string(kUnit) +
                       "in json_name2xml at # processing array name (null) adding tag  alias to "
                       "all children",
                   std::string(kUnit) + "in json_name2xml at # adding tag array ele",
                   std::string(kUnit) + "in json_name2xml at # adding tag array ele",
                   std::string(kUnit) +
                       "in json_name2xml at # copying name of tip of path: alias to leaf value "
                       "xml element",
                   std::string(kUnit) +
                       "in json_name2xml at # the cjson->type cJSON_Array cjson->string (null) "
                       "==> xml_name alias"}));
}

}  // namespace json2xml_name_test
