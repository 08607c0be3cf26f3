// What resolution counts and leaves behind: sizes in its lines, nodes after a failure, namespaces
// without a text.
#include <gtest/gtest.h>

#include <stdexcept>

#include "nexa/kestrel_path.h"
#include "support/fake_schema.h"
#include "support/log_capture.h"

namespace nexa_test {
namespace {

class KestrelPathCountTest : public testing::Test {
 protected:
  static nexa::KestrelPath make(const std::vector<std::string>& names) {
    gnmi::Path path;
    for (const std::string& name : names) path.add_elem()->set_name(name);
    return nexa::KestrelPath(path, "");
  }
  static std::vector<std::string> masked(LogCapture& log) {
    std::vector<std::string> texts = log.take_texts();
    for (std::string& text : texts) text = mask_numbers(text);
    return texts;
  }

  FakeSchema schema_;
  FakeModule& module_ = schema_.module("mod", "m", "urn:m");
  FakeModule& bare_ = schema_.module("bare", "b", "urn:b");
  FakeNode top_ = module_.container("top");
};

TEST_F(KestrelPathCountTest, ChildrenOfOneNameCountOnce) {
  top_.leaf("twin");
  top_.in(bare_).leaf("twin");
  top_.leaf("other");
  LogCapture log;
  nexa::KestrelPath path = make({"m:top"});
  ASSERT_TRUE(path.path2cs_nodes());
  EXPECT_EQ(masked(log).back(),
            "Finished Scanning, exiting path2cs_nodes with true. 2 children of last cs_node were "
            "found");
}

TEST_F(KestrelPathCountTest, KeysOfOneNameCountOnceAndStandTwice) {
  top_.list("list", {"a", "a"}).leaf("a");
  LogCapture log;
  nexa::KestrelPath path = make({"m:top", "list"});
  ASSERT_TRUE(path.path2cs_nodes());
  EXPECT_EQ(path.possible_keys_.size(), 1u);
  EXPECT_EQ(path.key_names_.size(), 2u);
  const std::vector<std::string> texts = masked(log);
  EXPECT_EQ(texts[texts.size() - 2],
            "in path2cs_nodes at #. The cs_node 0x# matching the last element in the path has 1 "
            "keys");
}

TEST_F(KestrelPathCountTest, KeysOfThePathAreSetOverEarlierOnes) {
  top_.list("list", {"a"}).leaf("a");
  nexa::KestrelPath path = make({"m:top", "list"});
  (*path.path_.mutable_elem(1)->mutable_key())["a"] = "new";
  int anything = 0;
  path.instantiated_keys_["a"] = "old";
  path.possible_keys_["a"] = &anything;
  ASSERT_TRUE(path.path2cs_nodes());
  EXPECT_EQ(path.instantiated_keys_.at("a"), "new");
  EXPECT_EQ(path.possible_keys_.at("a"), nullptr);
}

TEST_F(KestrelPathCountTest, AnElementIsSkippedWithoutALine) {
  LogCapture log;
  nexa::KestrelPath path = make({"m:top", "a", "b:c"});
  ASSERT_TRUE(path.path2cs_nodes());
  EXPECT_EQ(masked(log),
            (std::vector<std::string>{
                "Path Elem m:top", "in path2cs_nodes at # last cs_node in xpath is top flags 0",
                "Finished Scanning, exiting path2cs_nodes with true. 0 children of last cs_node "
                "were found"}));
}

TEST_F(KestrelPathCountTest, AFailedChildIsReportedAfterEveryChildWasSeen) {
  FakeNode one = top_.leaf("one");
  FakeNode two = top_.leaf("two");
  LogCapture log;
  EXPECT_FALSE(make({"m:top", "m:nope"}).path2cs_nodes());
  EXPECT_EQ(masked(log),
            (std::vector<std::string>{
                "Path Elem m:top", "Scanning child_name one with tag " + std::to_string(one->tag),
                "Scanning child_name two with tag " + std::to_string(two->tag),
                "in path2cs_nodes at #: Failed to find cs_node matching nope"}));
}

TEST_F(KestrelPathCountTest, SummaryWhereTheNamespaceHasNoTopLevelNode) {
  nexa::KestrelPath any = make({});
  gnmi::Path path;
  path.add_elem()->set_name("b:x");
  const auto [name_space, depth, node, status] = any.path2_kestrel_csnode_info(path);
  EXPECT_EQ(name_space, "");
  EXPECT_EQ(depth, -1);
  EXPECT_EQ(node, nullptr);
  EXPECT_EQ(status.error_code(), grpc::StatusCode::INTERNAL);
  EXPECT_EQ(status.error_message(), "Failed to Find schema information for given Path");
}

TEST_F(KestrelPathCountTest, SummaryOfANamespaceWithoutTextThrows) {
  schema_.forget("urn:m");
  nexa::KestrelPath any = make({});
  gnmi::Path path;
  path.add_elem()->set_name("m:top");
  EXPECT_THROW(any.path2_kestrel_csnode_info(path), std::logic_error);
}

}  // namespace
}  // namespace nexa_test
