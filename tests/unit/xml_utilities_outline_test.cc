// The outline of a tree that is written to a file.
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <sstream>

#include "nexa/nexa_srv_rpc_msg_helpers.h"
#include "support/unit_test.h"
#include "support/xml_trees.h"

namespace {

using nexa_test::LogCapture;
using nexa_test::parse_xml;
using nexa_test::XmlTree;

// A file that is gone with the test.
class TemporaryFile {
 public:
  TemporaryFile() {
    std::string pattern = testing::TempDir() + "outlineXXXXXX";
    const int descriptor = mkstemp(pattern.data());
    if (descriptor >= 0) close(descriptor);
    name_ = pattern;
  }
  ~TemporaryFile() { std::remove(name_.c_str()); }
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;

  const std::string& name() const { return name_; }
  std::string content() const {
    std::stringstream text;
    text << std::ifstream(name_).rdbuf();
    return text.str();
  }

 private:
  std::string name_;
};

std::string outline(const std::string& xml) {
  const TemporaryFile file;
  const XmlTree root = parse_xml(xml);
  write_xml2file(root.get(), nullptr, file.name());
  return file.content();
}

TEST(WriteXml2File, LabelsLeavesWithTheirText) {
  EXPECT_EQ(outline("<mtu>1500</mtu>"), " -mtu:1500\n");
}

TEST(WriteXml2File, LabelsInnerElementsWithTheirId) {
  EXPECT_EQ(outline("<a id=\"top\"><b>1</b></a>"), " -a:top\n   -b:1\n");
}

TEST(WriteXml2File, PrintsANullLabelAsANullString) {
  EXPECT_EQ(outline("<a><b/></a>"), " -a:(null)\n   -b:\n");
}

TEST(WriteXml2File, IndentsByTwiceTheDepth) {
  EXPECT_EQ(outline("<a id=\"1\"><b id=\"2\"><c>x</c><d/></b><e>y</e></a>"),
            " -a:1\n   -b:2\n     -c:x\n     -d:\n   -e:y\n");
}

TEST(WriteXml2File, PrintsNoLineForTextAndDescendsPastIt) {
  EXPECT_EQ(outline("<a id=\"1\">text<!-- c --><b>x</b></a>"), " -a:1\n   -b:x\n");
}

TEST(WriteXml2File, CountsTheIdOfALeafAsNothing) {
  EXPECT_EQ(outline("<a id=\"1\">text</a>"), " -a:text\n");
}

TEST(WriteXml2File, WritesFollowingSiblings) {
  const TemporaryFile file;
  const XmlTree root = parse_xml("<r><a>1</a><b>2</b></r>");
  write_xml2file(root->children, &file, file.name());
  EXPECT_EQ(file.content(), " -a:1\n -b:2\n");
}

TEST(WriteXml2File, ReplacesWhatTheFileHeld) {
  const TemporaryFile file;
  std::ofstream(file.name()) << "something much longer than the outline";
  const XmlTree root = parse_xml("<a/>");
  write_xml2file(root.get(), nullptr, file.name());
  EXPECT_EQ(file.content(), " -a:\n");
}

TEST(WriteXml2File, LeavesTheTreeAlone) {
  const TemporaryFile file;
  const XmlTree root = parse_xml("<a id=\"1\"><b>x</b></a>");
  write_xml2file(root.get(), nullptr, file.name());
  EXPECT_EQ(nexa_test::text_of(root), "<a id=\"1\"><b>x</b></a>");
}

TEST(WriteXml2File, DoesNotFollowAReferenceIntoTheDocumentType) {
  const TemporaryFile file;
  const XmlTree root = parse_xml("<a><b>x</b></a>");
  xmlNodePtr reference = xmlAddChild(root.get(), xmlNewReference(root->doc, BAD_CAST "e"));
  ASSERT_EQ(reference->type, XML_ENTITY_REF_NODE);
  const XmlTree declared = parse_xml("<hidden/>");
  reference->children = declared.get();
  write_xml2file(root.get(), nullptr, file.name());
  reference->children = nullptr;
  EXPECT_EQ(file.content(), " -a:(null)\n   -b:x\n");
}

TEST(WriteXml2File, DoesNothingWhenTheFileCannotBeOpened) {
  LogCapture log;
  const std::string name = testing::TempDir() + "no-such-directory/outline";
  const XmlTree root = parse_xml("<a/>");
  write_xml2file(root.get(), nullptr, name);
  struct stat info {};
  EXPECT_NE(stat(name.c_str(), &info), 0);
  EXPECT_EQ(log.take_texts(), std::vector<std::string>{});
}

}  // namespace
