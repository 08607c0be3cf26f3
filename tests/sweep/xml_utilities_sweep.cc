// XML utilities, each allocation failing once.
#include "nexa/nexa_srv_rpc_msg_helpers.h"
#include "sweep/sweep.h"

namespace xml_utilities_sweep {

using nexa::ServiceRpcMsgHelpers;
using nexa_test::AllocationKind;
using nexa_test::Outcome;
using nexa_test::run_failing;
using nexa_test::show;
using nexa_test::text_of;
using nexa_test::XmlString;
using nexa_test::XmlTree;
using Texts = std::vector<std::string>;

std::string build_node(xmlElementType type) {
  const std::string name = "mtu";
  const XmlTree node(ServiceRpcMsgHelpers::build_xml_node(name, type));
  return node == nullptr ? "null" : "built";
}
std::string build_element() { return build_node(XML_ELEMENT_NODE); }
std::string build_text() { return build_node(XML_TEXT_NODE); }

std::string build_element_and_value() {
  std::string name = "mtu";
  std::string value = "1500";
  const XmlTree node(ServiceRpcMsgHelpers::build_xml_node_and_value(name, value));
  return node == nullptr ? "null" : "built";
}

// Runs with the n-th failing and expects null and these errors.
void expect_null(const std::function<std::string()>& run, AllocationKind kind, int n,
                 const Texts& errors) {
  const Outcome outcome = run_failing(kind, n, run);
  EXPECT_TRUE(outcome.fired) << n;
  EXPECT_EQ(outcome.result, "null") << n;
  EXPECT_EQ(outcome.errors, errors) << n;
}

constexpr char kNodeNoMemory[] =
    "Error occurred while building XML node from string. Freeing all previously allocated content "
    "and returning early";
constexpr char kNodeCopy[] = "Error occurred while copying string during creation of XML node.";
constexpr char kFailedNode[] = "in build_xml_node_and_value at # Failed build_xml_node";

TEST(XmlUtilitiesSweep, BuildXmlNodeElement) {
  expect_null(build_element, AllocationKind::kBuffer, 1, {kNodeNoMemory});
  expect_null(build_element, AllocationKind::kCopy, 1, {kNodeCopy});
  // The element, and libxml2's own copy of its name.
  for (int n = 1; n <= 2; ++n) {
    expect_null(build_element, AllocationKind::kXml, n,
                {"in build_xml_node at # Failed xmlNewNode"});
  }
  EXPECT_FALSE(run_failing(AllocationKind::kXml, 3, build_element).fired);
}

TEST(XmlUtilitiesSweep, BuildXmlNodeText) {
  expect_null(build_text, AllocationKind::kBuffer, 1, {kNodeNoMemory});
  expect_null(build_text, AllocationKind::kCopy, 1, {kNodeCopy});
  for (int n = 1; n <= 2; ++n) {
    expect_null(build_text, AllocationKind::kXml, n, {"in build_xml_node at # Failed xmlNewText"});
  }
  EXPECT_FALSE(run_failing(AllocationKind::kXml, 3, build_text).fired);
}

TEST(XmlUtilitiesSweep, BuildXmlNodeAndValue) {
  expect_null(build_element_and_value, AllocationKind::kBuffer, 1, {kNodeNoMemory, kFailedNode});
  expect_null(build_element_and_value, AllocationKind::kBuffer, 2, {kFailedNode});
  expect_null(build_element_and_value, AllocationKind::kCopy, 1, {kNodeCopy, kFailedNode});
  expect_null(build_element_and_value, AllocationKind::kCopy, 2,
              {"in build_xml_node_and_value at # Error occurred while copying string during during "
               "generation of XML"});
  for (int n = 3; n <= 4; ++n) {
    expect_null(build_element_and_value, AllocationKind::kXml, n,
                {"in build_xml_node_and_value at # memory exhaustion while generating xml node"});
  }
  EXPECT_FALSE(run_failing(AllocationKind::kXml, 5, build_element_and_value).fired);
}

TEST(XmlUtilitiesSweep, AddXmlAttribute) {
  const auto run = [] {
    const std::string name = "xmlns";
    const std::string value = "urn:a";
    const XmlTree node(xmlNewNode(nullptr, BAD_CAST "a"));
    if (node == nullptr || node->name == nullptr) return std::string("no node");
    ServiceRpcMsgHelpers::add_xml_attribute(node.get(), name, value);
    return std::string(node->properties == nullptr ? "null" : "added");
  };
  constexpr char kNoMemory[] =
      "Failed to allocate memory for XML attribute creation. Returning without creating attribute";
  constexpr char kCopy[] = "Error occurred while copying string during creation of XML attribute.";
  for (int n = 1; n <= 2; ++n) {
    expect_null(run, AllocationKind::kBuffer, n, {kNoMemory});
    expect_null(run, AllocationKind::kCopy, n, {kCopy});
  }
  // The attribute, its name, the text node of its value, the value.
  for (int n = 3; n <= 6; ++n) {
    expect_null(run, AllocationKind::kXml, n, {"in add_xml_attribute at # Failed xmlNewProp"});
  }
  EXPECT_FALSE(run_failing(AllocationKind::kXml, 7, run).fired);
}

int remaining_of_text = 0;

// A tree that belongs to the test until build_xml_str takes it.
std::string build_string() {
  XmlTree root(xmlNewNode(nullptr, BAD_CAST "interfaces"));
  if (root == nullptr || root->name == nullptr) return "no tree";
  const XmlString text(ServiceRpcMsgHelpers::build_xml_str(root.get()));
  // Early failures leave the tree to the caller; then it is in no document.
  if (text != nullptr) static_cast<void>(root.release());
  return show(text);
}

TEST(XmlUtilitiesSweep, BuildXmlStrLeavesTheTreeAfterAnEarlyFailure) {
  constexpr char kNoMemory[] =
      "Unable to allocate memory while building string from XML node. Freeing all allocated "
      "content "
      "and returning early";
  expect_null(build_string, AllocationKind::kBuffer, 1, {kNoMemory});
  expect_null(build_string, AllocationKind::kCopy, 1,
              {"Error occurred while copying string during construction of string from XML node"});
  // After the two of the tree: the name, then the document and its version.
  expect_null(build_string, AllocationKind::kXml, 3, {kNoMemory});
  for (int n = 4; n <= 5; ++n) {
    expect_null(build_string, AllocationKind::kXml, n, {"in build_xml_str at # failed xmlNewDoc"});
  }
}

TEST(XmlUtilitiesSweep, BuildXmlStrGivesTheWholeTextOrLeavesTheTree) {
  const std::string whole = run_failing(AllocationKind::kXml, 0, build_string).result;
  EXPECT_EQ(whole, "<?xml version=\"1.0\"?>\n<config/>\n");
  const int count = sweep(AllocationKind::kXml, build_string, [&](int n, const Outcome& outcome) {
    // One that libxml2 can do without costs nothing.
    EXPECT_TRUE(outcome.result == "no tree" || outcome.result == "null" || outcome.result == whole)
        << n << outcome.result;
  });
  EXPECT_GT(count, 5);
}

// Fails each allocation of the text of 2,000 elements that hold `content`, and returns how many
// there are.
int sweep_large_text(AllocationKind kind, const std::string& content) {
  std::string xml = "<a>";
  for (int i = 0; i < 2000; ++i) xml += "<entry x=\"1\">" + content + "</entry>";
  const XmlTree tree = nexa_test::parse_xml(xml + "</a>");
  EXPECT_NE(tree, nullptr);
  const auto run = [&] {
    // Far down, so that the sweep is about the text and not about a copy of the tree.
    XmlTree taken(xmlDocCopyNode(tree.get(), nullptr, 1));
    if (taken == nullptr) return std::string("no tree");
    const nexa_test::FailingAllocator::Armed rearmed(kind, remaining_of_text);
    const XmlString text(ServiceRpcMsgHelpers::build_xml_str(taken.get()));
    if (text != nullptr) static_cast<void>(taken.release());
    return show(text);
  };
  const std::string whole = run_failing(kind, 0, run).result;
  EXPECT_GT(whole.size(), xml.size());
  for (remaining_of_text = 1;; ++remaining_of_text) {
    const std::string result = run_failing(kind, 0, run).result;
    if (result == whole) break;
    EXPECT_EQ(result, "null") << remaining_of_text;
  }
  return std::exchange(remaining_of_text, 0) - 1;
}

TEST(XmlUtilitiesSweep, BuildXmlStrOfALargeTreeIsNeverCutShort) {
  // The name, the document with its version, the text.
  EXPECT_EQ(sweep_large_text(AllocationKind::kXml, "&lt;text&gt;"), 4);
  EXPECT_GT(sweep_large_text(AllocationKind::kNew, "&lt;text&gt;"), 4);
  // Written by libxml2.
  EXPECT_GT(sweep_large_text(AllocationKind::kXml, "&lt;t\u00e9xt&gt;"), 8);
}

TEST(XmlUtilitiesSweep, LogXmlTreeLeavesNothingBehind) {
  const XmlTree tree = nexa_test::parse_xml("<a x=\"1\"><b>text</b></a>");
  const auto run = [&tree] {
    gpr_set_log_verbosity(GPR_LOG_SEVERITY_DEBUG);
    ServiceRpcMsgHelpers::logXmlTree(tree.get());
    gpr_set_log_verbosity(GPR_LOG_SEVERITY_ERROR);
    return show(tree);
  };
  int failed_docs = 0;
  sweep(AllocationKind::kXml, run, [&](int n, const Outcome& outcome) {
    for (const std::string& error : outcome.errors) {
      if (error == "in logXmlTree at #, failed xmlNewDoc") ++failed_docs;
    }
    EXPECT_LE(outcome.errors.size(), 1u) << n;
  });
  EXPECT_EQ(failed_docs, 2);
}

}  // namespace xml_utilities_sweep
