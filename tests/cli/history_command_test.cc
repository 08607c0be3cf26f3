// nexa history and nexa rollback, over a data directory that the test fills.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "kestrel/loader.h"
#include "run_program.h"
#include "store_test.h"

namespace {

using nexa_test::Outcome;
using nexa_test::run_nexa;
using testing::HasSubstr;
using testing::MatchesRegex;

class HistoryCommand : public nexa_test::StoreTest {
 protected:
  void SetUp() override {
    kestrel::LoadOptions options;
    options.search_dirs = {NEXA_MODELS_DIR};
    ASSERT_EQ(kestrel::load(options), std::nullopt);
    open();
    ASSERT_EQ(name("one", "alice", "first"), 1U);
    ASSERT_EQ(name("two", "b\x1b[31m", ""), 2U);
  }
  std::uint64_t name(const std::string& value, const std::string& author,
                     const std::string& comment) {
    return commit("device", "urn:example:device", "<name>" + value + "</name>", author, comment)
        .number;
  }
  Outcome rollback(const std::string& number) {
    return run_nexa({"rollback", "-p", NEXA_MODELS_DIR, "--data", data(), "--to", number});
  }
};

TEST_F(HistoryCommand, ListsCommitsWhileTheStoreIsOpen) {
  const Outcome run = run_nexa({"history", "--data", data()});
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(run.err, "");
  EXPECT_THAT(run.out,
              MatchesRegex("NUMBER  TIME +AUTHOR +BYTES  COMMENT\n"
                           "2       20..-..-..T..:..:..\\..........Z  b\\\\x1B\\[31m  [0-9]+\n"
                           "1       20..-..-..T..:..:..\\..........Z  alice +[0-9]+ +"
                           "first\n"));
}

TEST_F(HistoryCommand, LimitsTheList) {
  const Outcome run = run_nexa({"history", "--data", data(), "--limit", "1", "--json"});
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_THAT(run.out, HasSubstr("\"number\":\t2,"));
  EXPECT_THAT(run.out, HasSubstr("\"author\":\t\"b\\u001b[31m\""));
  EXPECT_THAT(run.out, Not(HasSubstr("alice")));
}

TEST_F(HistoryCommand, ShowsAChange) {
  const Outcome run = run_nexa({"history", "--data", data(), "--show", "2"});
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_THAT(run.out, HasSubstr("yang:operation=\"replace\""));
  EXPECT_THAT(run.out, HasSubstr("yang:orig-value=\"one\""));
  EXPECT_THAT(run.out, HasSubstr(">two</name>"));
}

TEST_F(HistoryCommand, NothingThatATerminalObeysIsInTheList) {
  ASSERT_EQ(name("three",
                 "\xC2\x9B"
                 "31m",
                 "a\xE2\x80\xAE"
                 "b\xE2\x81\xA6\xFF\xC3\x28\nc\xC3\xA4"),
            3U);
  const Outcome run = run_nexa({"history", "--data", data(), "--limit", "1"});
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_THAT(run.out, HasSubstr("Z  \\xC2\\x9B31m  "));
  EXPECT_THAT(run.out, HasSubstr("  a\\xE2\\x80\\xAEb\\xE2\\x81\\xA6\\xFF"
                                 "\\xC3(\\nc\xC3\xA4\n"));
}

TEST_F(HistoryCommand, NumbersAreWholeNumbers) {
  store_.reset();
  for (const char* const number :
       {"", "-1", "+1", " 1", "1.0", "1e0", "0x1", "one", "18446744073709551616"}) {
    const std::string text = "\"" + std::string(number) + "\" is no whole number from ";
    const Outcome restored = rollback(number);
    EXPECT_EQ(restored.status, 2) << number;
    EXPECT_THAT(restored.err, HasSubstr("--to: " + text + "0 on\n"));
    const Outcome listed = run_nexa({"history", "--data", data(), "--limit", number});
    EXPECT_EQ(listed.status, 2) << number;
    EXPECT_THAT(listed.err, HasSubstr("--limit: " + text + "0 on\n"));
    const Outcome shown = run_nexa({"history", "--data", data(), "--show", number});
    EXPECT_EQ(shown.status, 2) << number;
    EXPECT_THAT(shown.err, HasSubstr("--show: " + text + "1 on\n"));
  }
  EXPECT_EQ(run_nexa({"history", "--data", data(), "--show", "0"}).status, 2);
  open();
  EXPECT_EQ(store_->snapshot()->number(), 2U);
}

TEST_F(HistoryCommand, RollbackMakesNoDataDirectory) {
  const std::string folder = folder_.file("empty");
  std::filesystem::create_directory(folder);
  const Outcome run = run_nexa({"rollback", "-p", NEXA_MODELS_DIR, "--data", folder, "--to", "0"});
  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(run.out, "");
  EXPECT_EQ(run.err,
            "nexa: " + folder + "/nexa.db: no such file; name the data directory of a server\n");
  EXPECT_TRUE(std::filesystem::is_empty(folder));
}

TEST_F(HistoryCommand, NamesWhatIsNotThere) {
  const Outcome commit = run_nexa({"history", "--data", data(), "--show", "9"});
  EXPECT_EQ(commit.status, 1);
  EXPECT_EQ(commit.err, "nexa: commit 9 is not kept\n");
  const Outcome folder = run_nexa({"history", "--data", folder_.path()});
  EXPECT_EQ(folder.status, 1);
  EXPECT_EQ(folder.err,
            "nexa: " + folder_.path() + "/nexa.db: cannot open: No such file or directory\n");
  EXPECT_EQ(run_nexa({"history", "--data", "/nowhere/at/all"}).status, 2);
  EXPECT_EQ(run_nexa({"history"}).status, 2);
}

TEST_F(HistoryCommand, RollbackWaitsForTheServerToStop) {
  const Outcome run = rollback("1");
  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(run.out, "");
  EXPECT_EQ(run.err, "nexa: " + data() + ": in use by process " + std::to_string(getpid()) + "\n");
}

TEST_F(HistoryCommand, RollbackRestoresACommit) {
  store_.reset();
  const Outcome run = rollback("1");
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(run.out, "commit 3 restores commit 1\n");
  const Outcome again = rollback("1");
  EXPECT_EQ(again.out, "nothing changed: the configuration is that of commit 1\n");
  const Outcome unknown = rollback("8");
  EXPECT_EQ(unknown.status, 1);
  EXPECT_EQ(unknown.err, "NOT_FOUND: there is no commit 8\n");
  open();
  EXPECT_EQ(store_->snapshot()->xml(),
            "<config><device xmlns=\"urn:example:device\"><name>one</name></device></config>");
  const Outcome list = run_nexa({"history", "--data", data(), "--limit", "1"});
  EXPECT_THAT(list.out, HasSubstr("rollback to 1\n"));
}

}  // namespace
