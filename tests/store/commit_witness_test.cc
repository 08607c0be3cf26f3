// A log that lost its last commits is told from one that never had them.
#include "store/log/commit_witness.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>

#include "real/temp_folder.h"
#include "store/log/commit_log.h"
#include "support/results.h"

namespace commit_witness_test {

namespace fs = std::filesystem;
using nexa::store::CommitLog;
using nexa::store::LogEntry;
using nexa::store::LogResult;
using nexa_test::line_of;
using nexa_test::TempFolder;
using nexa_test::value_of;

constexpr char kGoOn[] =
    "; restore a copy of the directory, or go on with what is there by removing ";

nexa::text::Result<std::unique_ptr<CommitLog>> open_log(const std::string& directory,
                                                        bool read_only = false) {
  nexa::store::LogOptions options;
  options.directory = directory;
  options.sync = false;
  options.read_only = read_only;
  return CommitLog::open(options);
}

LogResult append(CommitLog& log, const std::string& change) {
  return log.append({log.head() + 1, 1000, "author", "comment", false, change});
}

LogResult snapshot(CommitLog& log, const std::string& config) {
  nexa::store::LogSnapshot snapshot;
  snapshot.number = log.head();
  snapshot.config = config;
  return log.write_snapshot(std::move(snapshot), nexa::store::LogLimits());
}

// `data` is what a process left that was killed after its sixth commit.
class CommitWitness : public testing::Test {
 protected:
  void SetUp() override {
    fs::create_directory(folder_.file("alive"));
    const auto log = value_of(open_log(folder_.file("alive")));
    for (int i = 1; i <= 6; ++i) {
      ASSERT_TRUE(append(*log, "change" + std::to_string(i)).ok());
      if (i == 5) fs::copy_file(folder_.file("alive/nexa.db-newest"), folder_.file("fifth"));
    }
    fs::copy(folder_.file("alive"), folder_.file("killed"));
    begin();
  }

  // Everything as the killed process left it.
  void begin() const {
    fs::remove_all(data());
    fs::copy(folder_.file("killed"), data());
  }

  std::string data() const { return folder_.file("data"); }
  std::string file(const std::string& end = "") const { return data() + "/nexa.db" + end; }
  std::uint64_t head() {
    const auto log = open_log(data());
    error_ = line_of(log);
    return log.ok() ? log.value()->head() : 0;
  }
  void expect_refused(const std::string& text) {
    for (int round = 0; round < 2; ++round) {
      EXPECT_EQ(head(), 0U);
      EXPECT_EQ(error_, file() + text + file("-newest"));
    }
    EXPECT_FALSE(open_log(data(), true).ok());
  }

  TempFolder folder_;
  std::string error_;
};

TEST_F(CommitWitness, NothingIsMissedAfterAKill) {
  EXPECT_EQ(head(), 6U);
  EXPECT_EQ(head(), 6U);
}

TEST_F(CommitWitness, AMissingJournalIsNoticed) {
  fs::remove(file("-wal"));
  fs::remove(file("-shm"));
  expect_refused(std::string(": damaged: it ends with commit 0, commit 6 was in it") + kGoOn);
}

TEST_F(CommitWitness, AJournalCutAnywhereIsNoticed) {
  const auto size = fs::file_size(file("-wal"));
  std::uintmax_t refused = 0;
  for (std::uintmax_t cut = 0; cut < size; cut += 2500) {
    begin();
    fs::resize_file(file("-wal"), cut);
    EXPECT_EQ(head(), 0U) << cut;
    EXPECT_NE(error_.find(": damaged: it ends with commit "), std::string::npos) << error_;
    ++refused;
  }
  EXPECT_GT(refused, 5U);
}

TEST_F(CommitWitness, AFlippedBitInTheJournalIsNoticedOrHarmless) {
  std::string journal;
  {
    std::ifstream in(file("-wal"), std::ios::binary);
    journal.assign(std::istreambuf_iterator<char>(in), {});
  }
  int refused = 0;
  for (std::size_t at = 5; at < journal.size(); at += 997) {
    begin();
    std::string damaged = journal;
    damaged[at] = static_cast<char>(damaged[at] ^ (1 << (at % 8)));
    std::ofstream(file("-wal"), std::ios::binary) << damaged;
    fs::remove(file("-shm"));
    if (const std::uint64_t found = head(); found == 0) {
      ++refused;
    } else {
      EXPECT_EQ(found, 6U) << at;
    }
  }
  EXPECT_GT(refused, 5);
}

TEST_F(CommitWitness, AnotherJournalIsNoticed) {
  fs::create_directory(folder_.file("other"));
  const auto other = value_of(open_log(folder_.file("other")));
  for (int i = 1; i <= 9; ++i) ASSERT_TRUE(append(*other, "other").ok());
  fs::copy_file(folder_.file("other/nexa.db-wal"), file("-wal"),
                fs::copy_options::overwrite_existing);
  fs::remove(file("-shm"));
  expect_refused(std::string(": damaged: commit 6 is not the one that was in it") + kGoOn);
}

// Nothing was in it that could be missed.
TEST_F(CommitWitness, AMissingLogWithoutCommitsIsMadeAnew) {
  fs::remove_all(data());
  fs::create_directory(data());
  ASSERT_TRUE(open_log(data()).ok());
  ASSERT_TRUE(fs::exists(file("-newest")));
  fs::remove(file());
  const auto log = open_log(data());
  EXPECT_EQ(line_of(log), "");
  EXPECT_TRUE(fs::exists(file()));
}

TEST_F(CommitWitness, WhoOnlyReadsMakesNone) {
  fs::remove(file("-newest"));
  EXPECT_TRUE(open_log(data(), true).ok());
  EXPECT_FALSE(fs::exists(file("-newest")));
}

TEST_F(CommitWitness, AMissingLogIsNoticed) {
  for (const char* const end : {"", "-wal", "-shm"}) fs::remove(file(end));
  expect_refused(
      ": missing, commit 6 was in it; restore a copy of the directory, or begin anew by removing ");
  EXPECT_FALSE(fs::exists(file()));
}

TEST_F(CommitWitness, WithoutItWhatIsThereCounts) {
  fs::resize_file(file("-wal"), fs::file_size(file("-wal")) - 1);
  fs::remove(file("-newest"));
  EXPECT_EQ(head(), 5U);
  EXPECT_EQ(error_, "");
}

TEST_F(CommitWitness, MayLagBehind) {
  fs::copy_file(folder_.file("fifth"), file("-newest"), fs::copy_options::overwrite_existing);
  EXPECT_EQ(head(), 6U);
  const auto witnessed = nexa::store::CommitWitness(data(), true).read();
  ASSERT_TRUE(witnessed.has_value());
  EXPECT_EQ(witnessed->number, 6U);
}

TEST_F(CommitWitness, ADamagedOneBearsNoWitness) {
  std::string line;
  {
    std::ifstream in(file("-newest"), std::ios::binary);
    line.assign(std::istreambuf_iterator<char>(in), {});
  }
  ASSERT_EQ(line.size(), 151U);
  for (std::size_t at = 0; at < line.size(); at += 3) {
    std::string damaged = line;
    damaged[at] = static_cast<char>(damaged[at] ^ 1);
    std::ofstream(file("-newest"), std::ios::binary) << damaged;
    EXPECT_EQ(nexa::store::CommitWitness(data(), true).read(), std::nullopt) << at;
  }
  for (const std::string& other : {std::string(), line + "x", line.substr(1)}) {
    std::ofstream(file("-newest"), std::ios::binary) << other;
    EXPECT_EQ(nexa::store::CommitWitness(data(), true).read(), std::nullopt);
  }
  EXPECT_EQ(head(), 6U);
}

// A file-size limit in place of a full disk; 0 lifts it.
void limit_files(rlim_t bytes) {
  rlimit limit{};
  ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &limit), 0);
  limit.rlim_cur = bytes == 0 ? limit.rlim_max : bytes;
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
}

TEST(LogWithoutRoom, IsWrittenAgainAfterASnapshotThatFailed) {
  std::signal(SIGXFSZ, SIG_IGN);
  const TempFolder folder;
  const auto log = value_of(open_log(folder.path()));
  ASSERT_TRUE(append(*log, "one").ok());
  limit_files(512);
  const LogResult failed = snapshot(*log, "<config>one</config>");
  const LogResult refused = append(*log, "two");
  limit_files(0);
  EXPECT_FALSE(failed.ok());
  EXPECT_FALSE(refused.ok());
  EXPECT_EQ(log->head(), 1U);
  const LogResult stored = append(*log, "two");
  EXPECT_TRUE(stored.ok()) << stored.text;
  EXPECT_EQ(log->head(), 2U);
  EXPECT_TRUE(snapshot(*log, "<config>two</config>").ok());
}

// The effective user of the process while it lives; does nothing for others than root.
class AsNobody {
 public:
  AsNobody() : changed_(geteuid() == 0 && seteuid(65534) == 0) {}
  ~AsNobody() {
    if (changed_) {
      EXPECT_EQ(seteuid(0), 0);
    }
  }
  AsNobody(const AsNobody&) = delete;
  AsNobody& operator=(const AsNobody&) = delete;

 private:
  bool changed_;
};

void open_to_all(const std::string& folder) {
  for (const auto& entry : fs::directory_iterator(folder)) {
    fs::permissions(entry.path(), fs::perms(0444));
  }
  fs::permissions(folder, fs::perms(0555));
}

TEST(LogInAFolderThatIsOnlyRead, IsReadWhenItWasClosedInOrder) {
  const TempFolder folder;
  fs::permissions(folder.path(), fs::perms(0755));
  const std::string data = folder.file("a %20?b#");
  fs::create_directory(data);
  {
    const auto log = value_of(open_log(data));
    ASSERT_TRUE(append(*log, "one").ok());
  }
  open_to_all(data);
  {
    const AsNobody nobody;
    const auto log = value_of(open_log(data, true));
    EXPECT_EQ(log->head(), 1U);
    const auto writer = value_of(open_log(data));
    EXPECT_EQ(writer->head(), 1U);
    EXPECT_FALSE(writer->writable());
    const LogResult refused = append(*writer, "two");
    EXPECT_EQ(refused.code, LogResult::Code::kUnavailable);
    EXPECT_EQ(refused.text,
              "the log cannot be written: attempt to write a readonly database; the server reads "
              "only until it can write again");
  }
  fs::permissions(data, fs::perms(0755));
}

TEST(LogInAFolderThatIsOnlyRead, IsReadWithItsJournal) {
  const TempFolder folder;
  fs::permissions(folder.path(), fs::perms(0755));
  const std::string data = folder.file("data");
  fs::create_directory(folder.file("alive"));
  const auto log = value_of(open_log(folder.file("alive")));
  ASSERT_TRUE(append(*log, "one").ok());
  fs::copy(folder.file("alive"), data);
  fs::remove(data + "/nexa.db-shm");
  open_to_all(data);
  {
    const AsNobody nobody;
    const auto read = value_of(open_log(data, true));
    EXPECT_EQ(read->head(), 1U);
    nexa::store::LogEntry entry;
    ASSERT_EQ(line_of(read->entry(1, entry)), "");
    EXPECT_EQ(entry.change, "one");
    EXPECT_EQ(line_of(read->verify_history(nullptr)), "");
  }
  fs::permissions(data, fs::perms(0755));
}

}  // namespace commit_witness_test
