// An answer means the disk: whatever syncs do, what was answered OK is there after a kill and after
// a power cut, what was refused is not, and a log that cannot be written still reads.
#include <fstream>
#include <thread>

#include "log_fixture.h"
#include "log_on_a_failing_disk.h"

namespace nexa_test {
namespace commit_log_disk_test {

constexpr char kDoesNotConfirm[] =
    "the disk does not confirm writes: Input/output error; nothing was changed";

TEST_F(LogOnAFailingDisk, OneFailedSyncOfTheJournalIsARefusalOfOneCommit) {
  ASSERT_TRUE(append().ok());
  disk_.fail_syncs(Part::kJournal, 1);
  const LogResult refused = append();
  EXPECT_EQ(refused.code, Code::kUnavailable);
  EXPECT_EQ(refused.text, kDoesNotConfirm);
  EXPECT_TRUE(log_->writable());
  ASSERT_TRUE(append().ok());
  cut_power();
  ASSERT_NO_FATAL_FAILURE(check());
}

TEST_F(LogOnAFailingDisk, ARefusedCommitDoesNotComeBack) {
  ASSERT_TRUE(append().ok());
  disk_.fail_syncs(Part::kJournal, 1);
  ASSERT_EQ(append().code, Code::kUnavailable);
  kill();
  ASSERT_NO_FATAL_FAILURE(check());
  ASSERT_TRUE(append().ok());
  cut_power();
  ASSERT_NO_FATAL_FAILURE(check());
}

TEST_F(LogOnAFailingDisk, TwoFailedSyncsLeaveACommitUnknownUntilTheNextSucceeds) {
  ASSERT_TRUE(append().ok());
  disk_.fail_syncs(Part::kJournal, 2);
  const LogResult unknown = append();
  EXPECT_EQ(unknown.code, Code::kUnknown);
  EXPECT_EQ(unknown.text, "the disk does not confirm writes: Input/output error");
  EXPECT_FALSE(log_->writable());
  ASSERT_TRUE(log_->settle().ok());
  EXPECT_TRUE(log_->writable());
  ASSERT_NO_FATAL_FAILURE(check());
  ASSERT_TRUE(append().ok());
  cut_power();
  ASSERT_NO_FATAL_FAILURE(check());
}

TEST_F(LogOnAFailingDisk, NothingIsWrittenWhileSyncsFailAndReadingGoesOn) {
  for (const Part part : {Part::kJournal, Part::kDatabase}) {
    ASSERT_TRUE(append().ok());
    disk_.fail_syncs(Part::kJournal, 1);
    disk_.fail_syncs(part, FailingDisk::kForEver);
    ASSERT_EQ(append().code, Code::kUnknown);
    for (int i = 0; i < 3; ++i) {
      EXPECT_EQ(log_->settle().code, Code::kUnavailable);
      const LogResult refused = append();
      EXPECT_EQ(refused.code, Code::kUnavailable);
      EXPECT_EQ(refused.text, kDoesNotConfirm);
      EXPECT_EQ(log_->obstacle(), kDoesNotConfirm);
      ASSERT_NO_FATAL_FAILURE(check());
      std::vector<nexa::store::CommitRecord> records;
      EXPECT_TRUE(log_->history(0, records).ok());
      EXPECT_EQ(records.size(), stored_.size());
    }
    disk_.fail_syncs(part, 0);
    disk_.fail_syncs(Part::kJournal, 0);
    ASSERT_TRUE(append().ok());
    cut_power();
    ASSERT_NO_FATAL_FAILURE(check());
  }
}

TEST_F(LogOnAFailingDisk, AKillWhileSyncsFailLosesNothingThatWasAnswered) {
  ASSERT_TRUE(append().ok());
  disk_.fail_syncs(Part::kJournal, FailingDisk::kForEver);
  ASSERT_EQ(append().code, Code::kUnknown);
  kill();
  ASSERT_NO_FATAL_FAILURE(check());
  // What the new process found it has made durable.
  cut_power();
  ASSERT_NO_FATAL_FAILURE(check());
  ASSERT_TRUE(append().ok());
  cut_power();
  ASSERT_NO_FATAL_FAILURE(check());
}

// A commit that is read after that shall not vanish with the power, although the kernel holds its
// pages as written.
TEST_F(LogOnAFailingDisk, WhatAFailedSyncLeftIsWrittenAgainByTheNextProcess) {
  for (unsigned seed = 1; seed <= 8; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    disk_.seed(seed);
    ASSERT_TRUE(append().ok());
    ASSERT_NO_FATAL_FAILURE(kill_at_a_failed_sync());
    open();
    ASSERT_NO_FATAL_FAILURE(check());
    cut_power();
    ASSERT_NO_FATAL_FAILURE(check());
  }
}

// The first tells of lost pages, the second of something else.
TEST_F(LogOnAFailingDisk, PagesAreWrittenAgainAlsoWhenTheLogCannotBeOpenedAtOnce) {
  for (unsigned seed = 1; seed <= 8; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    disk_.seed(seed);
    ASSERT_TRUE(append().ok());
    disk_.fail_syncs(Part::kJournal, 1);
    ASSERT_EQ(snapshot().code, Code::kUnavailable);
    {
      const AtConnections none([](sqlite3* /*database*/) { return SQLITE_NOMEM; });
      ASSERT_EQ(log_->settle().code, Code::kUnavailable);
    }
    ASSERT_TRUE(append().ok());
    cut_power();
    ASSERT_NO_FATAL_FAILURE(check());
  }
}

// What is found there says more than that it cannot be written.
TEST_F(LogOnAFailingDisk, AForeignDatabaseOnAFullDiskIsRefusedAsSuch) {
  log_.reset();
  sqlite3* handle = nullptr;
  ASSERT_EQ(sqlite3_open((data_ + "/nexa.db").c_str(), &handle), SQLITE_OK);
  EXPECT_EQ(nexa::store::execute(handle, "PRAGMA application_id = 7"), SQLITE_OK);
  sqlite3_close(handle);
  disk_.fill(true);
  open();
  disk_.fill(false);
  EXPECT_EQ(error_, data_ + "/nexa.db: not a configuration log; name another data directory");
}

TEST_F(LogOnAFailingDisk, AStartWhoseSyncsFailReadsOnly) {
  ASSERT_TRUE(append().ok());
  ASSERT_NO_FATAL_FAILURE(kill_at_a_failed_sync());
  disk_.fail_syncs(Part::kJournal, FailingDisk::kForEver);
  open();
  ASSERT_NO_FATAL_FAILURE(check());
  EXPECT_FALSE(log_->writable());
  EXPECT_EQ(append().code, Code::kUnavailable);
  disk_.fail_syncs(Part::kJournal, 0);
  std::this_thread::sleep_for(std::chrono::milliseconds(1100));
  ASSERT_TRUE(append().ok());
  EXPECT_TRUE(log_->writable());
  const auto witnessed = nexa::store::CommitWitness(data_, true).read();
  ASSERT_TRUE(witnessed);
  EXPECT_EQ(witnessed->number, log_->head());
  cut_power();
  ASSERT_NO_FATAL_FAILURE(check());
}

TEST_F(LogOnAFailingDisk, AFailedSnapshotIsNotThere) {
  ASSERT_TRUE(append().ok());
  disk_.fail_syncs(Part::kJournal, 1);
  EXPECT_EQ(snapshot(600000).code, Code::kUnavailable);
  EXPECT_EQ(log_->newest_snapshot(), 0U);
  ASSERT_TRUE(append().ok());
  ASSERT_TRUE(snapshot(600000).ok());
  cut_power();
  ASSERT_NO_FATAL_FAILURE(check());
  LogSnapshot image;
  ASSERT_TRUE(log_->newest_image("schema", log_->head(), image));
  EXPECT_EQ(image.image, std::string(600000, 'i'));
}

TEST_F(LogOnAFailingDisk, AFullDiskIsReadAndRefusesInWords) {
  ASSERT_TRUE(append().ok());
  disk_.fill(true);
  const LogResult refused = append(20000);
  EXPECT_EQ(refused.code, Code::kFull);
  EXPECT_EQ(refused.text, "the disk is full");
  ASSERT_NO_FATAL_FAILURE(check());
  disk_.fill(false);
  ASSERT_TRUE(append(20000).ok());
  cut_power();
  ASSERT_NO_FATAL_FAILURE(check());
}

TEST_F(LogOnAFailingDisk, AStartOnAFullDiskReadsOnlyUntilThereIsRoom) {
  ASSERT_TRUE(append().ok());
  for (const bool with_journal : {true, false}) {
    disk_.kill(data_, folder_.file(with_journal ? "with" : "without"));
    data_ = folder_.file(with_journal ? "with" : "without");
    if (!with_journal) {
      open();
      log_.reset();
      ASSERT_FALSE(std::filesystem::exists(data_ + "/nexa.db-wal"));
    }
    disk_.fill(true);
    open();
    ASSERT_NO_FATAL_FAILURE(check());
    EXPECT_FALSE(log_->writable());
    const LogResult refused = append();
    EXPECT_EQ(refused.code, Code::kFull);
    EXPECT_EQ(refused.text, "the disk is full; the server reads only until it can write again");
    disk_.fill(false);
    std::this_thread::sleep_for(std::chrono::milliseconds(1100));
    ASSERT_TRUE(append().ok());
    ASSERT_NO_FATAL_FAILURE(check());
  }
  cut_power();
  ASSERT_NO_FATAL_FAILURE(check());
}

// SQLite opens such a file for reading without a word.
TEST_F(LogOnAFailingDisk, AHeaderThatAsksForANewerSqliteIsRead) {
  ASSERT_TRUE(append().ok());
  ASSERT_TRUE(log_->checkpoint().ok());
  log_.reset();
  const auto write_format = [this](char version) {
    std::fstream file(data_ + "/nexa.db", std::ios::binary | std::ios::in | std::ios::out);
    file.seekp(18).put(version);
  };
  write_format(4);
  open();
  ASSERT_NO_FATAL_FAILURE(check());
  EXPECT_FALSE(log_->writable());
  const LogResult refused = append();
  EXPECT_EQ(refused.code, Code::kUnavailable);
  EXPECT_EQ(refused.text,
            "the log cannot be written: attempt to write a readonly database; "
            "the server reads only until it can write again");
  write_format(2);
  std::this_thread::sleep_for(std::chrono::milliseconds(1100));
  ASSERT_TRUE(append().ok());
  ASSERT_NO_FATAL_FAILURE(check());
}

// Whether these tests see what they are for: without syncs, an answered commit is gone.
TEST_F(LogOnAFailingDisk, ADiskThatOnlyPretendsToSyncIsFoundOut) {
  disk_.pretend_to_sync();
  int lost = 0;
  for (int i = 0; i < 10; ++i) {
    ASSERT_TRUE(append().ok());
    const std::string copy = folder_.file("cut" + std::to_string(i));
    disk_.cut_power(data_, copy);
    nexa::store::LogOptions options;
    options.directory = copy;
    const auto log = CommitLog::open(options);
    if (!log.ok() || log.value()->head() != stored_.rbegin()->first) ++lost;
  }
  EXPECT_GT(lost, 5);
}

// Everything in any order.
TEST_F(LogOnAFailingDisk, RandomFailuresKillsAndPowerCuts) {
  int refused = 0;
  int unknown = 0;
  for (unsigned seed = 1; seed <= 16; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    disk_.seed(seed);
    for (int step = 0; step < 60; ++step) {
      const auto choice = random() % 100;
      if (choice < 8) {
        disk_.fail_syncs(random() % 3 == 0 ? Part::kDatabase : Part::kJournal,
                         static_cast<int>(random() % 4) - 1);
      } else if (choice < 12) {
        disk_.fill(random() % 2 == 0);
      } else if (choice < 18) {
        static_cast<void>(log_->checkpoint());
      } else if (choice < 24) {
        static_cast<void>(snapshot(random() % 2 == 0 ? 100 : 400000));
      } else if (choice < 27) {
        disk_.fill(false);
        if (random() % 2 == 0) {
          kill();
        } else {
          cut_power();
        }
        ASSERT_NO_FATAL_FAILURE(check()) << "step " << step;
      } else if (unknown_.first != 0) {
        if (log_->settle().ok()) {
          ASSERT_NO_FATAL_FAILURE(check()) << "step " << step;
        }
      } else {
        const Code code = append(random() % 6000).code;
        refused += code == Code::kUnavailable || code == Code::kFull ? 1 : 0;
        unknown += code == Code::kUnknown ? 1 : 0;
      }
    }
    disk_.fill(false);
    cut_power();
    ASSERT_NO_FATAL_FAILURE(check());
  }
  EXPECT_GT(refused, 20);
  EXPECT_GT(unknown, 5);
}

}  // namespace commit_log_disk_test
}  // namespace nexa_test
