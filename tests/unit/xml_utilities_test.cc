// XML nodes, attributes, serialised documents and tree logs.
#include "nexa/nexa_srv_rpc_msg_helpers.h"
#include "support/unit_test.h"
#include "support/xml_trees.h"

namespace xml_utilities_test {

using nexa::ServiceRpcMsgHelpers;
using nexa_test::errors_of;
using nexa_test::LogCapture;
using nexa_test::parse_xml;
using nexa_test::text_of;
using nexa_test::traces_of;
using nexa_test::XmlString;
using nexa_test::XmlTree;
using Texts = std::vector<std::string>;

// The longest text that the bounded copy takes, and one more.
const std::string kLongest(32767, 'a');
const std::string kTooLong(32768, 'a');

constexpr char kUnit[] = "nexa_srv_rpc_msg_helpers/xml_utilities.cc: ";

XmlTree build(const std::string& name, const std::string& value) {
  std::string name_copy = name;
  std::string value_copy = value;
  return XmlTree(ServiceRpcMsgHelpers::build_xml_node_and_value(name_copy, value_copy));
}

TEST(BuildXmlNode, MakesAnElementWithoutNamespace) {
  LogCapture log;
  const XmlTree node(ServiceRpcMsgHelpers::build_xml_node("mtu", XML_ELEMENT_NODE));
  ASSERT_NE(node, nullptr);
  EXPECT_EQ(node->type, XML_ELEMENT_NODE);
  EXPECT_EQ(node->ns, nullptr);
  EXPECT_EQ(text_of(node), "<mtu/>");
  EXPECT_EQ(log.take_texts(), Texts{});
}

TEST(BuildXmlNode, MakesATextNode) {
  LogCapture log;
  const XmlTree node(ServiceRpcMsgHelpers::build_xml_node("a < b", XML_TEXT_NODE));
  ASSERT_NE(node, nullptr);
  EXPECT_EQ(node->type, XML_TEXT_NODE);
  EXPECT_EQ(text_of(node->content), "a < b");
  EXPECT_EQ(log.take_texts(), Texts{});
}

TEST(BuildXmlNode, ReturnsNullForAnyOtherTypeAndLogsNothing) {
  LogCapture log;
  EXPECT_EQ(ServiceRpcMsgHelpers::build_xml_node("a", XML_ATTRIBUTE_NODE), nullptr);
  EXPECT_EQ(ServiceRpcMsgHelpers::build_xml_node("a", XML_CDATA_SECTION_NODE), nullptr);
  EXPECT_EQ(ServiceRpcMsgHelpers::build_xml_node("a", static_cast<xmlElementType>(0)), nullptr);
  EXPECT_EQ(log.take_texts(), Texts{});
}

TEST(BuildXmlNode, CopiesUpTo32767Bytes) {
  const XmlTree element(ServiceRpcMsgHelpers::build_xml_node(kLongest, XML_ELEMENT_NODE));
  ASSERT_NE(element, nullptr);
  EXPECT_EQ(text_of(element->name), kLongest);
  const XmlTree text(ServiceRpcMsgHelpers::build_xml_node(kLongest, XML_TEXT_NODE));
  ASSERT_NE(text, nullptr);
  EXPECT_EQ(text_of(text->content), kLongest);
}

TEST(BuildXmlNode, ReportsACopyThatIsRefused) {
  LogCapture log;
  EXPECT_EQ(ServiceRpcMsgHelpers::build_xml_node(kTooLong, XML_ELEMENT_NODE), nullptr);
  EXPECT_EQ(ServiceRpcMsgHelpers::build_xml_node(kTooLong, XML_TEXT_NODE), nullptr);
  const std::string line =
      std::string(kUnit) + "Error occurred while copying string during creation of XML node.";
  EXPECT_EQ(errors_of(log), (Texts{line, line}));
}

TEST(BuildXmlNode, MakesNodesOfEmptyTexts) {
  const XmlTree text(ServiceRpcMsgHelpers::build_xml_node("", XML_TEXT_NODE));
  ASSERT_NE(text, nullptr);
  EXPECT_EQ(text_of(text->content), "");
}

TEST(BuildXmlNodeAndValue, MakesAnElementWithOneTextChild) {
  LogCapture log;
  const XmlTree node = build("mtu", "1500");
  ASSERT_NE(node, nullptr);
  EXPECT_EQ(text_of(node), "<mtu>1500</mtu>");
  ASSERT_NE(node->children, nullptr);
  EXPECT_EQ(node->children->type, XML_TEXT_NODE);
  EXPECT_EQ(node->children->next, nullptr);
  EXPECT_EQ(log.take_texts(), Texts{});
}

TEST(BuildXmlNodeAndValue, LeavesItsArgumentsAlone) {
  std::string name = "a";
  std::string value = "b";
  const XmlTree node(ServiceRpcMsgHelpers::build_xml_node_and_value(name, value));
  EXPECT_EQ(name, "a");
  EXPECT_EQ(value, "b");
}

TEST(BuildXmlNodeAndValue, ReportsANameThatCannotBeCopied) {
  LogCapture log;
  EXPECT_EQ(build(kTooLong, "1500"), nullptr);
  EXPECT_EQ(errors_of(log),
            (Texts{std::string(kUnit) +
                       "Error occurred while copying string during creation of XML node.",
                   std::string(kUnit) + "in build_xml_node_and_value at # Failed build_xml_node"}));
}

TEST(BuildXmlNodeAndValue, ReportsAValueThatCannotBeCopied) {
  LogCapture log;
  EXPECT_EQ(build("mtu", kTooLong), nullptr);
  EXPECT_EQ(errors_of(log),
            (Texts{std::string(kUnit) +
                   "in build_xml_node_and_value at # Error occurred while copying string during "
                   "during generation of XML"}));
}

TEST(AddXmlAttribute, AddsNamespaceDeclarationsAsOrdinaryAttributes) {
  LogCapture log;
  const XmlTree node(ServiceRpcMsgHelpers::build_xml_node("type", XML_ELEMENT_NODE));
  ServiceRpcMsgHelpers::add_xml_attribute(node.get(), "xmlns", "urn:a");
  ServiceRpcMsgHelpers::add_xml_attribute(node.get(), "xmlns:b", "urn:b");
  EXPECT_EQ(text_of(node), "<type xmlns=\"urn:a\" xmlns:b=\"urn:b\"/>");
  EXPECT_EQ(node->nsDef, nullptr);
  EXPECT_EQ(log.take_texts(), Texts{});
}

TEST(AddXmlAttribute, AddsAnEmptyValue) {
  LogCapture log;
  const XmlTree node(ServiceRpcMsgHelpers::build_xml_node("a", XML_ELEMENT_NODE));
  ServiceRpcMsgHelpers::add_xml_attribute(node.get(), "id", "");
  EXPECT_EQ(text_of(node), "<a id=\"\"/>");
  EXPECT_EQ(log.take_texts(), Texts{});
}

TEST(AddXmlAttribute, ReportsANameThatCannotBeCopied) {
  LogCapture log;
  const XmlTree node(ServiceRpcMsgHelpers::build_xml_node("a", XML_ELEMENT_NODE));
  ServiceRpcMsgHelpers::add_xml_attribute(node.get(), kTooLong, "v");
  EXPECT_EQ(text_of(node), "<a/>");
  EXPECT_EQ(errors_of(log),
            (Texts{std::string(kUnit) +
                   "Error occurred while copying string during creation of XML attribute."}));
}

TEST(AddXmlAttribute, ReportsAValueThatCannotBeCopied) {
  LogCapture log;
  const XmlTree node(ServiceRpcMsgHelpers::build_xml_node("a", XML_ELEMENT_NODE));
  ServiceRpcMsgHelpers::add_xml_attribute(node.get(), "id", kTooLong);
  EXPECT_EQ(text_of(node), "<a/>");
  EXPECT_EQ(errors_of(log),
            (Texts{std::string(kUnit) +
                   "Error occurred while copying string during creation of XML attribute."}));
}

TEST(AddXmlAttribute, ReportsANodeThatTakesNoAttributes) {
  LogCapture log;
  const XmlTree text(ServiceRpcMsgHelpers::build_xml_node("a", XML_TEXT_NODE));
  ServiceRpcMsgHelpers::add_xml_attribute(text.get(), "id", "1");
  EXPECT_EQ(errors_of(log),
            (Texts{std::string(kUnit) + "in add_xml_attribute at # Failed xmlNewProp"}));
}

TEST(BuildXmlStr, SerialisesUnderConfigAndConsumesTheTree) {
  XmlTree root = parse_xml("<interfaces xmlns=\"urn:if\"><mtu>1500</mtu></interfaces>");
  // The tree is gone afterwards: a leak or a second release would show under the sanitizers.
  const XmlString text(ServiceRpcMsgHelpers::build_xml_str(root.release()));
  EXPECT_EQ(text_of(text),
            "<?xml version=\"1.0\"?>\n<config xmlns=\"urn:if\"><mtu>1500</mtu></config>\n");
}

TEST(BuildXmlStr, AddsNoNamespaceOfItsOwn) {
  XmlTree root(ServiceRpcMsgHelpers::build_xml_node("interfaces", XML_ELEMENT_NODE));
  const XmlString text(ServiceRpcMsgHelpers::build_xml_str(root.release()));
  EXPECT_EQ(text_of(text), "<?xml version=\"1.0\"?>\n<config/>\n");
}

TEST(BuildXmlStr, TracesTheNamespaceAndTheText) {
  LogCapture log;
  XmlTree root(ServiceRpcMsgHelpers::build_xml_node("a", XML_ELEMENT_NODE));
  const XmlString text(ServiceRpcMsgHelpers::build_xml_str(root.release()));
  const Texts traces = traces_of(log);
  ASSERT_EQ(traces.size(), 3u);
  EXPECT_NE(traces[0].find("urn:nexa:params:xml:ns:config:1.0"), std::string::npos);
  EXPECT_EQ(traces[1].substr(traces[1].find(": ") + 2),
            "<?xml version=\"1.0\"?>\n<config/>\n");  // the XML log's own line
  EXPECT_EQ(traces[2], std::string(kUnit) +
                           "build_xml_str --> exit XML STRING: <?xml version=\"1.0\"?>\n"
                           "<config/>\n");
}

TEST(LogXmlTree, LogsADocumentOfTheTreeAndLeavesItAlone) {
  LogCapture log;
  const XmlTree root = parse_xml("<a><b>1</b></a>");
  ServiceRpcMsgHelpers::logXmlTree(root->children);
  const Texts traces = traces_of(log);
  ASSERT_EQ(traces.size(), 1u);
  EXPECT_EQ(traces[0].substr(traces[0].find(": ") + 2), "<?xml version=\"1.0\"?>\n<b>1</b>\n");
  EXPECT_EQ(text_of(root), "<a><b>1</b></a>");
}

TEST(LogXmlTree, LogsNothingWithoutDebug) {
  LogCapture log(GPR_LOG_SEVERITY_INFO);
  const XmlTree root = parse_xml("<a/>");
  ServiceRpcMsgHelpers::logXmlTree(root.get());
  EXPECT_EQ(log.take_texts(), Texts{});
}

}  // namespace xml_utilities_test
