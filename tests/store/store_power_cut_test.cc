// The power fails before and after syncs, wherever the store makes one: what was answered OK is
// there after the next start, and nothing else is. The disk keeps apart what was not synced, and
// each page of it is there or not. The witness, which nobody syncs, is any of those that were
// written, half of one and half of another, or none.
//   NEXA_POWER_CUT_SEEDS   how many histories, 100 unless told
//   NEXA_POWER_CUT_EVERY   one of how many moments is looked at, 20 unless told; 1: all
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>
#include <mutex>
#include <random>

#include "failing_disk.h"
#include "store/log/commit_witness.h"
#include "store_fixture.h"

namespace store_power_cut_test {

using namespace nexa_test;
namespace fs = std::filesystem;
using Part = FailingDisk::Part;

constexpr unsigned kSeeds = 100;
constexpr unsigned kEvery = 20;
constexpr int kSteps = 14;

unsigned number_of(const char* variable, unsigned usual) {
  const char* const text = std::getenv(variable);
  return text != nullptr ? static_cast<unsigned>(std::strtoul(text, nullptr, 10)) : usual;
}

std::string text_of(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

// One history of a store, and the folders that cuts of it leave.
class History {
 public:
  History(unsigned seed, unsigned every)
      : random_(seed), every_(every), chance_(seed), moment_(seed % every) {
    disk_.seed(seed);
    configurations_[0] = "<config/>";
  }

  // `skipped`: the sync of the journal that does nothing; negative: none.
  void run(int skipped) {
    disk_.stand_in(true);
    disk_.at_syncs([this] { at_sync(); });
    open();
    if (skipped >= 0) disk_.skip_sync(Part::kJournal, skipped);
    for (int step = 0; step < kSteps; ++step) take_step();
    store_.reset();
    disk_.at_syncs(nullptr);
    disk_.stand_in(false);
  }

  std::size_t cuts() const { return cuts_.size(); }

  // What is wrong after the cuts, a line each.
  std::vector<std::string> problems() const {
    std::vector<std::string> found;
    for (std::size_t i = 0; i < cuts_.size(); ++i) {
      const std::string problem = problem_of(cuts_[i]);
      if (!problem.empty()) found.push_back("cut " + std::to_string(i) + ": " + problem);
    }
    return found;
  }

 private:
  struct Cut {
    std::string folder;
    std::uint64_t answered = 0;
  };

  void open() {
    store_.reset();
    nexa::store::TreeStoreOptions options;
    options.directory = folder_.file("data");
    options.commits_per_snapshot = 3;
    options.history_limit = 4;
    store_ = nexa_test::value_of(nexa::store::open_tree_store(options));
  }

  void take_step() {
    const auto choice = random_() % 10;
    if (choice == 0) return open();
    if (choice == 1 && number_ > 0) {
      return answered(store_->rollback(number_ - random_() % std::min<std::uint64_t>(number_, 3),
                                       "tester", nullptr));
    }
    CommitRequest request;
    request.author = "tester";
    const std::string port = "p" + std::to_string(random_() % 4);
    if (choice == 2) {
      request.edits = {drop("/s:top/port[id=" + port + "]")};
    } else {
      request.edits = {update("<name>" + std::to_string(++names_) + "</name><port><id>" + port +
                              "</id><inner><deep>" + std::string(random_() % 9000, 'd') +
                              "</deep></inner></port>")};
    }
    answered(store_->commit(request));
  }

  void answered(const CommitResult& result) {
    ASSERT_TRUE(result.status.ok()) << result.status.error_message();
    const std::lock_guard<std::mutex> lock(mutex_);
    number_ = result.number;
    configurations_[number_] = store_->snapshot()->xml();
  }

  void at_sync() {
    const std::lock_guard<std::mutex> lock(mutex_);
    const std::string data = folder_.file("data");
    const std::string witness = text_of(nexa::store::witness_file(data));
    if (witnesses_.empty() || witnesses_.back() != witness) witnesses_.push_back(witness);
    if (moment_++ % every_ != 0) return;
    const std::string cut = folder_.file("cut" + std::to_string(cuts_.size()));
    disk_.cut_power(data, cut);
    spoil_witness(nexa::store::witness_file(cut));
    cuts_.push_back({cut, number_});
  }

  void spoil_witness(const std::string& file) {
    const std::string& one = witnesses_[chance_() % witnesses_.size()];
    const std::string& other = witnesses_[chance_() % witnesses_.size()];
    const std::size_t half = one.size() / 2;
    switch (chance_() % 4) {
      case 0:
        fs::remove(file);
        return;
      case 1:
        std::ofstream(file, std::ios::trunc)
            << one.substr(0, half) << other.substr(std::min(half, other.size()));
        return;
      default:
        std::ofstream(file, std::ios::trunc) << one;
    }
  }

  std::string problem_of(const Cut& cut) const {
    nexa::store::TreeStoreOptions options;
    options.directory = cut.folder;
    options.sync = false;  // what the disk does from here on is nothing to the test
    const auto opened = nexa::store::open_tree_store(options);
    if (!opened.ok()) return "it does not open: " + opened.failure().line();
    const auto& store = opened.value();
    const auto snapshot = store->snapshot();
    if (snapshot->number() < cut.answered) {
      return "commit " + std::to_string(cut.answered) + " was answered, the newest is " +
             std::to_string(snapshot->number());
    }
    const auto expected = configurations_.find(snapshot->number());
    if (expected == configurations_.end()) {
      return "nobody made commit " + std::to_string(snapshot->number());
    }
    if (!same_xml(snapshot->xml(), expected->second)) {
      return "commit " + std::to_string(snapshot->number()) + " is " + snapshot->xml();
    }
    CommitRequest request;
    request.edits = {update("<name>after the cut</name>")};
    const CommitResult next = store->commit(request);
    return next.status.ok() ? "" : "the next commit: " + next.status.error_message();
  }

  TempFolder folder_;
  FailingDisk& disk_ = FailingDisk::fresh();
  std::mt19937 random_;
  const unsigned every_;
  std::unique_ptr<ConfigStore> store_;
  int names_ = 0;

  std::mutex mutex_;  // for the rest
  std::mt19937 chance_;
  unsigned moment_;
  std::uint64_t number_ = 0;  // of the newest commit that was answered
  std::map<std::uint64_t, std::string> configurations_;
  std::vector<std::string> witnesses_;
  std::vector<Cut> cuts_;
};

TEST(StorePowerCut, WhatWasAnsweredIsThereAfterwards) {
  ASSERT_EQ(load_module("s", kStoreModule), "");
  const unsigned seeds = number_of("NEXA_POWER_CUT_SEEDS", kSeeds);
  const unsigned every = std::max(1U, number_of("NEXA_POWER_CUT_EVERY", kEvery));
  std::size_t cuts = 0;
  for (unsigned seed = 1; seed <= seeds; ++seed) {
    History history(seed, every);
    history.run(-1);
    cuts += history.cuts();
    EXPECT_EQ(history.problems(), std::vector<std::string>()) << "seed " << seed;
  }
  std::cout << cuts << " cuts in " << seeds << " histories\n";
  EXPECT_GT(cuts, seeds);
}

// Whether the test above would see it: one sync of the journal is taken out, one after the other.
// Not every one vouches for a commit.
TEST(StorePowerCut, OneSyncThatIsTakenOutIsFoundOut) {
  ASSERT_EQ(load_module("s", kStoreModule), "");
  int found = 0;
  for (int skipped = 0; skipped < 8; ++skipped) {
    History history(1, 1);
    history.run(skipped);
    if (!history.problems().empty()) ++found;
  }
  EXPECT_GE(found, 2);
}

}  // namespace store_power_cut_test
