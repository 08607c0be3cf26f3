// A commit of which the disk did not say whether it has it: the next one finds out.
#include <atomic>
#include <chrono>
#include <thread>

#include <gmock/gmock.h>

#include "failing_disk.h"
#include "store/log/commit_log.h"
#include "store/stored_state.h"
#include "store_findings.h"

namespace nexa_test::findings {
namespace {

constexpr char kUnknown[] =
    "whether the commit is stored is not known until the log can be read again: "
    "the disk does not confirm writes: Input/output error";

class StoreUnknownOutcome : public StoreFindings {
 protected:
  void SetUp() override {
    disk_.stand_in(true);
    ASSERT_EQ(load_module("s", module_of("leaf-list v { type string; }")), "");
    open();
  }
  void TearDown() override {
    store_.reset();
    disk_.stand_in(false);
  }

  void open() {
    store_.reset();
    nexa::store::TreeStoreOptions options;
    options.directory = folder_.file("data");
    store_ = value_of(nexa::store::open_tree_store(options));
  }
  std::string add(const std::string& value) {
    return text(update("<v xmlns=\"urn:s\">" + value + "</v>"));
  }

  // Whether the log has an image under the loaded schema, for the next start.
  bool has_base() const {
    nexa::store::LogOptions place;
    place.directory = folder_.file("data");
    place.read_only = true;
    const auto log = value_of(nexa::store::CommitLog::open(place));
    nexa::store::LogSnapshot image;
    return log->newest_image(nexa::store::loaded_schema_hash(), log->head(), image);
  }

  FailingDisk& disk_ = FailingDisk::fresh();
};

// The journal that is read again does not have it.
TEST_F(StoreUnknownOutcome, IsNotThereWhenTheLogDoesNotHaveIt) {
  ASSERT_EQ(add("1"), "");
  disk_.fail_syncs(FailingDisk::Part::kJournal, 2);
  EXPECT_EQ(add("2"), kUnknown);
  EXPECT_EQ(json(), R"({"s:v":["1"]})");
  EXPECT_EQ(add("3"), "");
  EXPECT_EQ(json(), R"({"s:v":["1","3"]})");
  open();
  EXPECT_EQ(json(), R"({"s:v":["1","3"]})");
}

TEST_F(StoreUnknownOutcome, RefusesTheNextCommitAsLongAsItLasts) {
  ASSERT_EQ(add("1"), "");
  disk_.fail_syncs(FailingDisk::Part::kJournal, 4);
  EXPECT_EQ(add("2"), kUnknown);
  EXPECT_EQ(add("3"), std::string(kUnknown) + "; nothing was changed");
  EXPECT_EQ(json(), R"({"s:v":["1"]})");
  disk_.fail_syncs(FailingDisk::Part::kJournal, 0);
  EXPECT_EQ(add("4"), "");
  EXPECT_EQ(json(), R"({"s:v":["1","4"]})");
}

// Under another schema a start writes what it made of the configuration, or the next commit does.
TEST_F(StoreUnknownOutcome, AStartWhoseSyncsFailIsMadeUpForByTheNextCommit) {
  ASSERT_EQ(add("1"), "");
  store_.reset();
  nexa::store::TreeStoreOptions options;
  options.directory = folder_.file("data");
  std::string shown = "\"1\"";
  int owing = 0;
  int lacking = 0;
  for (int syncs = 0; syncs < 8; ++syncs) {
    const std::string number = std::to_string(syncs);
    ASSERT_EQ(load_module("s", module_of("leaf-list v { type string; } leaf x" + number +
                                         " { type string; default \"d\"; }")),
              "");
    std::atomic<int> calls{0};
    disk_.at_syncs([&] {
      if (calls++ == 2 * syncs) disk_.fail_syncs(FailingDisk::Part::kJournal, 3);
    });
    std::vector<std::string> notes;
    store_ = value_of(nexa::store::open_tree_store(options, &notes));
    disk_.at_syncs(nullptr);
    disk_.fail_syncs(FailingDisk::Part::kJournal, 0);
    for (const std::string& note : notes) {
      if (!note.ends_with("; the next commit brings it up to the loaded modules first")) continue;
      EXPECT_TRUE(
          note.starts_with(options.directory + "/nexa.db: the disk does not confirm writes"))
          << note;
      ++owing;
    }
    if (!has_base()) {
      ++lacking;
      EXPECT_TRUE(notes.size() == 2 || !store_->health().writable);
    }
    const std::string defaults = ",\"s:x" + number + "\":\"d\"}";
    EXPECT_EQ(json(), "{\"s:v\":[" + shown + "]" + defaults);
    std::string refusal = add("n" + number);
    for (int tries = 0; tries < 100 && !refusal.empty(); ++tries) {
      std::this_thread::sleep_for(std::chrono::milliseconds(50));
      refusal = add("n" + number);
    }
    ASSERT_EQ(refusal, "");
    shown += ",\"n" + number + "\"";
    EXPECT_TRUE(has_base());
    EXPECT_EQ(json(), "{\"s:v\":[" + shown + "]" + defaults);
    store_.reset();
  }
  EXPECT_GT(owing, 0);
  EXPECT_GT(lacking, 1);
}

}  // namespace
}  // namespace nexa_test::findings
