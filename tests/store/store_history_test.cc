// What outlives the process: restarts, history, rollback, snapshots, the hook's change.
#include <sqlite3.h>

#include <filesystem>
#include <future>

#include "store/log/sqlite.h"
#include "store_fixture.h"

namespace {

using namespace nexa_test;
using StoreHistory = StoreTest;

std::int64_t count_of(const std::string& directory, const char* sql) {
  sqlite3* handle = nullptr;
  EXPECT_EQ(
      sqlite3_open_v2((directory + "/nexa.db").c_str(), &handle, SQLITE_OPEN_READONLY, nullptr),
      SQLITE_OK);
  const nexa::store::DatabasePtr database(handle);
  nexa::store::Statement statement(handle, sql);
  return statement.step() == SQLITE_ROW ? statement.integer(0) : -1;
}

// A snapshot is written beside the commits.
class StoreSnapshots : public StoreTest {
 protected:
  void wait_for_snapshot(std::int64_t number) const {
    for (int i = 0; i < 2000; ++i) {
      if (count_of(directory(), "SELECT max(number) FROM snapshots") >= number) return;
      usleep(2000);
    }
    ADD_FAILURE() << "no snapshot of commit " << number;
  }
};

TEST_F(StoreHistory, AStartFindsWhatWasCommitted) {
  EXPECT_EQ(commit({update("<name>n</name><rule><id>2</id></rule><rule><id>1</id></rule>")}).number,
            1U);
  EXPECT_EQ(commit({update("<speed>7</speed>")}).number, 2U);
  const std::string before = xml();
  open();
  ASSERT_NE(store_, nullptr) << error_;
  EXPECT_EQ(xml(), before);
  EXPECT_EQ(store_->snapshot()->number(), 2U);
  EXPECT_EQ(commit({update("<speed>8</speed>")}).number, 3U);
  ASSERT_EQ(notes_.size(), 1U);
  EXPECT_EQ(notes_[0], "configuration 2 from " + directory() + "/nexa.db, 0 commits replayed");
}

TEST_F(StoreHistory, CommitsAreListedNewestFirst) {
  const CommitResult first = commit({update("<name>n</name>")});
  CommitRequest request;
  request.edits = {update("<name>m</name>")};
  request.author = "alice";
  request.comment = "why";
  const CommitResult second = store_->commit(request);
  EXPECT_GT(second.time_ns, first.time_ns);
  std::vector<nexa::store::CommitRecord> records;
  ASSERT_TRUE(store_->history(0, records).ok());
  ASSERT_EQ(records.size(), 2U);
  EXPECT_EQ(records[0].number, 2U);
  EXPECT_EQ(records[0].time_ns, second.time_ns);
  EXPECT_EQ(records[0].author, "alice");
  EXPECT_EQ(records[0].comment, "why");
  EXPECT_GT(records[0].change_bytes, 10U);
  EXPECT_EQ(records[1].author, "tester");
  ASSERT_TRUE(store_->history(1, records).ok());
  EXPECT_EQ(records.size(), 1U);
}

TEST_F(StoreHistory, NothingChangedIsNoCommit) {
  EXPECT_EQ(commit({update("<name>n</name>")}).number, 1U);
  bool asked = false;
  CommitRequest request;
  request.edits = {update("<name>n</name>"), drop("/top/tag")};
  request.approve = [&](const nexa::store::Change&) {
    asked = true;
    return grpc::Status::OK;
  };
  const CommitResult result = store_->commit(request);
  EXPECT_TRUE(result.status.ok());
  EXPECT_EQ(result.number, 1U);
  EXPECT_FALSE(asked);
  std::vector<nexa::store::CommitRecord> records;
  ASSERT_TRUE(store_->history(0, records).ok());
  EXPECT_EQ(records.size(), 1U);
}

TEST_F(StoreHistory, TheHookSeesBeforeAndAfterAndMayRefuse) {
  EXPECT_EQ(commit({update("<name>n</name><port><id>1</id><mode>b</mode></port>"
                           "<port><id>2</id></port>")})
                .number,
            1U);
  nexa::store::Change seen;
  std::string running;
  CommitRequest request;
  request.author = "bob";
  request.edits = {update("<port><id>1</id><mode>a</mode></port>")};
  request.approve = [&](const nexa::store::Change& change) {
    seen = change;
    running = xml();
    return grpc::Status(grpc::StatusCode::ABORTED, "no");
  };
  const std::string before = xml();
  const CommitResult result = store_->commit(request);
  EXPECT_EQ(result.status.error_code(), grpc::StatusCode::ABORTED);
  EXPECT_EQ(result.status.error_message(), "no");
  EXPECT_EQ(running, before);
  EXPECT_EQ(xml(), before);
  EXPECT_EQ(seen.number, 2U);
  EXPECT_EQ(seen.author, "bob");
  EXPECT_EQ(seen.before, config_xml("<port><id>1</id><mode>b</mode></port>"));
  EXPECT_EQ(seen.after, config_xml("<port><id>1</id><mode>a</mode></port>"));
  request.approve = nullptr;
  EXPECT_EQ(store_->commit(request).number, 2U);
}

TEST_F(StoreHistory, TheHookLetsACommitPass) {
  int asked = 0;
  std::string difference;
  CommitRequest request;
  request.edits = {update("<name>n</name>")};
  request.approve = [&](const nexa::store::Change& change) {
    ++asked;
    difference = change.difference();
    return grpc::Status::OK;
  };
  EXPECT_EQ(store_->commit(request).number, 1U);
  EXPECT_EQ(xml(), config_xml("<name>n</name>"));
  EXPECT_EQ(difference,
            "<top xmlns=\"urn:s\" xmlns:yang=\"urn:ietf:params:xml:ns:yang:1\" "
            "yang:operation=\"create\"><name>n</name></top>");
  EXPECT_EQ(store_->rollback(0, "bob", request.approve).number, 2U);
  EXPECT_EQ(asked, 2);
  EXPECT_EQ(xml(), "<config/>");
  // A rollback may be refused as any other commit.
  const CommitResult refused = store_->rollback(1, "bob", [](const nexa::store::Change&) {
    return grpc::Status(grpc::StatusCode::ABORTED, "no");
  });
  EXPECT_EQ(refused.status.error_message(), "no");
  EXPECT_EQ(store_->snapshot()->number(), 2U);
}

TEST_F(StoreHistory, RollbackRestoresAnyCommit) {
  std::vector<std::string> states{xml()};
  for (int i = 1; i <= 12; ++i) {
    const std::string number = std::to_string(i);
    ASSERT_EQ(
        commit_text({update("<name>n" + number + "</name><rule><id>" + number + "</id></rule>"),
                     drop("/top/rule[id=" + std::to_string(i > 3 ? i - 3 : 200) + "]")}),
        "");
    states.push_back(xml());
  }
  for (const int target : {0, 5, 11, 12, 1}) {
    const CommitResult result =
        store_->rollback(static_cast<std::uint64_t>(target), "carol", nullptr);
    ASSERT_TRUE(result.status.ok()) << result.status.error_message();
    EXPECT_EQ(xml(), states[static_cast<std::size_t>(target)]);
  }
  std::vector<nexa::store::CommitRecord> records;
  ASSERT_TRUE(store_->history(1, records).ok());
  EXPECT_EQ(records[0].number, 17U);
  EXPECT_EQ(records[0].author, "carol");
  EXPECT_EQ(records[0].comment, "rollback to 1");
  const CommitResult unknown = store_->rollback(99, "carol", nullptr);
  EXPECT_EQ(unknown.status.error_code(), grpc::StatusCode::NOT_FOUND);
  EXPECT_EQ(unknown.status.error_message(), "there is no commit 99");
}

TEST_F(StoreSnapshots, SnapshotsAreWrittenAndOldCommitsDropped) {
  commits_per_snapshot_ = 5;
  history_limit_ = 10;
  open();
  std::string state_37;
  for (int i = 1; i <= 40; ++i) {
    ASSERT_EQ(commit({update("<speed>" + std::to_string(i) + "</speed>")}).number,
              static_cast<std::uint64_t>(i));
    if (i == 37) state_37 = xml();
    if (i % 5 == 0) wait_for_snapshot(i);
  }
  open();
  ASSERT_NE(store_, nullptr) << error_;
  EXPECT_EQ(count_of(directory(), "SELECT max(number) FROM snapshots"), 40);
  const std::int64_t oldest = count_of(directory(), "SELECT min(number) FROM commits");
  EXPECT_GT(oldest, 1);
  EXPECT_LE(oldest, 31);
  EXPECT_EQ(count_of(directory(), "SELECT min(number) FROM snapshots"), oldest - 1);
  EXPECT_EQ(store_->rollback(37, "a", nullptr).number, 41U);
  EXPECT_EQ(xml(), state_37);
  const CommitResult gone = store_->rollback(1, "a", nullptr);
  EXPECT_EQ(gone.status.error_code(), grpc::StatusCode::FAILED_PRECONDITION);
  EXPECT_EQ(gone.status.error_message(), "commit 1 cannot be restored: commit 1 is not kept");
}

TEST_F(StoreHistory, ChangesAreKeptAsDifferences) {
  for (int i = 0; i < 20; ++i) {
    const std::string id = std::to_string(i % 7);
    ASSERT_EQ(commit_text({update("<rule><id>" + id + "</id><text>" + std::to_string(i) +
                                  "</text></rule><order>" + std::to_string(i) + "</order>"),
                           drop("/top/rule[id=" + std::to_string((i + 3) % 7) + "]")}),
              "");
  }
  EXPECT_EQ(count_of(directory(), "SELECT count(*) FROM commits"), 20);
  EXPECT_EQ(count_of(directory(), "SELECT count(*) FROM commits WHERE whole <> 0"), 0);
}

TEST_F(StoreHistory, ASecondProcessIsTurnedAway) {
  nexa::store::TreeStoreOptions options;
  options.directory = directory();
  const std::string in_use = directory() + ": in use by process " + std::to_string(getpid());
  EXPECT_EQ(nexa_test::line_of(nexa::store::open_tree_store(options)), in_use);
  // The one that was turned away left the holder's name as it was.
  EXPECT_EQ(nexa_test::line_of(nexa::store::open_tree_store(options)), in_use);
}

TEST_F(StoreHistory, FilesArePrivate) {
  namespace fs = std::filesystem;
  ASSERT_EQ(commit({update("<name>n</name>")}).number, 1U);
  EXPECT_EQ(fs::status(directory()).permissions(), fs::perms(0700));
  int files = 0;
  for (const auto& entry : fs::directory_iterator(directory())) {
    EXPECT_EQ(entry.status().permissions(), fs::perms(0600)) << entry.path();
    ++files;
  }
  EXPECT_GE(files, 3);
}

TEST_F(StoreHistory, AReaderThatStaysDoesNotStopTheWriter) {
  ASSERT_EQ(commit({update("<name>a</name>")}).number, 1U);
  const auto held = store_->snapshot();
  const std::string before = held->xml();
  for (int i = 0; i < 3; ++i) {
    ASSERT_TRUE(commit({update("<name>b" + std::to_string(i) + "</name>")}).status.ok());
  }
  EXPECT_EQ(held->xml(), before);
  EXPECT_EQ(xml(), config_xml("<name>b2</name>"));
}

TEST_F(StoreHistory, ASnapshotOutlivesTheStore) {
  ASSERT_EQ(commit({update("<name>a</name>")}).number, 1U);
  const auto held = store_->snapshot();
  store_.reset();
  EXPECT_EQ(held->xml(), config_xml("<name>a</name>"));
}

}  // namespace
