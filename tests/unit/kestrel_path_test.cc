// Resolution of a path's elements to schema nodes: prefixes, names, skipped elements and failures.
#include <gtest/gtest.h>

#include <stdexcept>

#include "nexa/kestrel_path.h"
#include "support/fake_schema.h"
#include "support/log_capture.h"

namespace nexa_test {
namespace kestrel_path_test {

constexpr char kFile[] = "nexa_srv_rpc_msg_helpers/kestrel_path.cc";

gnmi::Path path_of(const std::vector<std::string>& names) {
  gnmi::Path path;
  for (const std::string& name : names) path.add_elem()->set_name(name);
  return path;
}

nexa::KestrelPath make(const std::vector<std::string>& names) {
  return nexa::KestrelPath(path_of(names), "{}");
}

Lines masked(Lines lines) {
  for (Line& line : lines) line.text = mask_numbers(line.text);
  return lines;
}

Line error(const std::string& text) { return {GPR_LOG_SEVERITY_ERROR, kFile, text}; }

class KestrelPathTest : public testing::Test {
 protected:
  FakeSchema schema_;
  FakeModule& module_ = schema_.module("ietf-interfaces", "if", "urn:if");
  FakeModule& other_ = schema_.module("ietf-ip", "ip", "urn:ip");
  FakeNode interfaces_ = module_.container("interfaces");
  FakeNode entry_ = interfaces_.list("interface", {"name"});
  FakeNode name_ = entry_.leaf("name");
  FakeNode ipv4_ = entry_.in(other_).container("ipv4");
  FakeNode mtu_ = ipv4_.leaf("mtu");
};

TEST_F(KestrelPathTest, ConstructionCopiesPathAndValueOnly) {
  const nexa::KestrelPath path(path_of({"if:interfaces"}), "{\"a\":1}");
  EXPECT_EQ(path.path_.elem(0).name(), "if:interfaces");
  EXPECT_EQ(path.json_val_, "{\"a\":1}");
  EXPECT_FALSE(path.resolved_);
  EXPECT_EQ(path.ns_hash_, 0u);
  EXPECT_TRUE(path.cs_nodes_.empty());
  EXPECT_TRUE(path.value_root_namespaces_.empty());
  EXPECT_TRUE(path.possible_keys_.empty());
  EXPECT_TRUE(path.instantiated_keys_.empty());
  EXPECT_TRUE(path.last_children_.empty());
  EXPECT_TRUE(path.key_names_.empty());
}

TEST_F(KestrelPathTest, FindsNamespaceHashOfWholePrefix) {
  nexa::KestrelPath path = make({});
  EXPECT_EQ(path.find_hash_for_ns("if"), module_.ns_hash());
  EXPECT_EQ(path.find_hash_for_ns("ip"), other_.ns_hash());
  for (const char* unknown : {"", "i", "iff", "IF", "ietf-interfaces", "urn:if"}) {
    EXPECT_EQ(path.find_hash_for_ns(unknown), 0u) << unknown;
  }
}

TEST_F(KestrelPathTest, FirstNamespaceOfAPrefixWins) {
  schema_.module("later", "if", "urn:later");
  EXPECT_EQ(make({}).find_hash_for_ns("if"), module_.ns_hash());
}

TEST(KestrelPathNamespaces, EmptyNamespaceListHasNoHash) {
  FakeSchema schema;
  EXPECT_EQ(make({}).find_hash_for_ns(""), 0u);
  EXPECT_EQ(make({}).find_hash_for_ns("if"), 0u);
}

TEST_F(KestrelPathTest, NullPrefixInTheNamespaceListThrows) {
  schema_.raw_entry({"urn:raw", nullptr, 7, "", "raw"});
  schema_.module("behind", "behind", "urn:behind");
  nexa::KestrelPath path = make({});
  EXPECT_EQ(path.find_hash_for_ns("ip"), other_.ns_hash()) << "found before the null entry";
  try {
    path.find_hash_for_ns("behind");
    FAIL() << "no exception";
  } catch (const std::logic_error& thrown) {
    EXPECT_STREQ(thrown.what(), "basic_string::_M_construct null not valid");
  }
}

TEST_F(KestrelPathTest, ResolvesOneNodeForEachElement) {
  LogCapture log;
  nexa::KestrelPath path = make({"if:interfaces", "interface", "ip:ipv4", "mtu"});
  EXPECT_TRUE(path.path2cs_nodes());
  EXPECT_TRUE(path.resolved_);
  EXPECT_EQ(path.ns_hash_, module_.ns_hash());
  EXPECT_EQ(path.cs_nodes_, (std::vector<kestrel_cs_node*>{interfaces_, entry_, ipv4_, mtu_}));
  EXPECT_TRUE(log.take(GPR_LOG_SEVERITY_ERROR).empty());
}

TEST_F(KestrelPathTest, EmptyPathSucceedsWithoutNodes) {
  LogCapture log;
  nexa::KestrelPath path = make({});
  EXPECT_TRUE(path.path2cs_nodes());
  EXPECT_TRUE(path.cs_nodes_.empty());
  EXPECT_FALSE(path.resolved_);
  EXPECT_EQ(masked(log.take()),
            (Lines{{GPR_LOG_SEVERITY_DEBUG, kFile, "in path2cs_nodes at # Empty Path"}}));
}

TEST_F(KestrelPathTest, FirstElementWithoutPrefixFails) {
  LogCapture log;
  nexa::KestrelPath path = make({"interfaces"});
  EXPECT_FALSE(path.path2cs_nodes());
  EXPECT_FALSE(path.resolved_);
  EXPECT_TRUE(path.cs_nodes_.empty());
  EXPECT_EQ(masked(log.take()),
            (Lines{{GPR_LOG_SEVERITY_DEBUG, kFile, "Path Elem interfaces"},
                   error("In path2cs_nodes at # Failed to hash for namespace from interfaces")}));
}

TEST_F(KestrelPathTest, FirstElementWithoutPrefixResolvesWhereANamespaceHasNone) {
  FakeModule& bare = schema_.module("bare", "", "urn:bare");
  FakeNode top = bare.container("top");
  nexa::KestrelPath path = make({"top"});
  EXPECT_TRUE(path.path2cs_nodes());
  EXPECT_EQ(path.cs_nodes_, std::vector<kestrel_cs_node*>{top});
}

TEST_F(KestrelPathTest, UnknownPrefixIsReportedWithTheWholeElement) {
  LogCapture log;
  EXPECT_FALSE(make({"nope:interfaces", "x"}).path2cs_nodes());
  EXPECT_EQ(
      masked(log.take(GPR_LOG_SEVERITY_ERROR)),
      Lines{error("In path2cs_nodes at # Failed to hash for namespace from nope:interfaces")});
}

TEST_F(KestrelPathTest, NamespaceWithoutTopLevelNodeFailsSilently) {
  LogCapture log;
  nexa::KestrelPath path = make({"ip:ipv4"});
  EXPECT_FALSE(path.path2cs_nodes());
  EXPECT_EQ(path.ns_hash_, other_.ns_hash());
  EXPECT_FALSE(path.resolved_);
  EXPECT_EQ(log.take(), (Lines{{GPR_LOG_SEVERITY_DEBUG, kFile, "Path Elem ip:ipv4"}}));
}

TEST_F(KestrelPathTest, FirstElementMeansTheFirstTopLevelNodeWhateverItsName) {
  module_.container("second");
  for (const char* name : {"if:second", "if:unheard-of", "if:"}) {
    nexa::KestrelPath path = make({name, "interface"});
    EXPECT_TRUE(path.path2cs_nodes()) << name;
    EXPECT_EQ(path.cs_nodes_, (std::vector<kestrel_cs_node*>{interfaces_, entry_})) << name;
  }
}

TEST_F(KestrelPathTest, LaterPrefixesPlayNoPartInMatching) {
  nexa::KestrelPath path = make({"if:interfaces", "ip:interface", "nope:ipv4", "if:mtu"});
  EXPECT_TRUE(path.path2cs_nodes());
  EXPECT_EQ(path.cs_nodes_, (std::vector<kestrel_cs_node*>{interfaces_, entry_, ipv4_, mtu_}));
  EXPECT_EQ(path.ns_hash_, module_.ns_hash());
}

TEST_F(KestrelPathTest, FirstOfTwoSiblingsWithOneNameIsTaken) {
  FakeNode first = entry_.leaf("twin");
  entry_.in(other_).leaf("twin");
  nexa::KestrelPath path = make({"if:interfaces", "interface", "ip:twin"});
  EXPECT_TRUE(path.path2cs_nodes());
  EXPECT_EQ(path.cs_nodes_.back(), first.get());
}

TEST_F(KestrelPathTest, ElementsBelowAChildlessNodeAreSkipped) {
  LogCapture log;
  nexa::KestrelPath path = make({"if:interfaces", "interface", "name", "anything", "more"});
  EXPECT_TRUE(path.path2cs_nodes());
  EXPECT_EQ(path.cs_nodes_, (std::vector<kestrel_cs_node*>{interfaces_, entry_, name_}));
  EXPECT_TRUE(log.take(GPR_LOG_SEVERITY_ERROR).empty());
}

TEST_F(KestrelPathTest, UnknownChildFailsAndLeavesTheNodesSoFar) {
  LogCapture log;
  nexa::KestrelPath path = make({"if:interfaces", "interface", "ip:nope", "mtu"});
  EXPECT_FALSE(path.path2cs_nodes());
  EXPECT_FALSE(path.resolved_);
  EXPECT_EQ(path.cs_nodes_, (std::vector<kestrel_cs_node*>{interfaces_, entry_}));
  EXPECT_EQ(masked(log.take(GPR_LOG_SEVERITY_ERROR)),
            Lines{error("in path2cs_nodes at #: Failed to find cs_node matching nope")});
}

TEST_F(KestrelPathTest, ChildNamesAreComparedWholeAndExactly) {
  for (const char* name : {"Interface", "interfac", "interfaces", "", "if:"}) {
    EXPECT_FALSE(make({"if:interfaces", name}).path2cs_nodes()) << name;
  }
}

TEST_F(KestrelPathTest, ChildTagWithoutStringIsLoggedAndThrows) {
  schema_.forget("name");
  LogCapture log;
  nexa::KestrelPath path = make({"if:interfaces", "interface", "ip:ipv4"});
  EXPECT_THROW(path.path2cs_nodes(), std::logic_error);
  EXPECT_FALSE(path.resolved_);
  const std::string tag = std::to_string(name_->tag);
  Lines lines = masked(log.take());
  ASSERT_EQ(lines.size(), 4u);
  EXPECT_EQ(lines[2],
            (Line{GPR_LOG_SEVERITY_DEBUG, kFile, "Scanning child_name (null) with tag " + tag}));
  EXPECT_EQ(lines[3], error("In path2cs_nodes at # Failed to find cs_node for ip:ipv4"));
}

TEST_F(KestrelPathTest, MatchBeforeATagWithoutStringSucceeds) {
  interfaces_.leaf("forgotten");
  schema_.forget("forgotten");
  EXPECT_TRUE(make({"if:interfaces", "interface", "name"}).path2cs_nodes());
}

TEST_F(KestrelPathTest, SecondCallDoesNothing) {
  nexa::KestrelPath path = make({"if:interfaces", "interface"});
  ASSERT_TRUE(path.path2cs_nodes());
  LogCapture log;
  EXPECT_TRUE(path.path2cs_nodes());
  EXPECT_EQ(path.cs_nodes_.size(), 2u);
  EXPECT_TRUE(log.take().empty());
}

TEST_F(KestrelPathTest, CallAfterTheElementsWereWalkedSucceedsEvenWithoutLastNode) {
  // The state in which a walk without a last node leaves the object.
  nexa::KestrelPath path = make({"if:interfaces"});
  path.resolved_ = true;
  EXPECT_TRUE(path.path2cs_nodes());
  EXPECT_TRUE(path.cs_nodes_.empty());
}

TEST_F(KestrelPathTest, FailedCallMayBeRepeatedAndFailsAgain) {
  nexa::KestrelPath path = make({"if:interfaces", "nope"});
  EXPECT_FALSE(path.path2cs_nodes());
  EXPECT_FALSE(path.path2cs_nodes());
}

TEST_F(KestrelPathTest, LinesOfAWholeResolution) {
  LogCapture log;
  nexa::KestrelPath path = make({"if:interfaces", "interface", "ip:ipv4"});
  ASSERT_TRUE(path.path2cs_nodes());
  const auto scanning = [](const char* name, kestrel_cs_node* node) {
    return std::string("Scanning child_name ") + name + " with tag " + std::to_string(node->tag);
  };
  const std::vector<std::string> expected = {
      "Path Elem if:interfaces",
      scanning("interface", entry_),
      scanning("name", name_),
      scanning("ipv4", ipv4_),
      "in path2cs_nodes at # last cs_node in xpath is ipv4 flags 0",
      "Finished Scanning, exiting path2cs_nodes with true. 1 children of last cs_node were found"};
  std::vector<std::string> texts;
  for (const Line& line : masked(log.take())) {
    EXPECT_EQ(line.severity, GPR_LOG_SEVERITY_DEBUG) << line;
    EXPECT_EQ(line.file, kFile);
    texts.push_back(line.text);
  }
  EXPECT_EQ(texts, expected);
}

}  // namespace kestrel_path_test
}  // namespace nexa_test
