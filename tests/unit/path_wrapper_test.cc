// The XML of the request path.
#include "nexa/nexa_srv_rpc_msg_helpers.h"
#include "support/conversion.h"
#include "support/unit_test.h"
#include "support/xml_trees.h"

namespace path_wrapper_test {

using nexa::KestrelPath;
using nexa::ServiceRpcMsgHelpers;
using nexa_test::Conversion;
using nexa_test::errors_of;
using nexa_test::LogCapture;
using nexa_test::text_of;
using nexa_test::traces_of;
using nexa_test::XmlTree;
using Texts = std::vector<std::string>;

constexpr char kUnit[] = "nexa_srv_rpc_msg_helpers/path_wrapper.cc: ";

class PathWrapper : public testing::Test {
 protected:
  // Adds an element to the path.
  gnmi::PathElem& add(const std::string& name) {
    gnmi::PathElem* elem = path.add_elem();
    elem->set_name(name);
    return *elem;
  }
  XmlTree build() {
    KestrelPath kestrel_path(path, "");
    kestrel_path.path2cs_nodes();
    XmlTree top(ServiceRpcMsgHelpers::build_xml_parent_wrapper(&path, &attach_point, &kestrel_path,
                                                               &c.mapper));
    namespaces = kestrel_path.value_root_namespaces_;
    return top;
  }

  Conversion c;
  gnmi::Path path;
  xmlNodePtr attach_point = nullptr;
  Texts namespaces;
};

TEST_F(PathWrapper, ANullAttachPointStopsTheProcess) {
  EXPECT_DEATH(ServiceRpcMsgHelpers::build_xml_parent_wrapper(&path, nullptr, nullptr, &c.mapper),
               "attach_point != NULL");
}

TEST_F(PathWrapper, ANullMapperStopsTheProcess) {
  EXPECT_DEATH(
      ServiceRpcMsgHelpers::build_xml_parent_wrapper(&path, &attach_point, nullptr, nullptr),
      "mapperIntf != NULL");
}

TEST_F(PathWrapper, AnEmptyPathGivesNull) {
  LogCapture log;
  EXPECT_EQ(build(), nullptr);
  EXPECT_EQ(attach_point, nullptr);
  EXPECT_EQ(errors_of(log), Texts{});
}

TEST_F(PathWrapper, OneElementForEachPathElement) {
  add("if:interfaces");
  add("interface");
  add("mtu");
  const XmlTree top = build();
  EXPECT_EQ(text_of(top),
            "<interfaces xmlns=\"urn:if\"><interface><mtu/></interface></interfaces>");
  EXPECT_EQ(text_of(attach_point->name), "mtu");
}

TEST_F(PathWrapper, OnlyPrefixedElementsDeclareANamespaceAndKeysComeFirst) {
  add("if:a");
  (*add("b").mutable_key())["k"] = "1";
  add("c");
  const XmlTree top = build();
  EXPECT_EQ(text_of(top), "<a xmlns=\"urn:if\"><b><k>1</k><c/></b></a>");
}

TEST_F(PathWrapper, AnUnknownPrefixDeclaresNothing) {
  add("nowhere:a");
  const XmlTree top = build();
  EXPECT_EQ(text_of(top), "<a/>");
  EXPECT_EQ(namespaces, Texts{});
}

TEST_F(PathWrapper, TheNamespaceOfTheLastElementIsSaved) {
  add("if:interfaces");
  EXPECT_EQ(text_of(build()), "<interfaces xmlns=\"urn:if\"/>");
  EXPECT_EQ(namespaces, Texts{"urn:if"});
}

TEST_F(PathWrapper, NoOtherNamespaceIsSaved) {
  add("if:interfaces");
  add("interface");
  EXPECT_NE(build(), nullptr);
  EXPECT_EQ(namespaces, Texts{});
}

TEST_F(PathWrapper, AKeyWithAPrefixDeclaresItsNamespace) {
  add("if:interfaces");
  (*add("interface").mutable_key())["ip:name"] = "eth0";
  EXPECT_EQ(text_of(build()),
            "<interfaces xmlns=\"urn:if\"><interface><name xmlns=\"urn:ip\">eth0</name></interface>"
            "</interfaces>");
}

TEST_F(PathWrapper, AKeyWithAnUnknownPrefixDeclaresNothing) {
  (*add("if:interfaces").mutable_key())["nowhere:name"] = "eth0";
  EXPECT_EQ(text_of(build()), "<interfaces xmlns=\"urn:if\"><name>eth0</name></interfaces>");
}

TEST_F(PathWrapper, AKeyValueWithAKnownPrefixKeepsItAndDeclaresIt) {
  (*add("if:interfaces").mutable_key())["type"] = "ianaift:tunnel";
  EXPECT_EQ(text_of(build()),
            "<interfaces xmlns=\"urn:if\"><type xmlns:ianaift=\"urn:ianaift\">ianaift:tunnel</type>"
            "</interfaces>");
}

TEST_F(PathWrapper, AKeyValueWithAnUnknownPrefixStays) {
  (*add("if:interfaces").mutable_key())["name"] = "fe80::1";
  EXPECT_EQ(text_of(build()), "<interfaces xmlns=\"urn:if\"><name>fe80::1</name></interfaces>");
}

TEST_F(PathWrapper, EveryKeyOfAnElementStandsBelowIt) {
  gnmi::PathElem& element = add("if:interfaces");
  (*element.mutable_key())["x"] = "1";
  (*element.mutable_key())["y"] = "2";
  add("z");
  std::string expected;
  for (const auto& [name, value] : element.key()) {
    expected += "<" + name + ">" + value + "</" + name + ">";
  }
  EXPECT_EQ(text_of(build()), "<interfaces xmlns=\"urn:if\">" + expected + "<z/></interfaces>");
}

TEST_F(PathWrapper, TheWrapperGoesBelowTheNodeAtTheAttachPoint) {
  const XmlTree outer = nexa_test::parse_xml("<edit><first/></edit>");
  attach_point = outer.get();
  add("if:interfaces");
  add("interface");
  KestrelPath kestrel_path(path, "");
  xmlNodePtr top = ServiceRpcMsgHelpers::build_xml_parent_wrapper(&path, &attach_point,
                                                                  &kestrel_path, &c.mapper);
  EXPECT_EQ(text_of(outer),
            "<edit><first/><interfaces xmlns=\"urn:if\"><interface/></interfaces></edit>");
  EXPECT_EQ(text_of(top->name), "interfaces");
  EXPECT_EQ(text_of(attach_point->name), "interface");
}

TEST_F(PathWrapper, ANameThatCannotBeCopiedGivesNullAndLeavesTheAttachPoint) {
  const XmlTree outer = nexa_test::parse_xml("<edit/>");
  attach_point = outer.get();
  add("if:interfaces");
  add(std::string(32768, 'a'));
  LogCapture log;
  EXPECT_EQ(build(), nullptr);
  EXPECT_EQ(attach_point, outer.get());
  EXPECT_EQ(text_of(outer), "<edit/>");
  const Texts errors = errors_of(log);
  ASSERT_GE(errors.size(), 2u);
  EXPECT_EQ(errors[errors.size() - 2],
            "nexa_srv_rpc_msg_helpers/xml_utilities.cc: Error occurred while copying string during "
            "creation of XML node.");
  EXPECT_EQ(errors.back(),
            std::string(kUnit) + "in build_xml_parent_wrapper at # Failed build_xml_node");
}

TEST_F(PathWrapper, AKeyThatCannotBeCopiedGivesNull) {
  (*add("if:interfaces").mutable_key())["name"] = std::string(32768, 'a');
  EXPECT_EQ(build(), nullptr);
  EXPECT_EQ(attach_point, nullptr);
  path.mutable_elem(0)->clear_key();
  (*path.mutable_elem(0)->mutable_key())[std::string(32768, 'a')] = "1";
  EXPECT_EQ(build(), nullptr);
  EXPECT_EQ(attach_point, nullptr);
}

TEST_F(PathWrapper, TracesEachStep) {
  add("if:interfaces");
  (*add("interface").mutable_key())["name"] = "eth0";
  KestrelPath kestrel_path(path, "");
  ASSERT_TRUE(kestrel_path.path2cs_nodes());
  LogCapture log;
  const XmlTree top(ServiceRpcMsgHelpers::build_xml_parent_wrapper(&path, &attach_point,
                                                                   &kestrel_path, &c.mapper));
  const std::string in = "In build_xml_parent_wrapper at # ";
  Texts traces;
  for (const std::string& line : traces_of(log)) {
    if (line.compare(0, sizeof(kUnit) - 1, kUnit) == 0)
      traces.push_back(line.substr(sizeof(kUnit) - 1));
  }
  EXPECT_EQ(
      traces,
      (Texts{
          "build_xml_parent_wrapper --> enter",
          in + "path->elem(i).name() = if:interfaces, yangPrefix = if xpath_node interfaces",
          in + "yangPrefix IS NOT EMPTY, xmlns = urn:if",
          in + "adding xmlns urn:if xml_node->name interfaces",
          "in build_xml_parent_wrapper at # last xml_node from path xml_node->name interfaces",
          in + "path->elem(i).name() = interface, yangPrefix =  xpath_node interface",
          in + "yangPrefix IS EMPTY", in + "key_name name key_val eth0",
          "in build_xml_parent_wrapper at # last xml_node from path xml_node->name interface",
          in + "Last node in path has cs_node tag interface",
          in + "Last node interface in path is a LIST num possible keys 1 num instantiated keys 1",
          in + "XML WRAPPER", in + "xml attach node interface attach node address 0x#",
          "build_xml_parent_wrapper --> exit"}));
}

TEST_F(PathWrapper, TracesTheTreeFromItsTop) {
  add("if:interfaces");
  (*add("interface").mutable_key())["name"] = "eth0";
  LogCapture log;
  const XmlTree top = build();
  const Texts traces = traces_of(log);
  const auto at = [&](const std::string& part) {
    return std::find_if(
               traces.begin(), traces.end(),
               [&part](const std::string& line) { return line.find(part) != std::string::npos; }) -
           traces.begin();
  };
  const auto tree =
      at("<?xml version=\"1.0\"?>\n<interfaces xmlns=\"urn:if\"><interface><name>eth0</name>"
         "</interface></interfaces>\n");
  EXPECT_EQ(tree, at("XML WRAPPER") + 1);
  EXPECT_EQ(tree, at("xml attach node interface") - 1);
}

TEST_F(PathWrapper, WithoutAPrefixNothingIsLookedUp) {
  c.mapper.nsByYmpPrefix_[""] = "urn:nothing";
  add("interfaces");
  (*add("interface").mutable_key())["name"] = "eth0";
  EXPECT_EQ(text_of(build()), "<interfaces><interface><name>eth0</name></interface></interfaces>");
  EXPECT_EQ(namespaces, Texts{});
}

TEST_F(PathWrapper, TracesAnUnknownPrefixAndASavedNamespace) {
  add("nowhere:a");
  add("ip:b");
  LogCapture log;
  const XmlTree top = build();
  const Texts traces = traces_of(log);
  const auto count = [&traces](const std::string& text) {
    return std::count(traces.begin(), traces.end(), kUnit + text);
  };
  EXPECT_EQ(count("In build_xml_parent_wrapper at # for ymp = nowhere xmlns is EMPTY"), 1);
  EXPECT_EQ(count("In build_xml_parent_wrapper at # yangPrefix IS NOT EMPTY, xmlns = "), 1);
  EXPECT_EQ(
      count("In build_xml_parent_wrapper at # saving namespace urn:ip to add to xmlValueRoot"), 1);
}

TEST_F(PathWrapper, TracesALeafListAsAList) {
  add("if:interfaces");
  add("interface");
  add("alias");
  LogCapture log;
  const XmlTree top = build();
  const Texts traces = traces_of(log);
  EXPECT_EQ(std::count(traces.begin(), traces.end(),
                       std::string(kUnit) +
                           "In build_xml_parent_wrapper at # Last node alias in path is a LIST num "
                           "possible keys 0 num instantiated keys 0"),
            1);
}

}  // namespace path_wrapper_test
