// A commit that waits for its confirmation: what is refused meanwhile, how it ends, and that a
// restart changes nothing of it.
#include <sqlite3.h>

#include <chrono>
#include <limits>

#include "store/log/commit_log.h"
#include "store/log/log_rows.h"
#include "store_fixture.h"

namespace {

using namespace nexa_test;
using nexa::store::Change;
using nexa::store::PendingCommit;
using std::chrono::hours;
using std::chrono::nanoseconds;
using std::chrono::seconds;

std::int64_t now_ns() {
  return nanoseconds(std::chrono::system_clock::now().time_since_epoch()).count();
}

class StorePending : public StoreTest {
 protected:
  CommitResult commit_for(const std::string& id, std::vector<Edit> edits,
                          nanoseconds within = hours(1)) {
    CommitRequest request;
    request.edits = std::move(edits);
    request.author = "tester";
    request.comment = "try";
    request.confirm_id = id;
    request.confirm_within = within;
    return store_->commit(request);
  }
  CommitResult cancel(const std::string& id) {
    return store_->cancel(id, "other", "enough", nullptr);
  }
  // "ID NUMBER BASE", "none".
  std::string pending() const {
    const std::optional<PendingCommit> found = store_->pending();
    if (!found) return "none";
    return found->id + " " + std::to_string(found->number) + " " + std::to_string(found->base);
  }
  std::string newest_comment() const {
    std::vector<nexa::store::CommitRecord> records;
    EXPECT_TRUE(store_->history(1, records).ok());
    return records.empty() ? "" : records.front().author + ": " + records.front().comment;
  }
  void run_sql(const char* sql) {
    store_.reset();
    sqlite3* handle = nullptr;
    ASSERT_EQ(sqlite3_open((directory() + "/nexa.db").c_str(), &handle), SQLITE_OK);
    const nexa::store::DatabasePtr database(handle);
    ASSERT_EQ(nexa::store::execute(handle, sql), SQLITE_OK);
  }
};

TEST_F(StorePending, NothingWaitsAtFirst) {
  EXPECT_EQ(pending(), "none");
  EXPECT_EQ(store_->confirm("a").error_code(), grpc::StatusCode::FAILED_PRECONDITION);
  EXPECT_EQ(store_->confirm("a").error_message(), "no commit waits for a confirmation");
  EXPECT_EQ(store_->extend("a", seconds(1)).error_code(), grpc::StatusCode::FAILED_PRECONDITION);
  EXPECT_EQ(cancel("a").status.error_code(), grpc::StatusCode::FAILED_PRECONDITION);
  EXPECT_EQ(cancel("").status.error_code(), grpc::StatusCode::FAILED_PRECONDITION);
}

TEST_F(StorePending, ACommitIsVisibleWhileItWaits) {
  ASSERT_TRUE(commit({update("<name>n</name>")}).status.ok());
  const std::int64_t before = now_ns();
  const CommitResult result = commit_for("a", {update("<name>m</name>")}, seconds(7));
  ASSERT_TRUE(result.status.ok()) << result.status.error_message();
  EXPECT_EQ(result.number, 2U);
  EXPECT_EQ(xml(), config_xml("<name>m</name>"));
  EXPECT_EQ(pending(), "a 2 1");
  EXPECT_EQ(store_->pending()->duration, seconds(7));
  EXPECT_GE(store_->pending()->time_ns, before + nanoseconds(seconds(7)).count());
  EXPECT_LE(store_->pending()->time_ns, now_ns() + nanoseconds(seconds(7)).count());
}

TEST_F(StorePending, OtherCommitsAreRefusedMeanwhile) {
  ASSERT_TRUE(commit_for("a\n", {update("<name>m</name>")}).status.ok());
  for (const CommitResult& result :
       {commit({update("<speed>7</speed>")}), commit_for("b", {update("<speed>7</speed>")}),
        commit_for("a\n", {update("<speed>7</speed>")})}) {
    EXPECT_EQ(result.status.error_code(), grpc::StatusCode::FAILED_PRECONDITION);
    EXPECT_EQ(result.status.error_message(),
              "commit 1 waits for its confirmation as \"a\\n\"; confirm or cancel it first");
  }
  EXPECT_EQ(xml(), config_xml("<name>m</name>"));
  EXPECT_EQ(pending(), "a\n 1 0");
}

TEST_F(StorePending, AConfirmedCommitStays) {
  ASSERT_TRUE(commit_for("a", {update("<name>m</name>")}).status.ok());
  ASSERT_TRUE(store_->confirm("a").ok());
  EXPECT_EQ(pending(), "none");
  EXPECT_EQ(cancel("a").status.error_code(), grpc::StatusCode::FAILED_PRECONDITION);
  EXPECT_TRUE(commit({update("<speed>7</speed>")}).status.ok());
  open();
  EXPECT_EQ(pending(), "none");
  EXPECT_EQ(xml(), config_xml("<name>m</name><speed>7</speed>"));
}

TEST_F(StorePending, ACancelledCommitIsTakenBackByANewOne) {
  ASSERT_TRUE(commit({update("<name>n</name><tag>x</tag>")}).status.ok());
  const std::string before = xml();
  ASSERT_TRUE(commit_for("a", {update("<name>m</name>"), drop("/s:top/tag")}).status.ok());
  EXPECT_EQ(newest_comment(), "tester: try");
  const CommitResult result = cancel("a");
  ASSERT_TRUE(result.status.ok()) << result.status.error_message();
  EXPECT_EQ(result.number, 3U);
  EXPECT_EQ(xml(), before);
  EXPECT_EQ(pending(), "none");
  EXPECT_EQ(newest_comment(), "other: rollback to 1: enough");
  EXPECT_TRUE(commit({update("<speed>7</speed>")}).status.ok());
  open();
  EXPECT_EQ(pending(), "none");
}

TEST_F(StorePending, CancelWithoutAnIdMeansWhicheverWaits) {
  ASSERT_TRUE(commit_for("a", {update("<name>m</name>")}).status.ok());
  EXPECT_TRUE(cancel("").status.ok());
  EXPECT_EQ(pending(), "none");
  EXPECT_EQ(xml(), "<config/>");
}

TEST_F(StorePending, AnotherIdIsRefused) {
  ASSERT_TRUE(commit_for("a", {update("<name>m</name>")}).status.ok());
  for (const grpc::Status& status :
       {store_->confirm("b"), store_->extend("b", seconds(1)), cancel("b").status}) {
    EXPECT_EQ(status.error_code(), grpc::StatusCode::INVALID_ARGUMENT);
    EXPECT_EQ(status.error_message(),
              "the commit that waits for its confirmation is \"a\", not \"b\"");
  }
  EXPECT_EQ(pending(), "a 1 0");
}

TEST_F(StorePending, TheTimeCanBeSetAnew) {
  ASSERT_TRUE(commit_for("a", {update("<name>m</name>")}, hours(5)).status.ok());
  const std::int64_t before = now_ns();
  ASSERT_TRUE(store_->extend("a", seconds(3)).ok());
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(pending(), "a 1 0");
    EXPECT_EQ(store_->pending()->duration, seconds(3));
    EXPECT_GE(store_->pending()->time_ns, before + nanoseconds(seconds(3)).count());
    EXPECT_LT(store_->pending()->time_ns, before + nanoseconds(hours(1)).count());
    open();
  }
}

TEST_F(StorePending, ALongWaitEndsWithTheClock) {
  ASSERT_TRUE(commit_for("a", {update("<name>m</name>")}, nanoseconds::max()).status.ok());
  EXPECT_EQ(store_->pending()->time_ns, std::numeric_limits<std::int64_t>::max());
}

TEST_F(StorePending, ARestartKeepsWhatWaits) {
  ASSERT_TRUE(commit({update("<name>n</name>")}).status.ok());
  ASSERT_TRUE(commit_for("a", {update("<name>m</name>")}, seconds(7)).status.ok());
  const std::int64_t time = store_->pending()->time_ns;
  open();
  ASSERT_NE(store_, nullptr) << error_;
  EXPECT_EQ(pending(), "a 2 1");
  EXPECT_EQ(store_->pending()->time_ns, time);
  EXPECT_EQ(xml(), config_xml("<name>m</name>"));
  EXPECT_FALSE(commit({update("<speed>7</speed>")}).status.ok());
  EXPECT_TRUE(cancel("a").status.ok());
  EXPECT_EQ(xml(), config_xml("<name>n</name>"));
}

TEST_F(StorePending, ACommitThatChangesNothingWaitsAsWell) {
  ASSERT_TRUE(commit({update("<name>n</name>")}).status.ok());
  const CommitResult result = commit_for("a", {update("<name>n</name>")});
  ASSERT_TRUE(result.status.ok());
  EXPECT_EQ(result.number, 1U);
  EXPECT_EQ(pending(), "a 1 1");
  EXPECT_FALSE(commit({update("<speed>7</speed>")}).status.ok());
  open();
  EXPECT_EQ(pending(), "a 1 1");
  EXPECT_TRUE(cancel("a").status.ok());
  EXPECT_EQ(pending(), "none");
  EXPECT_EQ(store_->snapshot()->number(), 1U);
  open();
  EXPECT_EQ(pending(), "none");
}

TEST_F(StorePending, ARefusedCommitDoesNotWait) {
  EXPECT_FALSE(commit_for("a", {update("<limits><low>10</low></limits>")}).status.ok());
  EXPECT_EQ(pending(), "none");
  EXPECT_TRUE(commit({update("<speed>7</speed>")}).status.ok());
}

TEST_F(StorePending, ARollbackByTheOperatorEndsTheWait) {
  ASSERT_TRUE(commit({update("<name>n</name>")}).status.ok());
  ASSERT_TRUE(commit_for("a", {update("<name>m</name>")}).status.ok());
  ASSERT_TRUE(store_->rollback(0, "operator", nullptr).status.ok());
  EXPECT_EQ(pending(), "none");
  EXPECT_EQ(xml(), "<config/>");
  open();
  EXPECT_EQ(pending(), "none");
}

TEST_F(StorePending, TheHookHearsOfACancelAndCannotRefuseIt) {
  ASSERT_TRUE(commit_for("a", {update("<name>m</name>")}).status.ok());
  std::string heard;
  const CommitResult result =
      store_->cancel("a", "other", "enough", [&heard](const Change& change) {
        heard = change.before + change.after;
        return grpc::Status(grpc::StatusCode::ABORTED, "no");
      });
  EXPECT_TRUE(result.status.ok());
  EXPECT_EQ(heard, config_xml("<name>m</name>") + "<config/>");
  EXPECT_EQ(xml(), "<config/>");
}

TEST_F(StorePending, ASnapshotBesideItKeepsWhatIsToBeRestored) {
  commits_per_snapshot_ = 1;
  history_limit_ = 1;
  open();
  for (int i = 0; i < 20; ++i) {
    ASSERT_TRUE(commit({update("<speed>" + std::to_string(i) + "</speed>")}).status.ok());
  }
  ASSERT_TRUE(commit_for("a", {update("<name>m</name>")}).status.ok());
  open();
  open();
  EXPECT_EQ(pending(), "a 21 20");
  ASSERT_TRUE(cancel("a").status.ok());
  EXPECT_EQ(xml(), config_xml("<speed>19</speed>"));
}

TEST_F(StorePending, ADamagedRecordIsFound) {
  ASSERT_TRUE(commit_for("a", {update("<name>m</name>")}).status.ok());
  run_sql("UPDATE pending SET deadline_ns = deadline_ns + 1");
  open();
  EXPECT_EQ(store_, nullptr);
  EXPECT_EQ(error_, directory() +
                        "/nexa.db: damaged: the record of the commit that waits does not match its "
                        "checksum; restore a copy of the directory");
}

TEST_F(StorePending, ARecordOfAnotherCommitIsFound) {
  ASSERT_TRUE(commit_for("a", {update("<name>m</name>")}).status.ok());
  ASSERT_TRUE(store_->confirm("a").ok());
  ASSERT_TRUE(commit({update("<speed>7</speed>")}).status.ok());
  store_.reset();
  sqlite3* handle = nullptr;
  ASSERT_EQ(sqlite3_open((directory() + "/nexa.db").c_str(), &handle), SQLITE_OK);
  const nexa::store::DatabasePtr database(handle);
  const std::string hash = nexa::store::pending_digest({1, 0, "a", 5, 5});
  nexa::store::Statement row(handle, "INSERT INTO pending VALUES(0, 1, 0, 'a', 5, 5, ?)");
  ASSERT_EQ(row.bind_blob(1, hash).run(), SQLITE_OK);
  open();
  EXPECT_EQ(store_, nullptr);
  EXPECT_EQ(error_, directory() +
                        "/nexa.db: damaged: the commit that waits is not the newest one; restore a "
                        "copy of the directory");
}

}  // namespace
