// What becomes of a commit that failed half-way: the log is opened again, and what it is found to
// hold decides what is answered.
#include <fstream>

#include "failing_disk.h"
#include "log_fixture.h"
#include "store/log/log_rows.h"

namespace nexa::store {
namespace commit_log_doubt_test {

using nexa_test::AtConnections;
using nexa_test::FailingDisk;
using nexa_test::line_of;
using Code = LogResult::Code;
using Part = FailingDisk::Part;

constexpr char kOtherLog[] = "the log is not the one that is read; start again";
constexpr char kGap[] = "commits are numbered without gaps";
constexpr char kUnconfirmed[] = "the disk does not confirm writes: Input/output error";
constexpr char kRefused[] =
    "the disk does not confirm writes: Input/output error; nothing was changed";

PendingChange set(const std::string& id, std::uint64_t number) {
  return {PendingChange::Kind::kSet, {number, number - 1, id, 5000, 1000}};
}
PendingChange clear() { return {PendingChange::Kind::kClear, {}}; }

class LogDoubt : public nexa_test::LogFixture {
 protected:
  void SetUp() override {
    LogFixture::SetUp();
    ASSERT_NO_FATAL_FAILURE(append_up_to(1));
  }

  std::string newest_hash() const {
    std::string hash;
    with_database([&hash](sqlite3* database) {
      Statement row(database, "SELECT commit_hash FROM head");
      ASSERT_EQ(row.step(), SQLITE_ROW);
      hash = row.text(0);
    });
    return hash;
  }
  void set_head(std::uint64_t number, const std::string& hash) const {
    with_database([&](sqlite3* database) {
      const std::string digest = head_digest(number, hash);
      Statement row(database, "INSERT OR REPLACE INTO head VALUES(0, ?, ?, ?)");
      ASSERT_EQ(row.bind(1, signed_number(number)).bind_blob(2, hash).bind_blob(3, digest).run(),
                SQLITE_OK);
    });
  }
  void set_pending_row(const LogPending& pending) const {
    with_database([&](sqlite3* database) {
      const std::string digest = pending_digest(pending);
      Statement row(database, "INSERT OR REPLACE INTO pending VALUES(0, ?, ?, ?, ?, ?, ?)");
      row.bind(1, signed_number(pending.number)).bind(2, signed_number(pending.base));
      row.bind(3, std::string_view(pending.id)).bind(4, pending.deadline_ns);
      ASSERT_EQ(row.bind(5, pending.duration_ns).bind_blob(6, digest).run(), SQLITE_OK);
    });
  }
  // The commit after the newest, as append() writes it.
  void add_commit(std::uint64_t number) const {
    const LogEntry entry = entry_of(number);
    const std::string hash = commit_digest(newest_hash(), entry);
    with_database([&](sqlite3* database) {
      Statement row(database,
                    "INSERT INTO commits(number, time_ns, author, comment, whole, change, hash) "
                    "VALUES(?, ?, ?, '', 0, ?, ?)");
      row.bind(1, signed_number(number)).bind(2, entry.time_ns);
      row.bind(3, std::string_view(entry.author)).bind(4, std::string_view(entry.change));
      ASSERT_EQ(row.bind_blob(5, hash).run(), SQLITE_OK);
    });
    set_head(number, hash);
  }
  std::uint64_t witnessed() const {
    const auto found = CommitWitness(options_.directory, true).read();
    return found ? found->number : 0;
  }
};

TEST_F(LogDoubt, ACommitThatTheTablesRefuseIsAFailureOfItsOwn) {
  const PendingChange waits = set("id", 2);
  for (const char* const event : {"INSERT ON commits", "UPDATE ON head", "INSERT ON pending"}) {
    ASSERT_NO_FATAL_FAILURE(refuse_rows(event));
    const LogResult refused = append(waits);
    EXPECT_EQ(refused.code, Code::kFailed) << event;
    EXPECT_EQ(refused.text, refusal()) << event;
    EXPECT_EQ(log_->obstacle(), "") << event;
    EXPECT_FALSE(log_->pending()) << event;
    EXPECT_EQ(log_->tail().commits, 1U) << event;
    EXPECT_EQ(ask("SELECT count(*) FROM commits"), 1) << event;
    ASSERT_NO_FATAL_FAILURE(allow_rows());
  }
  ASSERT_TRUE(append(waits).ok());
  EXPECT_EQ(log_->pending(), waits.pending);
  ASSERT_NO_FATAL_FAILURE(expect_whole(2));
  EXPECT_EQ(log_->pending(), waits.pending);
}

TEST_F(LogDoubt, ALogThatCanBeWrittenIsNotOpenedAgain) {
  int connections = 0;
  const AtConnections counted([&connections](sqlite3*) {
    ++connections;
    return SQLITE_OK;
  });
  ASSERT_TRUE(append().ok());
  ASSERT_TRUE(append().ok());
  EXPECT_TRUE(log_->settle().ok());
  EXPECT_EQ(connections, 0);
}

TEST_F(LogDoubt, OnlyTheNextNumberIsAppended) {
  for (const std::uint64_t number : {0U, 1U, 3U}) {
    const LogResult refused = log_->append(entry_of(number));
    EXPECT_EQ(refused.code, Code::kFailed) << number;
    EXPECT_EQ(refused.text, kGap) << number;
  }
  ASSERT_TRUE(append().ok());
  ASSERT_NO_FATAL_FAILURE(expect_whole(2));
}

TEST_F(LogDoubt, ALogWhoseNewestCommitCannotBeReadIsNotWritten) {
  const std::string hash = newest_hash();
  const auto repair = [&] {
    set_head(1, hash);
    run_sql("DELETE FROM pending");
  };
  for (const char* const damage :
       {"DELETE FROM head", "UPDATE head SET number = 2", "UPDATE head SET commit_hash = x'00'",
        "INSERT INTO pending VALUES(0, 1, 0, 'id', 5, 5, x'00')"}) {
    ASSERT_NO_FATAL_FAILURE(refuse_rows("INSERT ON commits"));
    ASSERT_NO_FATAL_FAILURE(run_sql(damage));
    EXPECT_EQ(append().text, refusal()) << damage;
    const std::string why = file() + ": cannot be read";
    EXPECT_EQ(log_->obstacle(), why) << damage;
    EXPECT_FALSE(log_->writable());
    ASSERT_NO_FATAL_FAILURE(allow_rows());
    const LogResult refused = append();
    EXPECT_EQ(refused.code, Code::kFailed);
    EXPECT_EQ(refused.text, why);
    EXPECT_EQ(log_->head(), 1U) << "reading goes on";
    LogEntry entry;
    EXPECT_EQ(line_of(log_->entry(1, entry)), "");
    ASSERT_NO_FATAL_FAILURE(repair());
    EXPECT_TRUE(log_->settle().ok());
    EXPECT_TRUE(log_->writable());
  }
  ASSERT_TRUE(append().ok());
  ASSERT_NO_FATAL_FAILURE(expect_whole(2));
}

TEST_F(LogDoubt, AnotherLogIsNotGoneOnWith) {
  const std::string hash = newest_hash();
  const std::string other(32, 'x');
  for (const auto& [number, found] :
       {std::pair(1U, other), std::pair(0U, hash), std::pair(2U, hash)}) {
    ASSERT_NO_FATAL_FAILURE(refuse_rows("INSERT ON commits"));
    ASSERT_NO_FATAL_FAILURE(set_head(number, found));
    EXPECT_EQ(append().text, refusal());
    EXPECT_EQ(log_->obstacle(), kOtherLog);
    ASSERT_NO_FATAL_FAILURE(allow_rows());
    for (int i = 0; i < 2; ++i) {
      const LogResult settled = log_->settle();
      EXPECT_EQ(settled.code, Code::kFailed) << number;
      EXPECT_EQ(settled.text, kOtherLog) << number;
    }
    EXPECT_EQ(log_->head(), 1U);
    ASSERT_NO_FATAL_FAILURE(set_head(1, hash));
    EXPECT_TRUE(log_->settle().ok());
  }
  ASSERT_TRUE(append().ok());
  ASSERT_NO_FATAL_FAILURE(expect_whole(2));
}

TEST_F(LogDoubt, ALogThatCannotBeOpenedAgainIsTriedUntilItCan) {
  ASSERT_NO_FATAL_FAILURE(refuse_rows("INSERT ON commits"));
  const std::string why = "the disk does not confirm writes: cannot be opened; nothing was changed";
  {
    const AtConnections none([](sqlite3* /*database*/) { return SQLITE_NOMEM; });
    EXPECT_EQ(append().text, refusal());
    EXPECT_EQ(log_->obstacle(), why);
    const LogResult settled = log_->settle();
    EXPECT_EQ(settled.code, Code::kUnavailable);
    EXPECT_EQ(settled.text, why);
    EXPECT_EQ(append().text, why);
  }
  ASSERT_NO_FATAL_FAILURE(allow_rows());
  ASSERT_TRUE(append().ok());
  ASSERT_NO_FATAL_FAILURE(expect_whole(2));
}

// As far as that shows in the log itself, whatever was answered on the way.
TEST_F(LogDoubt, WhatWaitsIsWhatTheLogSays) {
  const PendingChange first = set("first", 1);
  const PendingChange second = set("second", 1);
  ASSERT_TRUE(log_->set_pending(first).ok());
  for (const auto& [event, change] :
       {std::pair("INSERT ON pending", second), std::pair("DELETE ON pending", clear())}) {
    ASSERT_NO_FATAL_FAILURE(refuse_rows(event));
    const LogResult refused = log_->set_pending(change);
    EXPECT_EQ(refused.code, Code::kFailed) << event;
    EXPECT_EQ(refused.text, refusal()) << event;
    EXPECT_EQ(log_->pending(), first.pending) << event;
    EXPECT_TRUE(log_->writable());
    ASSERT_NO_FATAL_FAILURE(allow_rows());
  }
  ASSERT_NO_FATAL_FAILURE(set_pending_row(second.pending));
  ASSERT_NO_FATAL_FAILURE(refuse_rows("INSERT ON pending"));
  EXPECT_TRUE(log_->set_pending(second).ok()) << "it is there";
  EXPECT_EQ(log_->pending(), second.pending);
  PendingChange later = second;
  later.pending.deadline_ns += 1;
  EXPECT_FALSE(log_->set_pending(later).ok()) << "another one is";
  EXPECT_EQ(log_->pending(), second.pending);
  ASSERT_NO_FATAL_FAILURE(allow_rows());
  ASSERT_NO_FATAL_FAILURE(refuse_rows("DELETE ON pending"));
  bool is_gone = false;
  {
    const AtConnections takes_it([&](sqlite3* /*database*/) {
      if (std::exchange(is_gone, true)) return SQLITE_OK;
      allow_rows();
      run_sql("DELETE FROM pending");
      return SQLITE_OK;
    });
    EXPECT_TRUE(log_->set_pending(clear()).ok()) << "it is gone";
  }
  EXPECT_TRUE(is_gone);
  EXPECT_FALSE(log_->pending());
  ASSERT_NO_FATAL_FAILURE(expect_whole(1));
}

TEST_F(LogDoubt, WhatWaitsStaysWhenACommitSaysNothingOfIt) {
  const PendingChange waits = set("id", 1);
  ASSERT_TRUE(log_->set_pending(waits).ok());
  ASSERT_TRUE(append().ok());
  EXPECT_EQ(log_->pending(), waits.pending);
  EXPECT_EQ(ask("SELECT count(*) FROM pending"), 1);
  ASSERT_TRUE(append(clear()).ok());
  EXPECT_FALSE(log_->pending());
  EXPECT_EQ(ask("SELECT count(*) FROM pending"), 0);
}

// On a disk whose syncs fail, so that it is not known whether a commit is there.
class LogUnknown : public LogDoubt {
 protected:
  void SetUp() override {
    LogDoubt::SetUp();
    options_.vfs = FailingDisk::kName;
    options_.sync = true;
    ASSERT_TRUE(open()) << error_;
  }
  void leave_unknown(const PendingChange& pending = {}) {
    disk_.fail_syncs(Part::kJournal, 2);
    const LogResult unknown = append(pending);
    ASSERT_EQ(unknown.code, Code::kUnknown);
    ASSERT_EQ(unknown.text, kUnconfirmed);
  }

  FailingDisk& disk_ = FailingDisk::fresh();
};

TEST_F(LogUnknown, ACommitThatIsThereAfterAllIsTheNewest) {
  const PendingChange waits = set("id", 2);
  ASSERT_NO_FATAL_FAILURE(leave_unknown(waits));
  EXPECT_EQ(log_->head(), 1U);
  ASSERT_NO_FATAL_FAILURE(add_commit(2));
  ASSERT_NO_FATAL_FAILURE(set_pending_row(waits.pending));
  ASSERT_TRUE(log_->settle().ok());
  EXPECT_EQ(log_->head(), 2U);
  EXPECT_EQ(log_->tail().commits, 2U);
  EXPECT_EQ(log_->tail().effect_bytes, 2 * change_of(1).size());
  EXPECT_EQ(log_->pending(), waits.pending);
  EXPECT_EQ(witnessed(), 2U);
  ASSERT_NO_FATAL_FAILURE(expect_whole(2));
}

TEST_F(LogUnknown, ItsNumberIsNotAppendedASecondTime) {
  ASSERT_NO_FATAL_FAILURE(leave_unknown());
  ASSERT_NO_FATAL_FAILURE(add_commit(2));
  const LogResult refused = append();
  EXPECT_EQ(refused.code, Code::kFailed);
  EXPECT_EQ(refused.text, kGap);
  ASSERT_NO_FATAL_FAILURE(expect_whole(2));
}

TEST_F(LogUnknown, AnotherCommitOfItsNumberIsAnotherLog) {
  const std::string hash = newest_hash();
  ASSERT_NO_FATAL_FAILURE(leave_unknown());
  const std::string unknown = commit_digest(hash, entry_of(2));
  for (const auto& [number, found] :
       {std::pair(2U, std::string(32, 'x')), std::pair(3U, unknown), std::pair(1U, unknown)}) {
    ASSERT_NO_FATAL_FAILURE(set_head(number, found));
    const LogResult settled = log_->settle();
    EXPECT_EQ(settled.code, Code::kFailed) << number;
    EXPECT_EQ(settled.text, kOtherLog) << number;
    EXPECT_EQ(log_->head(), 1U) << number;
    EXPECT_FALSE(log_->writable()) << number;
  }
  ASSERT_NO_FATAL_FAILURE(set_head(1, hash));
  ASSERT_TRUE(log_->settle().ok());
  ASSERT_TRUE(append().ok());
  ASSERT_NO_FATAL_FAILURE(expect_whole(2));
}

TEST_F(LogUnknown, OneThatWasNotThereIsNotWaitedForAnyMore) {
  ASSERT_NO_FATAL_FAILURE(leave_unknown());
  ASSERT_TRUE(log_->settle().ok());
  ASSERT_NO_FATAL_FAILURE(add_commit(2));
  EXPECT_EQ(append().code, Code::kFailed) << "there is such a row";
  EXPECT_EQ(log_->obstacle(), kOtherLog);
  EXPECT_EQ(log_->head(), 1U);
}

TEST_F(LogUnknown, ACommitThatIsFoundAtOnceIsDone) {
  disk_.fail_syncs(Part::kJournal, 1);
  bool is_added = false;
  const AtConnections adds_it([&](sqlite3* /*database*/) {
    if (!std::exchange(is_added, true)) add_commit(2);
    return SQLITE_OK;
  });
  const LogResult done = append();
  EXPECT_EQ(done.code, Code::kDone);
  EXPECT_EQ(done.text, "");
  EXPECT_EQ(log_->head(), 2U);
  ASSERT_NO_FATAL_FAILURE(expect_whole(2));
}

TEST_F(LogUnknown, WhatWaitsIsAsItWasWhenItsSyncFails) {
  const PendingChange first = set("first", 1);
  ASSERT_TRUE(log_->set_pending(first).ok());
  for (const PendingChange& change : {set("second", 1), clear()}) {
    for (const int failures : {1, 2}) {
      disk_.fail_syncs(Part::kJournal, failures);
      const LogResult refused = log_->set_pending(change);
      EXPECT_EQ(refused.code, Code::kUnavailable);
      EXPECT_EQ(refused.text, kRefused);
      EXPECT_EQ(log_->pending(), first.pending);
      EXPECT_EQ(log_->writable(), failures == 1);
      ASSERT_TRUE(log_->settle().ok());
      EXPECT_EQ(log_->pending(), first.pending);
    }
  }
  ASSERT_TRUE(log_->set_pending(clear()).ok());
  EXPECT_FALSE(log_->pending());
}

// Before it is known what the journal holds, nothing of it goes into the log's file.
TEST_F(LogUnknown, ALogInDoubtHasNoCheckpoint) {
  const auto bytes = [this] {
    std::ifstream in(file(), std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
  };
  ASSERT_TRUE(append().ok());
  disk_.fail_syncs(Part::kJournal, 1);
  ASSERT_EQ(snapshot().code, Code::kUnavailable);
  const std::string before = bytes();
  for (const LogResult& refused : {log_->checkpoint(), snapshot()}) {
    EXPECT_EQ(refused.code, Code::kUnavailable);
    EXPECT_EQ(refused.text, kRefused);
  }
  EXPECT_TRUE(bytes() == before);
  ASSERT_TRUE(log_->settle().ok());
  ASSERT_TRUE(log_->checkpoint().ok());
  EXPECT_FALSE(bytes() == before);
}

// To move the journal in doubt would spread what may not be there.
TEST_F(LogUnknown, ALogInDoubtIsClosedWithItsJournal) {
  ASSERT_TRUE(append().ok());
  disk_.fail_syncs(Part::kDatabase, 1);
  ASSERT_EQ(log_->checkpoint().code, Code::kUnavailable);
  log_.reset();
  EXPECT_GT(std::filesystem::file_size(file() + "-wal"), 0U);
  ASSERT_TRUE(open()) << error_;
  log_.reset();
  EXPECT_FALSE(std::filesystem::exists(file() + "-wal"));
  ASSERT_TRUE(open()) << error_;
  ASSERT_NO_FATAL_FAILURE(expect_whole(2));
}

}  // namespace commit_log_doubt_test
}  // namespace nexa::store
