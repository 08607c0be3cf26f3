// The commit-confirmed extension (gNMI conformance row 39), over the real store.
#include <chrono>
#include <limits>
#include <thread>

#include "server/support/store_fixture.h"

namespace nexa_test {
namespace {

using Act = gnmi_ext::Commit;
using std::chrono::milliseconds;
using std::chrono::seconds;

class CommitConfirmed : public StoredServiceTest {
 protected:
  static constexpr char kName[] = "/example-device:device/name";

  // A Set with the extension; `path` empty for one without operations.
  static gnmi::SetRequest request_with(const Act& commit, const std::string& json = "",
                                       const std::string& path = kName) {
    gnmi::SetRequest made;
    if (!json.empty()) *made.add_update() = update_of(path, json);
    *made.add_extension()->mutable_commit() = commit;
    return made;
  }
  static Act commit_as(const std::string& id, milliseconds wait = seconds(0)) {
    Act commit;
    commit.set_id(id);
    set_duration(wait, *commit.mutable_commit()->mutable_rollback_duration());
    return commit;
  }
  static void set_duration(milliseconds wait, google::protobuf::Duration& duration) {
    if (wait.count() == 0) return;
    duration.set_seconds(wait.count() / 1000);
    duration.set_nanos(static_cast<std::int32_t>(wait.count() % 1000) * 1000000);
  }
  static Act confirm(const std::string& id) {
    Act commit;
    commit.set_id(id);
    commit.mutable_confirm();
    return commit;
  }
  static Act cancel(const std::string& id) {
    Act commit;
    commit.set_id(id);
    commit.mutable_cancel();
    return commit;
  }
  static Act extend(const std::string& id, milliseconds wait) {
    Act commit;
    commit.set_id(id);
    set_duration(wait, *commit.mutable_set_rollback_duration()->mutable_rollback_duration());
    return commit;
  }
  std::string act(const Act& commit, const std::string& json = "") {
    return apply(request_with(commit, json));
  }
  std::string name() { return read(kName); }
  static std::string named(const std::string& name) {
    return std::string(kName) + "=\"" + name + "\"";
  }
  void restart() {
    stop();
    real_store.reset();
    open_store();
  }
};

TEST_F(CommitConfirmed, Row39AConfirmedCommitStands) {
  ASSERT_EQ(update(kName, "\"old\""), "0 ");
  ASSERT_EQ(act(commit_as("a", milliseconds(300)), "\"new\""), "0 ");
  EXPECT_EQ(name(), named("new"));
  ASSERT_EQ(act(confirm("a")), "0 ");
  std::this_thread::sleep_for(milliseconds(500));
  EXPECT_EQ(name(), named("new"));
  EXPECT_EQ(update(kName, "\"next\""), "0 ");
}

TEST_F(CommitConfirmed, Row39AnUnconfirmedCommitIsTakenBackAtItsTime) {
  ASSERT_EQ(update(kName, "\"old\""), "0 ");
  const auto begin = std::chrono::steady_clock::now();
  ASSERT_EQ(act(commit_as("a", milliseconds(300)), "\"new\""), "0 ");
  ASSERT_TRUE(eventually([this] { return name() == named("old"); }));
  EXPECT_GE(std::chrono::steady_clock::now() - begin, milliseconds(300));
  EXPECT_EQ(act(confirm("a")), "9 no commit waits for a confirmation");
  EXPECT_EQ(update(kName, "\"next\""), "0 ");
  std::vector<nexa::store::CommitRecord> records;
  ASSERT_TRUE(real_store->history(0, records).ok());
  ASSERT_EQ(records.size(), 4U);
  EXPECT_EQ(records[1].author, "nexad");
  EXPECT_EQ(records[1].comment, "rollback to 1: \"a\" was not confirmed in time");
  EXPECT_EQ(records[2].comment, "Set of 1 operations, to be confirmed as \"a\"");
}

TEST_F(CommitConfirmed, Row39TenMinutesWithoutADuration) {
  Act bare;
  bare.set_id("a");
  bare.mutable_commit();
  for (const Act& commit : {bare, commit_as("a")}) {
    ASSERT_EQ(act(commit, "\"new\""), "0 ");
    ASSERT_TRUE(real_store->pending().has_value());
    EXPECT_EQ(real_store->pending()->duration, std::chrono::minutes(10));
    ASSERT_EQ(act(cancel("a")), "0 ");
  }
}

TEST_F(CommitConfirmed, Row39ACancelRestoresAtOnce) {
  ASSERT_EQ(update(kName, "\"old\""), "0 ");
  ASSERT_EQ(act(commit_as("a"), "\"new\""), "0 ");
  ASSERT_EQ(act(cancel("a")), "0 ");
  EXPECT_EQ(name(), named("old"));
  std::vector<nexa::store::CommitRecord> records;
  ASSERT_TRUE(real_store->history(1, records).ok());
  EXPECT_EQ(records[0].comment, "rollback to 1: \"a\" was cancelled");
}

TEST_F(CommitConfirmed, Row39OtherSetsAreRefusedMeanwhile) {
  ASSERT_EQ(act(commit_as("a"), "\"new\""), "0 ");
  const std::string refusal =
      "9 commit 1 waits for its confirmation as \"a\"; confirm or cancel it first";
  EXPECT_EQ(update(kName, "\"other\""), refusal);
  EXPECT_EQ(remove(kName), refusal);
  EXPECT_EQ(act(commit_as("b"), "\"other\""), refusal);
  EXPECT_EQ(act(commit_as("a"), "\"other\""), refusal);
  EXPECT_EQ(name(), named("new"));
}

TEST_F(CommitConfirmed, Row39WithNothingWaiting) {
  for (const Act& commit : {confirm("a"), cancel("a"), extend("a", seconds(5))}) {
    EXPECT_EQ(act(commit), "9 no commit waits for a confirmation");
  }
}

TEST_F(CommitConfirmed, Row39AWrongIdIsAnInvalidArgument) {
  ASSERT_EQ(act(commit_as("a"), "\"new\""), "0 ");
  for (const Act& commit : {confirm("b"), cancel("b"), extend("b", seconds(5))}) {
    EXPECT_EQ(act(commit), "3 the commit that waits for its confirmation is \"a\", not \"b\"");
  }
  EXPECT_TRUE(real_store->pending().has_value());
}

TEST_F(CommitConfirmed, Row39SetRollbackDurationRestartsTheTimer) {
  ASSERT_EQ(update(kName, "\"old\""), "0 ");
  ASSERT_EQ(act(commit_as("a", milliseconds(400)), "\"new\""), "0 ");
  ASSERT_EQ(act(extend("a", seconds(3600))), "0 ");
  std::this_thread::sleep_for(milliseconds(700));
  EXPECT_EQ(name(), named("new"));
  ASSERT_EQ(act(extend("a", milliseconds(100))), "0 ");
  EXPECT_TRUE(eventually([this] { return name() == named("old"); }));
}

TEST_F(CommitConfirmed, Row39ADurationOfNoughtOrLessIsRefused) {
  ASSERT_EQ(act(commit_as("a"), "\"new\""), "0 ");
  const std::string refusal = "3 Extension commit: rollback_duration has to be above 0";
  EXPECT_EQ(act(extend("a", seconds(0))), refusal);
  EXPECT_EQ(act(extend("a", seconds(-1))), refusal);
  Act zero = extend("a", seconds(0));
  zero.mutable_set_rollback_duration()->mutable_rollback_duration()->set_seconds(0);
  EXPECT_EQ(act(zero), refusal);
  Act negative = extend("a", seconds(1));
  negative.mutable_set_rollback_duration()->mutable_rollback_duration()->set_nanos(-1);
  EXPECT_EQ(act(negative), refusal);
}

TEST_F(CommitConfirmed, Row39WhatTheExtensionHasToSay) {
  Act no_id = commit_as("");
  EXPECT_EQ(act(no_id, "\"x\""), "3 Extension commit without an id");
  Act no_action;
  no_action.set_id("a");
  EXPECT_EQ(act(no_action, "\"x\""), "3 Extension commit without an action");
  EXPECT_EQ(act(commit_as(std::string(1025, 'i')), "\"x\""),
            "3 Extension commit: the id is longer than 1024 bytes");
  EXPECT_EQ(act(commit_as("a", seconds(-5)), "\"x\""),
            "3 Extension commit: rollback_duration has to be above 0");
  Act for_ever = commit_as("a");
  for_ever.mutable_commit()->mutable_rollback_duration()->set_seconds(
      std::numeric_limits<std::int64_t>::max());
  EXPECT_EQ(act(for_ever, "\"x\""), "3 Extension commit: rollback_duration is above 366 days");
  gnmi::SetRequest twice = request_with(commit_as("a"), "\"x\"");
  *twice.add_extension()->mutable_commit() = commit_as("a");
  EXPECT_EQ(apply(twice), "3 Extension commit is given twice");
  EXPECT_EQ(
      act(confirm("a"), "\"x\""),
      "3 Action confirm of extension commit stands alone, without delete, replace and update");
  EXPECT_FALSE(real_store->pending().has_value());
  EXPECT_EQ(name(), "5 path[0] /example-device:device/name: no data");
}

TEST_F(CommitConfirmed, Row39ARestartGoesOnWaiting) {
  ASSERT_EQ(update(kName, "\"old\""), "0 ");
  ASSERT_EQ(act(commit_as("a", seconds(2)), "\"new\""), "0 ");
  restart();
  EXPECT_EQ(name(), named("new"));
  EXPECT_EQ(update(kName, "\"other\"").substr(0, 2), "9 ");
  EXPECT_TRUE(eventually([this] { return name() == named("old"); }));
}

TEST_F(CommitConfirmed, Row39AnOverdueCommitIsTakenBackBeforeTheServerServes) {
  ASSERT_EQ(update(kName, "\"old\""), "0 ");
  ASSERT_EQ(act(commit_as("a", milliseconds(300)), "\"new\""), "0 ");
  stop();
  real_store.reset();
  std::this_thread::sleep_for(milliseconds(400));
  std::string heard;
  approve = [&heard](const nexa::store::Change& change) {
    heard = change.author;
    return grpc::Status(grpc::StatusCode::ABORTED, "no");
  };
  open_store();
  EXPECT_EQ(name(), named("old"));
  EXPECT_EQ(heard, "nexad");
  const std::vector<std::string> lines = recorder.audit_lines();
  ASSERT_FALSE(lines.empty());
  EXPECT_EQ(lines.back(), "expiry id=\"a\" unconfirmed=2 restored=1 commit=3");
}

TEST_F(CommitConfirmed, Row39ARefusedCommitDoesNotWait) {
  EXPECT_EQ(act(commit_as("a"), "7").substr(0, 2), "3 ");
  EXPECT_FALSE(real_store->pending().has_value());
  EXPECT_EQ(update(kName, "\"x\""), "0 ");
}

TEST_F(CommitConfirmed, Row39TheAuditNamesActionAndId) {
  ASSERT_EQ(act(commit_as("a"), "\"new\""), "0 ");
  ASSERT_EQ(act(confirm("a")), "0 ");
  const std::vector<std::string> lines = recorder.audit_lines();
  ASSERT_GE(lines.size(), 2U);
  EXPECT_NE(lines[lines.size() - 2].find(" action=commit id=\"a\" verdict=OK commit=1"),
            std::string::npos);
  EXPECT_NE(lines.back().find(" action=confirm id=\"a\" verdict=OK"), std::string::npos);
}

TEST_F(CommitConfirmed, TheDeviceProfileKnowsNoneOfIt) {
  stop();
  options.profile = nexa::profile::Profile::kDevice;
  start();
  EXPECT_EQ(act(commit_as(""), "\"x\""), "12 Extension commit not supported");
}

}  // namespace
}  // namespace nexa_test
