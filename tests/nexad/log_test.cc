// What the log makes of lines, ours and the libraries'.
#include "log.h"

#include <fcntl.h>
#include <google/protobuf/stubs/logging.h>
#include <grpc/support/log.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>

#include "support/emulated.h"

namespace {

using namespace nexad;

constexpr char kMapper[] = "src/nexa_srv_kestrel_namespace_mapper_impl.cc";

// Standard error goes into a file; what came is read back at the end.
class CapturedError {
 public:
  explicit CapturedError(bool journal)
      : path_(testing::TempDir() + "nexad_log_" + std::to_string(getpid())) {
    const int file = open(path_.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    before_ = dup(STDERR_FILENO);
    dup2(file, STDERR_FILENO);
    if (!journal) return;
    struct stat status {};
    fstat(file, &status);
    setenv("JOURNAL_STREAM",
           (std::to_string(status.st_dev) + ":" + std::to_string(status.st_ino)).c_str(), 1);
  }
  std::string take() {
    dup2(before_, STDERR_FILENO);
    std::ifstream in(path_);
    unlink(path_.c_str());
    return {std::istreambuf_iterator<char>(in), {}};
  }

 private:
  std::string path_;
  int before_ = -1;
};

void write_as_protobuf(google::protobuf::LogLevel level, int line, const char* text) {
  google::protobuf::internal::LogFinisher() =
      google::protobuf::internal::LogMessage(level, "google/wire.cc", line) << text;
}

// What the log writes, of a process that ends with the test: the log is opened once for each.
std::string log_of(const char* level, bool journal) {
  CapturedError captured(journal);
  start_log(level);
  log_debug("detail");
  log_info("told\nforged: line\x1b[0m");
  log_error("wrong");
  log_audit("alice set");
  log_failed_login("mallory\nlogin");
  log_failed_handshake("TLS handshake with mallory");
  gpr_log("rooms/of/the/library.cc", 7, GPR_LOG_SEVERITY_ERROR, "%s", "refused");
  gpr_log("rooms/of/the/library.cc", 8, GPR_LOG_SEVERITY_DEBUG, "%s", "walked");
  gpr_log(kMapper, 9, GPR_LOG_SEVERITY_ERROR, "%s", "toBeWalked: empty vector");
  gpr_log(kMapper, 10, GPR_LOG_SEVERITY_ERROR, "%s",
          "ServiceKestrelNamespaceMapperImpl::populate moduleName [ m ]");
  gpr_log(kMapper, 11, GPR_LOG_SEVERITY_ERROR, "%s", "root node registration failed");
  gpr_log("rooms/of/another.cc", 12, GPR_LOG_SEVERITY_ERROR, "%s", "toBeWalked: empty vector");
  gpr_log("core/ssl_transport_security.cc", 13, GPR_LOG_SEVERITY_ERROR, "%s",
          "Handshake failed with fatal error SSL_ERROR_SSL: why.");
  write_as_protobuf(google::protobuf::LOGLEVEL_ERROR, 14, "no UTF-8");
  write_as_protobuf(google::protobuf::LOGLEVEL_INFO, 15, "loaded");
  return captured.take();
}

void expect_log(const char* level, bool journal, const std::string& expected) {
  std::string text = log_of(level, journal);
  std::string without_times;
  while (!text.empty()) {
    std::string line = text.substr(0, text.find('\n') + 1);
    text.erase(0, line.size());
    if (!journal) line.erase(0, std::string("2026-01-01T00:00:00.000Z ").size());
    without_times += line;
  }
  if (without_times != expected) {
    std::fprintf(stderr, "the log was:\n%s", without_times.c_str());
    _exit(1);
  }
  _exit(0);
}

TEST(Log, WritesOneLineForEachEvent) {
  NEXA_SKIP_IF_EMULATED(nexa_test::kNoSecondStart);
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(expect_log("info", false,
                         "info nexad: told\\nforged: line\\x1B[0m\n"
                         "error nexad: wrong\n"
                         "info audit: alice set\n"
                         "info audit: mallory\\nlogin\n"
                         "warning nexad: TLS handshake with mallory\n"
                         "error library: rooms/of/the/library.cc:7] refused\n"
                         "error library: src/nexa_srv_kestrel_namespace_mapper_impl.cc:11] root "
                         "node registration failed\n"
                         "error library: rooms/of/another.cc:12] toBeWalked: empty vector\n"
                         "error library: google/wire.cc:14] no UTF-8\n"),
              testing::ExitedWithCode(0), "");
}

TEST(Log, ShowsEverythingAtDebug) {
  NEXA_SKIP_IF_EMULATED(nexa_test::kNoSecondStart);
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(expect_log("debug", false,
                         "debug nexad: detail\n"
                         "info nexad: told\\nforged: line\\x1B[0m\n"
                         "error nexad: wrong\n"
                         "info audit: alice set\n"
                         "info audit: mallory\\nlogin\n"
                         "warning nexad: TLS handshake with mallory\n"
                         "error library: rooms/of/the/library.cc:7] refused\n"
                         "debug library: rooms/of/the/library.cc:8] walked\n"
                         "debug library: src/nexa_srv_kestrel_namespace_mapper_impl.cc:9] "
                         "toBeWalked: empty vector\n"
                         "debug library: src/nexa_srv_kestrel_namespace_mapper_impl.cc:10] "
                         "ServiceKestrelNamespaceMapperImpl::populate moduleName [ m ]\n"
                         "error library: src/nexa_srv_kestrel_namespace_mapper_impl.cc:11] root "
                         "node registration failed\n"
                         "error library: rooms/of/another.cc:12] toBeWalked: empty vector\n"
                         "debug library: core/ssl_transport_security.cc:13] Handshake failed with "
                         "fatal error SSL_ERROR_SSL: why.\n"
                         "error library: google/wire.cc:14] no UTF-8\n"
                         "debug library: google/wire.cc:15] loaded\n"),
              testing::ExitedWithCode(0), "");
}

TEST(Log, KeepsTheAuditWhateverTheLevel) {
  NEXA_SKIP_IF_EMULATED(nexa_test::kNoSecondStart);
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(expect_log("error", false,
                         "error nexad: wrong\n"
                         "info audit: alice set\n"
                         "info audit: mallory\\nlogin\n"
                         "error library: rooms/of/the/library.cc:7] refused\n"
                         "error library: src/nexa_srv_kestrel_namespace_mapper_impl.cc:11] root "
                         "node registration failed\n"
                         "error library: rooms/of/another.cc:12] toBeWalked: empty vector\n"
                         "error library: google/wire.cc:14] no UTF-8\n"),
              testing::ExitedWithCode(0), "");
}

TEST(Log, GivesPrioritiesAndNoTimesToTheJournal) {
  NEXA_SKIP_IF_EMULATED(nexa_test::kNoSecondStart);
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(expect_log("info", true,
                         "<6>nexad: told\\nforged: line\\x1B[0m\n"
                         "<3>nexad: wrong\n"
                         "<6>audit: alice set\n"
                         "<6>audit: mallory\\nlogin\n"
                         "<4>nexad: TLS handshake with mallory\n"
                         "<3>library: rooms/of/the/library.cc:7] refused\n"
                         "<3>library: src/nexa_srv_kestrel_namespace_mapper_impl.cc:11] root "
                         "node registration failed\n"
                         "<3>library: rooms/of/another.cc:12] toBeWalked: empty vector\n"
                         "<3>library: google/wire.cc:14] no UTF-8\n"),
              testing::ExitedWithCode(0), "");
}

std::size_t lines_of_a_flood(const char* level, std::string& last) {
  CapturedError captured(false);
  start_log(level);
  for (int i = 0; i < 1000; ++i) {
    gpr_log("rooms/of/the/library.cc", 7, GPR_LOG_SEVERITY_ERROR, "%s", "refused");
  }
  std::this_thread::sleep_for(std::chrono::milliseconds(250));
  gpr_log("rooms/of/the/library.cc", 8, GPR_LOG_SEVERITY_ERROR, "%s", "again");
  const std::string text = captured.take();
  const std::size_t end = text.rfind('\n', text.rfind('\n') - 1);
  last = text.substr(text.rfind('\n', end - 1) + 1);
  return static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
}

void expect_limit() {
  std::string last;
  const std::size_t lines = lines_of_a_flood("info", last);
  const bool is_limited = lines >= 202 && lines <= 300;
  const bool is_told = last.find(" lines of the libraries were left out\n") != std::string::npos &&
                       last.find("library.cc:8] again\n") != std::string::npos;
  if (!is_limited || !is_told) {
    std::fprintf(stderr, "%zu lines, the last:\n%s", lines, last.c_str());
  }
  _exit(is_limited && is_told ? 0 : 1);
}

void expect_everything() {
  std::string last;
  _exit(lines_of_a_flood("debug", last) == 1001 ? 0 : 1);
}

TEST(Log, LimitsTheLinesThatTheLibrariesWriteForStrangers) {
  NEXA_SKIP_IF_EMULATED(nexa_test::kNoSecondStart);
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(expect_limit(), testing::ExitedWithCode(0), "");
  EXPECT_EXIT(expect_everything(), testing::ExitedWithCode(0), "");
}

// Lines of a flood of failed logins and handshakes, and whether the last two name what is missing.
void expect_limits_of_strangers() {
  CapturedError captured(false);
  start_log("info");
  for (int i = 0; i < 1000; ++i) {
    log_failed_login("login " + std::to_string(i));
    log_failed_handshake("handshake " + std::to_string(i));
  }
  log_audit("alice set");
  std::this_thread::sleep_for(std::chrono::milliseconds(250));
  log_failed_login("login again");
  log_failed_handshake("handshake again");
  const std::string text = captured.take();
  const auto has = [&text](const char* line) { return text.find(line) != std::string::npos; };
  const bool all = has("audit: login 199\n") && !has("login 999") && !has("handshake 999") &&
                   has("nexad: handshake 199\n") && has("audit: alice set\n") &&
                   has(" lines of failed logins were left out\n") && has("audit: login again\n") &&
                   has(" lines of failed TLS handshakes were left out\n") &&
                   has("nexad: handshake again\n");
  if (!all) std::fprintf(stderr, "%s", text.c_str());
  _exit(all ? 0 : 1);
}

TEST(Log, LimitsTheLinesOfFailedLoginsAndHandshakes) {
  NEXA_SKIP_IF_EMULATED(nexa_test::kNoSecondStart);
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(expect_limits_of_strangers(), testing::ExitedWithCode(0), "");
}

TEST(OneLine, ShowsControlsOfBothRanges) {
  EXPECT_EQ(one_line("a\tb\x7f"), "a\\tb\\x7F");
  EXPECT_EQ(one_line("\xc2\x85 \xc2\x9b \xc2\xa0 \xc3\x85"),
            "\\xC2\\x85 \\xC2\\x9B \xc2\xa0 \xc3\x85");
  EXPECT_EQ(one_line("\xc2"), "\\xC2");
}

TEST(OneLine, HasABound) {
  EXPECT_EQ(one_line(std::string(8192, 'n')), std::string(8192, 'n'));
  EXPECT_EQ(one_line(std::string(2000000, 'n')), std::string(8192, 'n') + "... and 1991808 bytes");
  EXPECT_EQ(one_line(std::string(8191, 'n') + "\xc3\xa4"),
            std::string(8191, 'n') + "... and 2 bytes");
}

TEST(IsLogLevel, KnowsFour) {
  EXPECT_TRUE(is_log_level("debug"));
  EXPECT_TRUE(is_log_level("warning"));
  EXPECT_FALSE(is_log_level("Info"));
  EXPECT_FALSE(is_log_level(""));
}

}  // namespace
