// When the program runs, what becomes of its verdict, and that no run is left behind.
#include "verifier.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <new>
#include <thread>

#include "support/emulated.h"

namespace {

using namespace nexad;
using namespace std::chrono_literals;
using nexa::store::StoreHealth;

class FakeSnapshot : public nexa::store::Snapshot {
 public:
  explicit FakeSnapshot(std::uint64_t number) : number_(number) {}
  grpc::Status read(const nexa::store::Query&, const nexa::store::StateTree*,
                    const nexa::store::ValueSink&) const override {
    return grpc::Status::OK;
  }
  std::string xml() const override { return "<config/>"; }
  std::uint64_t number() const override { return number_; }

 private:
  std::uint64_t number_;
};

// A store that has a number and keeps what it is told.
class FakeStore : public nexa::store::ConfigStore {
 public:
  StoreHealth health() const override {
    if (faults.load() > 0 && faults.fetch_sub(1) > 0) throw std::bad_alloc();
    const std::lock_guard lock(mutex_);
    return health_;
  }
  void verified(std::uint64_t number, const std::string& violation) override {
    const std::lock_guard lock(mutex_);
    if (violation.empty()) health_.verified = number;
    health_.violation = violation;
  }
  std::shared_ptr<const nexa::store::Snapshot> snapshot() const override {
    return std::make_shared<FakeSnapshot>(head);
  }
  nexa::store::CommitResult commit(const nexa::store::CommitRequest&) override { return {}; }
  nexa::text::Result<std::shared_ptr<const nexa::store::StateTree>> parse_state(
      std::string_view) const override {
    return nullptr;
  }
  std::shared_ptr<const nexa::store::StateTree> join_states(
      std::span<const std::shared_ptr<const nexa::store::StateTree>>) const override {
    return nullptr;
  }
  grpc::Status history(std::size_t, std::vector<nexa::store::CommitRecord>&) const override {
    return grpc::Status::OK;
  }
  nexa::store::CommitResult rollback(
      std::uint64_t, const std::string&,
      const std::function<grpc::Status(const nexa::store::Change&)>&) override {
    return {};
  }

  std::atomic<std::uint64_t> head{0};
  mutable std::atomic<int> faults{0};  // how often there is no memory for its health

 private:
  mutable std::mutex mutex_;
  StoreHealth health_;
};

bool comes_true(const std::function<bool()>& condition) {
  for (int i = 0; i < 2000 && !condition(); ++i) std::this_thread::sleep_for(5ms);
  return condition();
}

class VerifierTest : public testing::Test {
 protected:
  VerifierTest() { std::filesystem::create_directory(folder_); }
  ~VerifierTest() override { std::filesystem::remove_all(folder_); }

  // A program that notes each run and then does what `script` says.
  VerifierOptions program(const std::string& script) const {
    const std::string path = folder_ + "/program";
    std::ofstream(path) << "#!/bin/sh\necho $$ >>" << runs_ << "\n" << script << "\n";
    chmod(path.c_str(), 0755);
    VerifierOptions options;
    options.command = {path};
    options.interval = 0ms;
    return options;
  }
  // The process numbers of the runs so far.
  std::vector<pid_t> runs() const {
    std::ifstream in(runs_);
    return {std::istream_iterator<pid_t>(in), {}};
  }
  static double failures(const Verifier& verifier, const char* reason) {
    return verifier.counts().failures.at(reason);
  }

  const std::string folder_ = testing::TempDir() + "nexad_verifier_" + std::to_string(getpid());
  const std::string runs_ = folder_ + "/runs";
  FakeStore store_;
};

TEST_F(VerifierTest, LooksAtWhatTheStoreDoesNotKnowAsValid) {
  store_.head = 5;
  const Verifier verifier(store_, program("echo 'commit 5: valid'"));
  EXPECT_TRUE(comes_true([this] { return store_.health().verified == 5; }));
  EXPECT_EQ(verifier.counts().runs, 1U);
  EXPECT_EQ(verifier.counts().violations, 0U);
}

TEST_F(VerifierTest, ALookWithoutMemoryIsMadeAgain) {
  store_.head = 5;
  store_.faults = 1;
  const Verifier verifier(store_, program("echo 'commit 5: valid'"));
  EXPECT_TRUE(comes_true([this] { return store_.faults <= 0; }));
  EXPECT_TRUE(comes_true([this] { return store_.health().verified == 5; }));
  EXPECT_EQ(verifier.counts().runs, 1U);
}

TEST_F(VerifierTest, AStartWithAVerifiedConfigurationRunsNothingUntilACommit) {
  store_.head = 5;
  store_.verified(5, "");
  const Verifier verifier(store_, program("echo 'commit 6: valid'"));
  std::this_thread::sleep_for(600ms);
  EXPECT_TRUE(runs().empty());
  store_.head = 6;
  EXPECT_TRUE(comes_true([this] { return store_.health().verified == 6; }));
}

TEST_F(VerifierTest, ACommitThatWasLookedAtIsNotLookedAtAgain) {
  store_.head = 1;
  const Verifier verifier(store_, program("exit 3"));
  EXPECT_TRUE(comes_true([&] { return failures(verifier, "no_verdict") == 1; }));
  std::this_thread::sleep_for(600ms);
  EXPECT_EQ(runs().size(), 1U);
}

TEST_F(VerifierTest, RunsAreAnIntervalApart) {
  store_.head = 1;
  VerifierOptions options = program("echo 'commit 1: valid'");
  options.interval = 1h;
  const Verifier verifier(store_, options);
  EXPECT_TRUE(comes_true([&] { return store_.health().verified == 1; }));
  store_.head = 2;
  std::this_thread::sleep_for(600ms);
  EXPECT_EQ(runs().size(), 1U);
}

TEST_F(VerifierTest, ABrokenRuleGoesToTheStore) {
  store_.head = 8;
  const Verifier verifier(store_, program("echo 'commit 8: /m:top/a: must \"b\"'; exit 1"));
  EXPECT_TRUE(comes_true([this] { return !store_.health().violation.empty(); }));
  EXPECT_EQ(store_.health().violation, "/m:top/a: must \"b\"");
  EXPECT_TRUE(comes_true([&] { return verifier.counts().violations == 1; }));
}

TEST_F(VerifierTest, ADamagedLogIsNoViolation) {
  store_.head = 2;
  const Verifier verifier(store_, program("echo 'cannot be read: nexa.db: damaged'; exit 1"));
  EXPECT_TRUE(comes_true([&] { return failures(verifier, "unreadable") == 1; }));
  EXPECT_TRUE(verifier.counts().is_damaged);
  EXPECT_EQ(store_.health().violation, "");
}

TEST_F(VerifierTest, AnEndBySignalIsAFailureAndTheNextCommitIsLookedAt) {
  store_.head = 1;
  const Verifier verifier(store_,
                          program("[ -e " + folder_ + "/second ] && echo 'commit 2: valid' " +
                                  "&& exit 0; touch " + folder_ + "/second; kill -SEGV $$"));
  EXPECT_TRUE(comes_true([&] { return failures(verifier, "died") == 1; }));
  store_.head = 2;
  EXPECT_TRUE(comes_true([this] { return store_.health().verified == 2; }));
}

TEST_F(VerifierTest, AProgramThatTakesTooLongIsKilled) {
  store_.head = 1;
  VerifierOptions options = program("exec sleep 600");
  options.limit = 300ms;
  const Verifier verifier(store_, options);
  EXPECT_TRUE(comes_true([&] { return failures(verifier, "too_long") == 1; }));
  EXPECT_EQ(kill(runs().at(0), 0), -1);
  EXPECT_EQ(errno, ESRCH);
}

TEST_F(VerifierTest, TheEndKillsARun) {
  store_.head = 1;
  {
    const Verifier verifier(store_, program("exec sleep 600"));
    EXPECT_TRUE(comes_true([this] { return !runs().empty(); }));
  }
  EXPECT_EQ(kill(runs().at(0), 0), -1);
  EXPECT_EQ(errno, ESRCH);
}

TEST_F(VerifierTest, AProgramThatIsNotThereIsAFailure) {
  NEXA_SKIP_IF_EMULATED(nexa_test::kNoReportOfSpawn);
  store_.head = 1;
  VerifierOptions options;
  options.command = {folder_ + "/nothing"};
  const Verifier verifier(store_, options);
  EXPECT_TRUE(comes_true([&] { return failures(verifier, "not_started") == 1; }));
}

TEST_F(VerifierTest, MuchTextBeforeTheVerdictIsNoVerdict) {
  store_.head = 1;
  const Verifier verifier(store_, program("head -c 1000000 /dev/zero | tr '\\0' x; echo"));
  EXPECT_TRUE(comes_true([&] { return failures(verifier, "no_verdict") == 1; }));
}

TEST(VerifyCommand, HasTheSchemaOfTheServer) {
  ServerConfig config;
  config.data = "/data";
  config.yang_dirs = {"/one", "/two"};
  config.modules = {"m"};
  config.features = {{"m", {"f", "g"}}, {"n", {}}};
  const std::string folder = testing::TempDir() + "nexad_tool_" + std::to_string(getpid());
  std::filesystem::create_directory(folder);
  std::ofstream(folder + "/nexa") << "#!/bin/sh\n";
  chmod((folder + "/nexa").c_str(), 0755);
  const std::string before = getenv("PATH");
  setenv("PATH", folder.c_str(), 1);
  std::vector<std::string> command = verify_command(config);
  setenv("PATH", before.c_str(), 1);
  std::filesystem::remove_all(folder);
  ASSERT_FALSE(command.empty());
  // The tool beside the program counts first; here either will do.
  EXPECT_EQ(std::filesystem::path(command.front()).filename(), "nexa");
  command.erase(command.begin());
  EXPECT_EQ(command, (std::vector<std::string>{"verify", "--data", "/data", "--parent",
                                               std::to_string(getpid()), "--yang-dir", "/one",
                                               "--yang-dir", "/two", "--module", "m", "--feature",
                                               "m:f", "--feature", "m:g", "--feature", "n:"}));
}

}  // namespace
