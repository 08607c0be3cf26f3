// Anydata, values and entries in an order: what stands, what comes back, what a rule over an order
// says.

#include "store_findings.h"
#include "support/processor_time.h"

namespace nexa_test::findings {
namespace {

using StoreContents = StoreFindings;

TEST_F(StoreContents, RollbackBringsBackWhatAnAnydataHeld) {
  start("anydata any;");
  ASSERT_EQ(text(update("<any xmlns=\"urn:s\"><z xmlns=\"urn:z\">plain</z></any>")), "");
  const std::string before = store_->snapshot()->xml();
  ASSERT_EQ(text(update("<any xmlns=\"urn:s\"><a xmlns=\"\">plain</a></any>")), "");
  ASSERT_TRUE(store_->rollback(1, "tester", nullptr).status.ok());
  EXPECT_EQ(store_->snapshot()->xml(), before);
  restart();
  ASSERT_NE(store_, nullptr);
  EXPECT_EQ(store_->snapshot()->xml(), before);
}

TEST_F(StoreContents, RollbackToACommitThatReplacedUserOrderedValues) {
  start(
      R"yang(container top { container c { leaf-list s { type string; ordered-by user; } leaf f { type string; } } })yang");
  const auto put = [](const std::string& inner) {
    return Edit{Edit::Kind::kReplace,
                nexa_test::target_of(*nexa::translate::parse_path_string("/s:top/c", nullptr)),
                "<config><top xmlns=\"urn:s\"><c>" + inner + "</c></top></config>"};
  };
  ASSERT_EQ(text(put("<s>two</s><s>three</s><f>two</f>")), "");
  ASSERT_EQ(text(put("<s>one</s><s>two</s><f>one</f>")), "");
  const std::string before = store_->snapshot()->xml();
  ASSERT_EQ(text(top("<c><f>x</f></c>")), "");
  const CommitResult back = store_->rollback(2, "tester", nullptr);
  EXPECT_TRUE(back.status.ok()) << back.status.error_message();
  EXPECT_EQ(store_->snapshot()->xml(), before);
}

TEST_F(StoreContents, AnydataWithOtherContentIsAChange) {
  start("anydata any;");
  ASSERT_EQ(text(update("<any xmlns=\"urn:s\"><z xmlns=\"urn:z\">plain</z></any>")), "");
  ASSERT_EQ(text(update("<any xmlns=\"urn:s\"><a xmlns=\"\">plain</a></any>")), "");
  EXPECT_EQ(store_->snapshot()->number(), 2U);
  EXPECT_EQ(store_->snapshot()->xml().find("urn:z"), std::string::npos);
}

TEST_F(StoreContents, OneMoreEntryOfAUserOrderedListCostsTheSame) {
  start(R"yang(container top { list l { key k; ordered-by user; leaf k { type uint32; } } })yang");
  const auto entry = [](int k) { return "<l><k>" + std::to_string(k) + "</k></l>"; };
  int next = 0;
  const auto cost = [&](int size) {
    std::string entries;
    while (next < size) entries += entry(next++);
    EXPECT_EQ(text(top(entries)), "");
    return nexa_test::least_processor_seconds([&] { EXPECT_EQ(text(top(entry(next++))), ""); });
  };
  const double few = cost(100);
  EXPECT_LT(cost(4000), 10 * few);
}

TEST_F(StoreContents, RuleOverTheOrderOfASystemOrderedListHasOneAnswer) {
  start(R"yang(container top { leaf probe { type string; must "../l[1]/k = 'a'"; }
    list l { key k; leaf k { type string; } leaf v { type string; } } })yang");
  const auto entry = [](const std::string& k) { return top("<l><k>" + k + "</k></l>"); };
  ASSERT_EQ(text(entry("b")), "");
  ASSERT_EQ(text(entry("a")), "");
  ASSERT_EQ(text(entry("c")), "");
  ASSERT_EQ(text(drop("/s:top/l[k=b]")), "");
  ASSERT_EQ(text(entry("b")), "");
  ASSERT_EQ(text(drop("/s:top/l[k=a]")), "");
  CommitRequest two;
  two.edits = {entry("a"), top("<l><k>c</k><v>1</v></l>")};
  ASSERT_TRUE(store_->commit(two).status.ok());
  const bool first = commit(top("<probe>x</probe>")).ok();
  for (int i = 0; i < 4; ++i) {
    ASSERT_EQ(text(drop("/s:top/probe")), "");
    EXPECT_EQ(commit(top("<probe>x</probe>")).ok(), first) << i;
  }
  const std::string before = json();
  restart();
  ASSERT_NE(store_, nullptr);
  EXPECT_EQ(json(), before);
  ASSERT_EQ(text(drop("/s:top/probe")), "");
  EXPECT_EQ(commit(top("<probe>x</probe>")).ok(), first) << "after a start";
}

}  // namespace
}  // namespace nexa_test::findings
