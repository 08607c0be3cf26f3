// A commit of which the disk did not say whether it has it: the next one finds out.
#include <atomic>

#include "failing_disk.h"
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

// Under another schema a start writes what it made of the configuration.
TEST_F(StoreUnknownOutcome, AStartWhoseSyncsFailReadsOrNamesTheLog) {
  ASSERT_EQ(add("1"), "");
  store_.reset();
  nexa::store::TreeStoreOptions options;
  options.directory = folder_.file("data");
  int refusals = 0;
  int readings = 0;
  for (int syncs = 0; syncs < 8; ++syncs) {
    ASSERT_EQ(load_module("s", module_of("leaf-list v { type string; } leaf x" +
                                         std::to_string(syncs) + " { type string; }")),
              "");
    std::atomic<int> calls{0};
    disk_.at_syncs([&] {
      if (calls++ == 2 * syncs) disk_.fail_syncs(FailingDisk::Part::kJournal, 3);
    });
    auto opened = nexa::store::open_tree_store(options);
    disk_.at_syncs(nullptr);
    disk_.fail_syncs(FailingDisk::Part::kJournal, 0);
    if (opened.ok()) {
      store_ = std::move(opened).value();
      if (!store_->health().writable) ++readings;
      EXPECT_EQ(json(), R"({"s:v":["1"]})");
      store_.reset();
    } else {
      ++refusals;
      const std::string line = opened.failure().line();
      EXPECT_TRUE(line.starts_with(options.directory + "/nexa.db: the disk does not confirm"))
          << line;
    }
  }
  EXPECT_GT(refusals, 0);
  EXPECT_GT(readings, 0);
}

}  // namespace
}  // namespace nexa_test::findings
