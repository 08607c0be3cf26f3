// Work in a forked child: its result comes back whole, and its death is an answer.
#include "store/validation/child_judgement.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <fstream>
#include <mutex>
#include <new>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "real/temp_folder.h"
#include "shop_models.h"
#include "store/judge.h"
#include "store/tree.h"

namespace nexa::store {
namespace child_judgement_test {

using Kind = ChildOutcome::Kind;
using std::chrono::milliseconds;

// How the sanitizers answer a fault is their own: an exit status, after a report.
bool is_death(const ChildOutcome& outcome, int signal) {
  if (outcome.kind == Kind::kExit) return outcome.number != 0;
  return outcome.kind == Kind::kSignal && outcome.number == signal;
}

TEST(ChildJudgement, HandsTheResultOver) {
  const ChildOutcome outcome = run_in_child([] { return std::string("a\0b\n", 4); });
  EXPECT_EQ(outcome.kind, Kind::kDone) << outcome.in_words();
  EXPECT_EQ(outcome.result, std::string("a\0b\n", 4));
  EXPECT_EQ(outcome.in_words(), "done");
}

TEST(ChildJudgement, HandsAnEmptyResultOver) {
  const ChildOutcome outcome = run_in_child([] { return std::string(); });
  EXPECT_EQ(outcome.kind, Kind::kDone) << outcome.in_words();
  EXPECT_EQ(outcome.result, "");
}

TEST(ChildJudgement, HandsALargeResultOver) {
  constexpr std::size_t kSize = 50 * 1000 * 1000;
  const ChildOutcome outcome = run_in_child([] {
    std::string text(kSize, 'x');
    text.front() = 'a';
    text.back() = 'z';
    return text;
  });
  ASSERT_EQ(outcome.kind, Kind::kDone) << outcome.in_words();
  ASSERT_EQ(outcome.result.size(), kSize);
  EXPECT_EQ(outcome.result.front(), 'a');
  EXPECT_EQ(outcome.result.back(), 'z');
}

TEST(ChildJudgement, SeesTheMemoryAndChangesNothingInIt) {
  int value = 1;
  const ChildOutcome outcome = run_in_child([&value] { return std::to_string(++value); });
  EXPECT_EQ(outcome.result, "2");
  EXPECT_EQ(value, 1);
}

TEST(ChildJudgement, TellsASegmentationFault) {
  const ChildOutcome outcome = run_in_child([]() -> std::string {
    ::raise(SIGSEGV);
    return "survived";
  });
  EXPECT_TRUE(is_death(outcome, SIGSEGV)) << outcome.in_words();
}

TEST(ChildJudgement, TellsAnAbort) {
  const ChildOutcome outcome = run_in_child([]() -> std::string { ::abort(); });
  EXPECT_TRUE(is_death(outcome, SIGABRT)) << outcome.in_words();
}

TEST(ChildJudgement, NamesTheSignal) {
  const ChildOutcome outcome = run_in_child([]() -> std::string {
    ::raise(SIGKILL);
    return "survived";
  });
  EXPECT_EQ(outcome.in_words(), "died of signal 9 (Killed)");
}

TEST(ChildJudgement, TellsAnExit) {
  const ChildOutcome outcome = run_in_child([]() -> std::string { ::_exit(3); });
  EXPECT_EQ(outcome.kind, Kind::kExit);
  EXPECT_EQ(outcome.number, 3);
  EXPECT_EQ(outcome.in_words(), "ended with status 3 and without a result");
}

TEST(ChildJudgement, TellsAnExitWithoutAResult) {
  const ChildOutcome outcome = run_in_child([]() -> std::string { ::_exit(0); });
  EXPECT_EQ(outcome.kind, Kind::kExit);
}

TEST(ChildJudgement, AnExceptionIsNoResult) {
  const ChildOutcome outcome =
      run_in_child([]() -> std::string { throw std::runtime_error("no"); });
  EXPECT_EQ(outcome.kind, Kind::kExit);
  EXPECT_NE(outcome.number, 0);
}

TEST(ChildJudgement, EndsAChildThatTakesTooLong) {
  const auto start = std::chrono::steady_clock::now();
  const ChildOutcome outcome = run_in_child(
      [] {
        std::this_thread::sleep_for(std::chrono::hours(1));
        return std::string("late");
      },
      milliseconds(100));
  EXPECT_EQ(outcome.kind, Kind::kTooLong);
  EXPECT_EQ(outcome.in_words(), "took too long and was ended");
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(30));
}

TEST(ChildJudgement, TheChildHoldsNoFileOfTheParent) {
  int ends[2] = {-1, -1};
  ASSERT_EQ(::pipe(ends), 0);
  const ChildOutcome outcome = run_in_child([] {
    std::string open;
    for (int number = 0; number < 1024; ++number) {
      if (::fcntl(number, F_GETFD) >= 0) open.append(std::to_string(number)).append(" ");
    }
    return open;
  });
  ASSERT_EQ(outcome.kind, Kind::kDone) << outcome.in_words();
  // Standard error and the pipe of the result.
  EXPECT_EQ(outcome.result.rfind("2 ", 0), 0U) << outcome.result;
  EXPECT_EQ(std::count(outcome.result.begin(), outcome.result.end(), ' '), 2) << outcome.result;
  ::close(ends[0]);
  ::close(ends[1]);
}

TEST(ChildJudgement, TheChildTakesSignalsInTheUsualWay) {
  struct sigaction quiet = {};
  struct sigaction old = {};
  quiet.sa_handler = SIG_IGN;
  ASSERT_EQ(::sigaction(SIGTERM, &quiet, &old), 0);
  const ChildOutcome outcome = run_in_child([]() -> std::string {
    ::raise(SIGTERM);
    return "survived";
  });
  ::sigaction(SIGTERM, &old, nullptr);
  EXPECT_EQ(outcome.kind, Kind::kSignal);
  EXPECT_EQ(outcome.number, SIGTERM);
}

TEST(ChildJudgement, ThreadsRunTheirOwn) {
  std::vector<std::string> results(4);
  std::vector<std::thread> threads;
  for (std::size_t i = 0; i < results.size(); ++i) {
    threads.emplace_back([&results, i] {
      results[i] =
          run_in_child([i] { return std::string(100'000, static_cast<char>('a' + i)); }).result;
    });
  }
  for (std::thread& thread : threads) thread.join();
  for (std::size_t i = 0; i < results.size(); ++i) {
    EXPECT_EQ(results[i], std::string(100'000, static_cast<char>('a' + i)));
  }
}

// What a child does before anything of its own, when the system has forked it: 0, nothing. The
// handlers of a fork cannot be taken back, so that they ask this.
std::atomic<int>* early_forks = nullptr;
void (*at_first_early_fork)() = nullptr;

void begin_child() {
  if (early_forks != nullptr && ++*early_forks == 1) at_first_early_fork();
}

// Counts the forks while it lives and has the first of them begin with `first`.
class EarlyForks {
 public:
  explicit EarlyForks(void (*first)()) {
    static const bool is_registered = ::pthread_atfork(nullptr, nullptr, begin_child) == 0;
    void* const shared = ::mmap(nullptr, sizeof(std::atomic<int>), PROT_READ | PROT_WRITE,
                                MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (!is_registered || shared == MAP_FAILED) return;
    at_first_early_fork = first;
    early_forks = new (shared) std::atomic<int>(0);
  }
  EarlyForks(const EarlyForks&) = delete;
  EarlyForks& operator=(const EarlyForks&) = delete;
  ~EarlyForks() {
    if (early_forks != nullptr) ::munmap(early_forks, sizeof(std::atomic<int>));
    early_forks = nullptr;
  }
  static int count() { return early_forks == nullptr ? -1 : early_forks->load(); }
};

// The one child of this process that is stopped; -1 while there is none.
pid_t stopped_child() {
  const std::string tasks = "/proc/self/task/" + std::to_string(::getpid()) + "/children";
  std::ifstream children(tasks);
  pid_t child = -1;
  while (children >> child) {
    std::ifstream file("/proc/" + std::to_string(child) + "/stat");
    std::string line;
    std::getline(file, line);
    if (line.find(") T") != std::string::npos) return child;
  }
  return -1;
}

// A machine without a free processor gives a child its time late: that is no reason to end it.
TEST(ChildJudgement, AChildThatIsKeptFromTheProcessorIsForkedOnce) {
  const EarlyForks forks([] { ::raise(SIGSTOP); });
  std::thread other([] {
    pid_t child = -1;
    for (int i = 0; i < 1'000 && child < 0; ++i) {
      std::this_thread::sleep_for(milliseconds(10));
      child = stopped_child();
    }
    std::this_thread::sleep_for(milliseconds(1'500));
    if (child > 0) ::kill(child, SIGCONT);
  });
  const ChildOutcome outcome = run_in_child([] { return std::string("done"); });
  other.join();
  EXPECT_EQ(outcome.kind, Kind::kDone) << outcome.in_words();
  EXPECT_EQ(outcome.result, "done");
  EXPECT_EQ(EarlyForks::count(), 1);
}

// A start believes nothing of what libyang may die of; a Set has been judged by what is known of
// the schema, and need not pay for a process.
TEST(ChildJudgement, AWholeTreeIsJudgedWhereItIsAskedFor) {
  ASSERT_EQ(nexa_test::load_module("s", R"(module s { namespace "urn:s"; prefix s;
    leaf v { type string; } })"),
            "");
  const ImagePtr given = nexa_test::shop_image("<v xmlns=\"urn:s\">1</v>");
  Judge judge;
  for (const Judge::Place place : {Judge::Place::kHere, Judge::Place::kChild}) {
    const EarlyForks forks([] {});
    const Judge::Verdict verdict = judge.judge_whole(given, nullptr, *given, place);
    judge.keep();
    EXPECT_EQ(verdict.kind, Judge::Verdict::Kind::kValid);
    EXPECT_EQ(EarlyForks::count(), place == Judge::Place::kChild ? 1 : 0);
  }
}

// The locks of a sanitizer are waited for without sleep.
TEST(ChildJudgement, AChildThatSpinsBeforeItIsReadyIsForkedAgain) {
  const EarlyForks forks([] {
    for (volatile unsigned turns = 0;;) turns = turns + 1;
  });
  const ChildOutcome outcome = run_in_child([] { return std::string("done"); });
  EXPECT_EQ(outcome.kind, Kind::kDone) << outcome.in_words();
  EXPECT_EQ(outcome.result, "done");
  EXPECT_EQ(EarlyForks::count(), 2);
}

// A fork has no copy of the thread that holds libyang's lock of its strings.
TEST(ChildJudgement, IsNotStoppedByALockThatAnotherThreadHolds) {
#ifdef __SANITIZE_ADDRESS__
  GTEST_SKIP() << "the sanitizer's allocator is locked in nearly every fork beside a busy thread";
#endif
  ASSERT_EQ(nexa_test::load_module("m",
                                   "module m { namespace \"urn:m\"; prefix m; leaf a { type "
                                   "string; } }"),
            "");
  const auto use_strings = [] {
    const char* text = nullptr;
    lydict_insert(kestrel::context(), "some text", 0, &text);
    lydict_remove(kestrel::context(), text);
  };
  std::atomic<bool> ends{false};
  std::thread other([&] {
    while (!ends) {
      for (int i = 0; i < 200; ++i) use_strings();
      std::this_thread::sleep_for(std::chrono::microseconds(20));
    }
  });
  for (int i = 0; i < 16; ++i) {
    const ChildOutcome outcome = run_in_child([&use_strings]() -> std::string {
      use_strings();
      return "done";
    });
    EXPECT_EQ(outcome.kind, Kind::kDone) << outcome.in_words();
    EXPECT_EQ(outcome.result, "done");
    if (HasFailure()) break;
  }
  ends = true;
  other.join();
}

// A lock that nothing tries before the work: the first children wait for it and are given up.
TEST(ChildJudgement, AChildThatWaitsForALockIsForkedAgain) {
  std::mutex lock;
  std::atomic<bool> is_held{false};
  std::thread holder([&] {
    const std::lock_guard<std::mutex> held(lock);
    is_held = true;
    std::this_thread::sleep_for(milliseconds(1'500));
  });
  while (!is_held) std::this_thread::yield();
  const ChildOutcome outcome = run_in_child([&lock]() -> std::string {
    const std::lock_guard<std::mutex> held(lock);
    return "done";
  });
  holder.join();
  EXPECT_EQ(outcome.kind, Kind::kDone) << outcome.in_words();
  EXPECT_EQ(outcome.result, "done");
}

// One that works is left in peace, whether or not it writes anything for seconds.
TEST(ChildJudgement, AChildThatWorksIsForkedOnce) {
  void* const shared = ::mmap(nullptr, sizeof(std::atomic<int>), PROT_READ | PROT_WRITE,
                              MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  ASSERT_NE(shared, MAP_FAILED);
  auto* const forks = new (shared) std::atomic<int>(0);
  const ChildOutcome outcome = run_in_child([forks]() -> std::string {
    ++*forks;
    const auto start = std::chrono::steady_clock::now();
    while (std::chrono::steady_clock::now() - start < milliseconds(3'500)) {
    }
    return "done";
  });
  EXPECT_EQ(outcome.kind, Kind::kDone) << outcome.in_words();
  EXPECT_EQ(*forks, 1);
  ::munmap(shared, sizeof(std::atomic<int>));
}

}  // namespace child_judgement_test
}  // namespace nexa::store
