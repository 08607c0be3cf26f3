// What the hook program is given, what its answer does, and that no program can hang a commit.
#include "hook/commit_hook.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "support/emulated.h"

namespace {

using namespace nexa::hook;
using std::chrono::milliseconds;

using nexa::store::Change;

Change small_change() {
  Change change;
  change.number = 7;
  change.time_ns = 1'700'000'000'000'000'042;
  change.author = "al<i>ce & \"co\"\n";
  change.before = "<config/>";
  change.after = "<?xml version=\"1.0\"?><config><a xmlns=\"urn:a\">1</a></config>";
  return change;
}

CommitHookOptions shell(const std::string& script, milliseconds timeout = milliseconds(20000)) {
  return {{"/bin/sh", "-c", script}, timeout};
}

grpc::Status run(const CommitHookOptions& options) {
  return run_commit_hook(options, small_change(), "set");
}

std::string content(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

class HookFile : public testing::Test {
 protected:
  ~HookFile() override { std::filesystem::remove(path_); }
  const std::string path_ = testing::TempDir() + "nexa_hook_" + std::to_string(getpid());
};

TEST_F(HookFile, ReadsTheChangeOnStandardInput) {
  const grpc::Status status = run(shell("cat > " + path_));
  EXPECT_TRUE(status.ok()) << status.error_message();
  EXPECT_EQ(content(path_),
            "<commit xmlns=\"urn:nexa:params:xml:ns:commit:1.0\" number=\"7\" "
            "author=\"al&lt;i&gt;ce &amp; &quot;co&quot;\\n\" "
            "time=\"2023-11-14T22:13:20.000000042Z\" reason=\"set\"><before><config/></before>"
            "<after><config><a xmlns=\"urn:a\">1</a></config></after></commit>\n");
}

TEST_F(HookFile, TakesAHundredMegabytesThroughAPipe) {
  Change change = small_change();
  change.before = "<config>" + std::string(50'000'000, 'b') + "</config>";
  change.after = "<config>" + std::string(50'000'000, 'a') + "</config>";
  const auto status = run_commit_hook(shell("wc -c > " + path_), change, "set");
  EXPECT_TRUE(status.ok()) << status.error_message();
  EXPECT_GT(std::stoll(content(path_)), 100'000'000);
}

TEST(CommitHook, TakesArgumentsWithoutAShell) {
  EXPECT_TRUE(run({{"test", "a b", "=", "a b"}, milliseconds(20000)}).ok());
  EXPECT_FALSE(run({{"test", "$HOME", "=", ""}, milliseconds(20000)}).ok());
}

TEST(CommitHook, ANonZeroExitVetoesWithWhatTheProgramSaid) {
  const auto status = run(shell("cat >/dev/null; printf 'no such\\tport\\033x\\n' >&2; exit 3"));
  EXPECT_EQ(status.error_code(), grpc::StatusCode::FAILED_PRECONDITION);
  EXPECT_EQ(status.error_message(),
            "The commit hook refused the change (exit status 3): no such\\tport\\x1Bx");
}

TEST(CommitHook, ASignalVetoes) {
  const auto status = run(shell("kill -SEGV $$"));
  EXPECT_EQ(status.error_code(), grpc::StatusCode::FAILED_PRECONDITION);
  EXPECT_EQ(status.error_message(), "The commit hook refused the change (signal 11)");
}

TEST(CommitHook, KeepsFourKilobytesOfComplaintsAndReadsTheRest) {
  const auto status = run(shell("head -c 1000000 /dev/zero | tr '\\0' x >&2; exit 1"));
  EXPECT_EQ(status.error_code(), grpc::StatusCode::FAILED_PRECONDITION);
  EXPECT_EQ(status.error_message(),
            "The commit hook refused the change (exit status 1): " + std::string(4096, 'x'));
}

TEST(CommitHook, AProgramThatIsNotThereIsOurFault) {
  NEXA_SKIP_IF_EMULATED(nexa_test::kNoReportOfSpawn);
  const auto status = run({{"/no/such/hook"}, milliseconds(1000)});
  EXPECT_EQ(status.error_code(), grpc::StatusCode::INTERNAL);
  EXPECT_EQ(status.error_message(),
            "The commit hook cannot be started: /no/such/hook: No such file or directory");
  EXPECT_EQ(run({}).error_code(), grpc::StatusCode::INTERNAL);
}

TEST(CommitHook, TheTimeLimitEndsTheWholeGroup) {
  const std::string path = testing::TempDir() + "nexa_hook_child_" + std::to_string(getpid());
  const auto start = std::chrono::steady_clock::now();
  const auto status = run(shell("sleep 60 & echo $! > " + path + "; wait", milliseconds(500)));
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
  EXPECT_EQ(status.error_code(), grpc::StatusCode::ABORTED);
  EXPECT_EQ(status.error_message(),
            "The commit hook did not answer within its time limit of 500 ms");
  const auto grandchild = static_cast<pid_t>(std::stol(content(path)));
  std::filesystem::remove(path);
  // It is init's to reap; a zombie is as good as gone.
  bool gone = false;
  for (int i = 0; i < 100 && !gone; ++i) {
    const std::string stat = content("/proc/" + std::to_string(grandchild) + "/stat");
    gone = stat.empty() || stat.find(") Z ") != std::string::npos;
    if (!gone) usleep(20000);
  }
  EXPECT_TRUE(gone);
}

TEST(CommitHook, AProgramThatIgnoresItsInputDoesNotHangOrKillUs) {
  Change change = small_change();
  change.after = "<config>" + std::string(1'000'000, 'a') + "</config>";
  std::signal(SIGPIPE, SIG_DFL);
  EXPECT_TRUE(run_commit_hook(shell("exit 0"), change, "set").ok());
  EXPECT_TRUE(run_commit_hook(shell("exec <&-; sleep 0.2; exit 0"), change, "set").ok());
  const auto status = run_commit_hook(shell("sleep 60", milliseconds(300)), change, "set");
  EXPECT_EQ(status.error_code(), grpc::StatusCode::ABORTED);
}

TEST(CommitHook, AGrandchildThatKeepsStandardErrorOpenDoesNotHoldTheCommit) {
  const auto start = std::chrono::steady_clock::now();
  EXPECT_TRUE(run(shell("sleep 5 & exit 0")).ok());
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(4));
}

TEST_F(HookFile, InheritsNoDescriptorAndNoBlockedSignal) {
  const int leak = open("/dev/null", O_RDONLY);  // without O_CLOEXEC
  ASSERT_GE(leak, 0);
  sigset_t term;
  sigemptyset(&term);
  sigaddset(&term, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &term, nullptr);
  std::signal(SIGPIPE, SIG_IGN);
  const auto status = run({{"/usr/bin/python3", "-c",
                            "import os,signal,sys\n"
                            "f=[d for d in range(3,64) if os.path.exists('/proc/self/fd/%d'%d)]\n"
                            "s=open('/proc/self/status').read()\n"
                            "m=[l for l in s.split('\\n') if l.startswith('SigBlk')][0]\n"
                            "open(sys.argv[1],'w').write('%s %s %d' % (f, m.split()[1], "
                            "os.getpgrp()==os.getpid()))\n",
                            path_},
                           milliseconds(20000)});
  std::signal(SIGPIPE, SIG_DFL);
  pthread_sigmask(SIG_UNBLOCK, &term, nullptr);
  close(leak);
  EXPECT_TRUE(status.ok()) << status.error_message();
  EXPECT_EQ(content(path_), "[] 0000000000000000 1");
}

TEST(CommitHook, StandardOutputGoesNowhere) {
  EXPECT_TRUE(run(shell("test \"$(readlink /proc/self/fd/1)\" = /dev/null || "
                        "readlink /proc/$$/fd/1 | grep -qx /dev/null"))
                  .ok());
}

}  // namespace
