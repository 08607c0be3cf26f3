// nexa set --dry-run, over a data directory that the test fills.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>

#include "kestrel/loader.h"
#include "run_program.h"
#include "store/log/log_database.h"
#include "store_test.h"

namespace {

using nexa_test::Outcome;
using nexa_test::run_nexa;
using testing::HasSubstr;
using testing::Not;

class SetCommand : public nexa_test::StoreTest {
 protected:
  void SetUp() override {
    kestrel::LoadOptions options;
    options.search_dirs = {NEXA_MODELS_DIR};
    ASSERT_EQ(kestrel::load(options), std::nullopt);
    open();
    ASSERT_EQ(commit("device", "urn:example:device",
                     "<name>one</name><uplink>a</uplink>"
                     "<port><name>a</name><speed>5</speed></port>")
                  .number,
              1U);
  }
  Outcome dry_run(const std::string& request, std::vector<std::string> more = {}) {
    std::vector<std::string> arguments = {"set",    "--dry-run", "-p",        NEXA_MODELS_DIR,
                                          "--data", data(),      "--request", "-"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return run_nexa(arguments, request);
  }
  std::string stored() const { return store_->snapshot()->xml(); }
};

constexpr char kNewName[] =
    R"(update { path { elem { name: "device" } elem { name: "name" } } val { string_val: "two" } })";

TEST_F(SetCommand, ShowsTheDifferenceAndChangesNothing) {
  const std::string before = stored();
  const Outcome run = dry_run(kNewName);
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(run.err, "");
  EXPECT_THAT(run.out, HasSubstr("yang:operation=\"replace\""));
  EXPECT_THAT(run.out, HasSubstr("two</name>"));
  EXPECT_THAT(run.out, Not(HasSubstr("speed")));
  EXPECT_EQ(stored(), before);
  EXPECT_EQ(store_->snapshot()->number(), 1U);
  // The server goes on with the log as it was.
  EXPECT_EQ(commit("device", "urn:example:device", "<name>three</name>").number, 2U);
  EXPECT_THAT(dry_run(kNewName).out, HasSubstr("two</name>"));
}

TEST_F(SetCommand, IsSilentWhenNothingWouldChange) {
  const Outcome run = dry_run(
      R"({"update": [{"path": {"elem": [{"name": "device"}, {"name": "name"}]},
          "val": {"stringVal": "one"}}]})");
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(run.out + run.err, "");
}

TEST_F(SetCommand, RefusesWhatTheServerRefusesWithItsWords) {
  const Outcome broken = dry_run(
      R"(delete { elem { name: "device" } elem { name: "port" key { key: "name" value: "a" } } })");
  EXPECT_EQ(broken.status, 1);
  EXPECT_EQ(broken.out, "");
  EXPECT_THAT(broken.err,
              testing::StartsWith("FAILED_PRECONDITION: delete[0] of /device/port[name=a]: "));
  const Outcome unknown = dry_run(R"(delete { elem { name: "device" } elem { name: "colour" } })");
  EXPECT_EQ(unknown.status, 1);
  EXPECT_THAT(unknown.err, HasSubstr("NOT_FOUND: delete[0] of /device/colour: no node"));
  const Outcome strict = dry_run(kNewName, {"--strict"});
  EXPECT_EQ(strict.status, 1);
  EXPECT_THAT(strict.err, HasSubstr("needs its module in front"));
  const Outcome device =
      dry_run(R"(union_replace { path { elem { name: "device" } } val { json_ietf_val: "{}" } })",
              {"--profile", "device"});
  EXPECT_EQ(device.status, 1);
  EXPECT_THAT(device.err, HasSubstr("UNIMPLEMENTED: Operation union_replace not supported"));
}

TEST_F(SetCommand, ACommitThatWaitsIsInTheWayAsInTheServer) {
  nexa::store::CommitRequest waits;
  waits.edits.resize(1);
  waits.edits[0].xml =
      "<config><device xmlns=\"urn:example:device\"><name>trial</name></device></config>";
  waits.confirm_id = "trial";
  waits.confirm_within = std::chrono::hours(1);
  ASSERT_TRUE(store_->commit(waits).status.ok());
  const Outcome run = dry_run(kNewName);
  EXPECT_EQ(run.status, 1);
  EXPECT_THAT(run.err, HasSubstr("FAILED_PRECONDITION: commit 2 waits for its confirmation"));
  const Outcome action = dry_run(R"(extension { commit { id: "" confirm {} } })");
  EXPECT_EQ(action.status, 1);
  EXPECT_THAT(action.err, HasSubstr("Extension commit without an id"));
}

TEST_F(SetCommand, WorksWithoutTheServerAndLeavesTheLogAsItWas) {
  store_.reset();
  const auto log = [this] {
    std::ifstream file(nexa::store::log_file(data()), std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(file), {});
  };
  const std::string before = log();
  ASSERT_NE(before, "");
  const Outcome run = dry_run(kNewName);
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_THAT(run.out, HasSubstr("two</name>"));
  EXPECT_TRUE(log() == before);
  open();
  EXPECT_EQ(store_->snapshot()->number(), 1U);
}

TEST_F(SetCommand, NeedsItsFlagARequestAndADirectory) {
  const Outcome wet =
      run_nexa({"set", "-p", NEXA_MODELS_DIR, "--data", data(), "--request", "-"}, kNewName);
  EXPECT_EQ(wet.status, 2);
  EXPECT_THAT(wet.err, HasSubstr("set changes nothing, it needs --dry-run"));
  EXPECT_EQ(dry_run("nonsense").status, 2);
  EXPECT_EQ(run_nexa({"set", "--dry-run", "--data", data()}, "").status, 2);
  EXPECT_EQ(store_->snapshot()->number(), 1U);
}

}  // namespace
