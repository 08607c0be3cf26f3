// A start under another schema: goes on when the data fit, says why not when they do not.
#include "store_fixture.h"

namespace {

using namespace nexa_test;

std::string replaced(std::string text, const std::string& what, const std::string& by) {
  const std::size_t at = text.find(what);
  EXPECT_NE(at, std::string::npos) << what;
  return text.replace(at, what.size(), by);
}

class SchemaChange : public StoreTest {
 protected:
  void reopen_under(const std::string& module) {
    store_.reset();
    ASSERT_EQ(load_module("s", module), "");
    open();
  }
  // The name may only stand beside this speed.
  void reopen_with_a_condition() {
    reopen_under(replaced(newer(), "leaf name { type string; }",
                          "leaf name { type string; when \"../speed = 7\"; }"));
    ASSERT_NE(store_, nullptr) << error_;
  }
  std::string newer() const {
    return replaced(kStoreModule, "revision 2026-01-01;", "revision 2026-02-02;");
  }
};

TEST_F(SchemaChange, DataThatFitGoOn) {
  ASSERT_EQ(commit({update("<name>n</name>")}).number, 1U);
  reopen_under(
      replaced(newer(), "leaf name {", "leaf added { type string; default x; } leaf name {"));
  ASSERT_NE(store_, nullptr) << error_;
  EXPECT_EQ(xml(), config_xml("<name>n</name>"));
  EXPECT_EQ(read_text(*store_, "/top/added"), "/top/added=\"x\"\n");
  ASSERT_EQ(notes_.size(), 2U);
  EXPECT_EQ(notes_[0],
            "the schema changed: s 2026-01-01 became 2026-02-02; the stored configuration fits it");
  open();
  EXPECT_EQ(notes_.size(), 1U);
}

TEST_F(SchemaChange, AGoneNodeIsNamed) {
  ASSERT_EQ(commit({update("<name>n</name><shine>1</shine>")}).number, 1U);
  reopen_under(replaced(newer(), "leaf shine { type uint8; } ", ""));
  EXPECT_EQ(store_, nullptr);
  EXPECT_EQ(error_.find(directory() + "/nexa.db: the stored configuration does not fit the schema: "
                                      "snapshot 1: "),
            0U)
      << error_;
  EXPECT_NE(error_.find("shine"), std::string::npos) << error_;
  EXPECT_NE(error_.find("(s 2026-01-01 became 2026-02-02)"), std::string::npos) << error_;
  EXPECT_EQ(error_.find('\n'), std::string::npos);
  reopen_under(kStoreModule);
  ASSERT_NE(store_, nullptr) << error_;
  EXPECT_EQ(xml(), config_xml("<name>n</name><shine>1</shine>"));
}

TEST_F(SchemaChange, ABrokenRuleIsToldAndServedUntilAChangeMendsIt) {
  ASSERT_EQ(commit({update("<name>n</name>")}).number, 1U);
  const std::string stricter = replaced(newer(), "leaf name { type string; }",
                                        "leaf name { type string; must \"../speed > 100\"; }");
  const std::string rule = "/s:top/name: must \"../speed > 100\"";
  reopen_under(stricter);
  ASSERT_NE(store_, nullptr) << error_;
  EXPECT_EQ(xml(), config_xml("<name>n</name>"));
  EXPECT_EQ(read_text(*store_, "/top/speed"), "/top/speed=100\n");
  EXPECT_EQ(store_->health().violation, rule);
  ASSERT_EQ(notes_.size(), 3U);
  EXPECT_EQ(notes_[0], "the schema changed: s 2026-01-01 became 2026-02-02");
  EXPECT_EQ(notes_[2], directory() + "/nexa.db: the stored configuration breaks a rule: " + rule +
                           "; the next change has to mend it");
  EXPECT_EQ(commit_text({update("<tag>t</tag>")}), rule);
  EXPECT_EQ(commit_text({update("<tag>t</tag><speed>101</speed>")}), "");
  EXPECT_EQ(store_->health().violation, "");
  EXPECT_EQ(commit_text({update("<tag>u</tag>")}), "");
  open();
  ASSERT_NE(store_, nullptr) << error_;
  EXPECT_EQ(store_->health().violation, "");
}

TEST_F(SchemaChange, ACommitFromBeforeMayNotFit) {
  ASSERT_EQ(commit({update("<shine>1</shine>")}).number, 1U);
  ASSERT_EQ(commit({drop("/top/shine"), update("<name>n</name>")}).number, 2U);
  reopen_under(replaced(newer(), "leaf shine { type uint8; } ", ""));
  ASSERT_NE(store_, nullptr) << error_;
  const CommitResult result = store_->rollback(1, "a", nullptr);
  EXPECT_EQ(result.status.error_code(), grpc::StatusCode::FAILED_PRECONDITION);
  EXPECT_EQ(result.status.error_message().find("commit 1 cannot be restored: commit 1: "), 0U)
      << result.status.error_message();
  EXPECT_EQ(xml(), config_xml("<name>n</name>"));
}

// The commit's leaf stands now under a condition that the commit does not fulfil.
TEST_F(SchemaChange, ARollbackLosesWhatANewConditionTakesOut) {
  ASSERT_EQ(commit({update("<name>n</name><tag>t</tag>")}).number, 1U);
  ASSERT_EQ(commit({update("<speed>7</speed>")}).number, 2U);
  ASSERT_NO_FATAL_FAILURE(reopen_with_a_condition());
  ASSERT_EQ(store_->health().violation, "");
  const CommitResult result = store_->rollback(1, "a", nullptr);
  EXPECT_EQ(result.status.error_message(), "");
  EXPECT_EQ(xml(), config_xml("<tag>t</tag>"));
}

// A value that does not stand now is not taken out: the rollback would not bring what it is to.
TEST_F(SchemaChange, ARollbackToAValueThatANewConditionForbidsIsRefused) {
  ASSERT_EQ(commit({update("<name>n</name><tag>t</tag>")}).number, 1U);
  ASSERT_EQ(commit({update("<name>m</name><speed>7</speed>")}).number, 2U);
  ASSERT_NO_FATAL_FAILURE(reopen_with_a_condition());
  const CommitResult result = store_->rollback(1, "a", nullptr);
  EXPECT_EQ(result.status.error_message(), "/s:top/name: when \"../speed = 7\"");
  EXPECT_EQ(xml(), config_xml("<name>m</name><speed>7</speed><tag>t</tag>"));
}

TEST_F(SchemaChange, AModuleThatDemandsDataWaitsForIt) {
  reopen_under(replaced(newer(), "container top {",
                        "leaf needed { type string; mandatory true; } container top {"));
  ASSERT_NE(store_, nullptr) << error_;
  EXPECT_EQ(read_text(*store_, "/top/speed"), "");
  EXPECT_EQ(commit({update("<name>n</name>")}).status.error_code(),
            grpc::StatusCode::FAILED_PRECONDITION);
  Edit both = update("<name>n</name>");
  both.xml = replaced(both.xml, "<top ", "<needed xmlns=\"urn:s\">x</needed><top ");
  EXPECT_EQ(commit_text({both}), "");
  EXPECT_EQ(read_text(*store_, "/top/speed"), "/top/speed=100\n");
  EXPECT_EQ(commit_text({drop("/")}), "");
  EXPECT_EQ(xml(), "<config/>");
  EXPECT_EQ(read_text(*store_, "/top/speed"), "");
}

}  // namespace
