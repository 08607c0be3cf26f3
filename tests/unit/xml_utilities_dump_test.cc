// The written form of a tree against libxml2's own writer, over trees of every kind of node.
#include <libxml/parserInternals.h>
#include <libxml/xmlsave.h>

#include <memory>
#include <random>

#include "nexa/nexa_srv_rpc_msg_helpers.h"
#include "support/unit_test.h"
#include "support/xml_trees.h"

namespace {

using nexa::ServiceRpcMsgHelpers;
using nexa_test::text_of;
using nexa_test::XmlString;

struct FreeDoc {
  void operator()(xmlDocPtr doc) const { xmlFreeDoc(doc); }
};
using XmlDoc = std::unique_ptr<xmlDoc, FreeDoc>;

const xmlChar* as_xml(const char* text) { return reinterpret_cast<const xmlChar*>(text); }

XmlDoc document(xmlNodePtr root) {
  XmlDoc doc(xmlNewDoc(as_xml("1.0")));
  xmlDocSetRootElement(doc.get(), root);
  return doc;
}

xmlNodePtr element(const char* name) { return xmlNewNode(nullptr, as_xml(name)); }

std::string written_by_libxml(xmlDocPtr doc) {
  xmlChar* text = nullptr;
  int length = 0;
  xmlDocDumpMemory(doc, &text, &length);
  const XmlString owner(text);
  return {reinterpret_cast<const char*>(text), static_cast<std::size_t>(length)};
}

// Takes the document's tree.
std::string written(xmlDocPtr doc) {
  xmlNodePtr root = xmlDocGetRootElement(doc);
  xmlUnlinkNode(root);
  xmlSetTreeDoc(root, nullptr);
  const XmlString text(ServiceRpcMsgHelpers::build_xml_str(root));
  return text_of(text.get());
}

class RandomTree {
 public:
  explicit RandomTree(std::uint32_t seed) : random_(seed) {}

  // `is_plain`: only what a payload is turned into.
  XmlDoc make(bool is_plain) {
    is_plain_ = is_plain;
    xmlNodePtr root = element("config");
    XmlDoc doc = document(root);
    fill(root, 0);
    return doc;
  }

 private:
  std::uint32_t below(std::uint32_t limit) { return static_cast<std::uint32_t>(random_()) % limit; }

  std::string text() {
    static const char* const kPlain[] = {"a", "mtu", "1500", " ", "\n", "\t", "<",
                                         "&", ">",   "]]>",  "'", "\"", "~",  "&amp;"};
    static const char* const kOthers[] = {"\r", "\x01", "\x7f", "\u00e9", "\u20ac", "\U0001f600"};
    std::string result;
    for (std::uint32_t part = below(4); part > 0; --part) {
      const bool is_other = !is_plain_ && below(4) == 0;
      result += is_other ? kOthers[below(std::size(kOthers))] : kPlain[below(std::size(kPlain))];
    }
    return result;
  }

  void fill(xmlNodePtr parent, int depth) {
    if (below(3) == 0) {
      const char* const uris[] = {"urn:one", "urn:a?b&c", "", is_plain_ ? "urn:'" : "urn:\"q\""};
      const char* const prefixes[] = {nullptr, "p", "q"};
      xmlNsPtr ns = xmlNewNs(parent, as_xml(uris[below(4)]), as_xml(prefixes[below(3)]));
      if (ns != nullptr && below(2) == 0) xmlSetNs(parent, ns);
    }
    for (std::uint32_t count = below(3); count > 0; --count) {
      const std::string value = is_plain_ && below(2) == 0 ? "create" : text();
      const std::string name = "attribute" + std::to_string(count);
      xmlNewNsProp(parent, below(2) == 0 ? parent->ns : nullptr, as_xml(name.c_str()),
                   as_xml(value.c_str()));
    }
    for (std::uint32_t count = below(depth == 0 ? 6 : 4); count > 0; --count) {
      const std::string content = text();
      switch (below(is_plain_ ? 3 : 7)) {
        case 0:
          xmlAddChild(parent, xmlNewText(as_xml(content.c_str())));
          break;
        case 3:
          xmlAddChild(parent, xmlNewComment(as_xml("a comment")));
          break;
        case 4:
          xmlAddChild(parent, xmlNewCDataBlock(parent->doc, as_xml("a < b"), 5));
          break;
        case 5:
          xmlAddChild(parent, xmlNewPI(as_xml("target"), as_xml("data")));
          break;
        case 6:
          xmlAddChild(parent, xmlNewReference(parent->doc, as_xml("&lt;")));
          break;
        default: {
          xmlNodePtr child = xmlAddChild(parent, element("leaf"));
          if (depth < 5) fill(child, depth + 1);
        }
      }
    }
  }

  std::mt19937 random_;
  bool is_plain_ = true;
};

TEST(BuildXmlStr, WritesRandomTreesAsLibxmlDoes) {
  for (std::uint32_t seed = 0; seed < 4000; ++seed) {
    const XmlDoc doc = RandomTree(seed).make(seed % 2 == 0);
    const std::string expected = written_by_libxml(doc.get());
    ASSERT_EQ(written(doc.get()), expected) << "seed " << seed;
  }
}

TEST(BuildXmlStr, WritesElementsWithoutAndWithEmptyText) {
  xmlNodePtr root = element("config");
  const XmlDoc doc = document(root);
  xmlAddChild(root, element("b"));
  xmlNodePtr empty = xmlAddChild(root, element("c"));
  xmlAddChild(empty, xmlNewText(nullptr));
  EXPECT_EQ(written(doc.get()), "<?xml version=\"1.0\"?>\n<config><b/><c></c></config>\n");
}

TEST(BuildXmlStr, AsksLibxmlWhetherEmptyElementsHaveAShortForm) {
  const XmlDoc doc = document(element("config"));
  xmlSaveNoEmptyTags = 1;
  const std::string text = written(doc.get());
  xmlSaveNoEmptyTags = 0;
  EXPECT_EQ(text, "<?xml version=\"1.0\"?>\n<config></config>\n");
}

// What an embedder may have put into a tree: libxml2's own writer is asked for it.
void expect_written_as_by_libxml(xmlDocPtr doc) {
  const std::string expected = written_by_libxml(doc);
  EXPECT_EQ(written(doc), expected);
}

TEST(BuildXmlStr, ATextThatIsNotEscaped) {
  xmlNodePtr root = element("config");
  const XmlDoc doc = document(root);
  xmlAddChild(root, xmlNewText(as_xml("a < b")))->name = xmlStringTextNoenc;
  EXPECT_NE(written_by_libxml(doc.get()).find("a < b"), std::string::npos);
  expect_written_as_by_libxml(doc.get());
}

TEST(BuildXmlStr, NamespacesThatAreNotDeclared) {
  {
    xmlNodePtr root = element("config");
    const XmlDoc doc = document(root);
    xmlNewNs(root, as_xml("urn:a"), as_xml("a"))->type = XML_ELEMENT_NODE;
    expect_written_as_by_libxml(doc.get());
  }
  {
    xmlNodePtr root = element("config");
    const XmlDoc doc = document(root);
    xmlNewNs(root, nullptr, as_xml("a"));
    expect_written_as_by_libxml(doc.get());
  }
  xmlNodePtr root = element("config");
  const XmlDoc doc = document(root);
  xmlNsPtr xml = xmlNewNs(root, as_xml("urn:a"), nullptr);
  xml->prefix = xmlStrdup(as_xml("xml"));
  expect_written_as_by_libxml(doc.get());
}

TEST(BuildXmlStr, AnAttributeWithAReference) {
  xmlNodePtr root = element("config");
  const XmlDoc doc = document(root);
  xmlAttrPtr attribute = xmlNewProp(root, as_xml("a"), as_xml("before"));
  attribute->children->next = xmlNewReference(doc.get(), as_xml("lt"));
  attribute->children->next->parent = reinterpret_cast<xmlNodePtr>(attribute);
  attribute->last = attribute->children->next;
  EXPECT_NE(written_by_libxml(doc.get()).find("before&lt;"), std::string::npos);
  expect_written_as_by_libxml(doc.get());
}

TEST(BuildXmlStr, IsNotBoundByTheStack) {
  constexpr std::size_t kDepth = 20000;
  xmlNodePtr node = element("config");
  const XmlDoc doc = document(node);
  for (std::size_t depth = 0; depth < kDepth; ++depth) node = xmlAddChild(node, element("a"));
  EXPECT_EQ(written(doc.get()).size(),
            std::strlen("<?xml version=\"1.0\"?>\n<config></config>\n") + kDepth * 7 - 3);
}

}  // namespace
