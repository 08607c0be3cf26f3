// A thread that looks for a new commit now and then: commits know nothing of it. The program is
// killed by the kernel when this thread ends, however the server ends.
#include "verifier.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <exception>
#include <optional>
#include <string_view>

#include "feature_option.h"
#include "log.h"
#include "preflight.h"
#include "store/verification_report.h"

namespace nexad {
namespace {

using Clock = std::chrono::steady_clock;
using nexa::hook::ChildProcess;
using nexa::store::VerificationReport;

constexpr int kLookPauseMs = 250;
constexpr std::size_t kMostText = 64U << 10U;
constexpr std::size_t kMostShown = 400;

// Reasons of failures, as the metric has them.
constexpr char kNotStarted[] = "not_started";
constexpr char kDied[] = "died";
constexpr char kTooLong[] = "too_long";
constexpr char kNoVerdict[] = "no_verdict";
constexpr char kUnjudged[] = "unjudged";
constexpr char kUnreadable[] = "unreadable";

std::string subject(std::uint64_t number) {
  return "verification of commit " + std::to_string(number);
}

// The last line that is a report.
std::optional<VerificationReport> report_in(std::string_view text) {
  std::optional<VerificationReport> found;
  while (!text.empty()) {
    const std::size_t end = text.find('\n');
    if (auto report = VerificationReport::of_line(text.substr(0, end))) found = std::move(report);
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
  }
  return found;
}

std::string shown(std::string text) {
  text.erase(text.find_last_not_of(" \n") + 1);
  if (text.size() > kMostShown) text.resize(kMostShown);
  return text.empty() ? "without a word" : one_line(text);
}

}  // namespace

// One start of the program, until it ends, is killed, or this server ends.
struct Verifier::Run {
  enum class End : std::uint8_t { kProgram, kTime, kServer };

  ChildProcess child;
  std::string text;
  int wait_status = 0;

  End finish(Clock::time_point deadline, int stop) {
    End end = End::kProgram;
    for (bool ended = false; !ended;) {
      std::array<pollfd, 3> watched{
          {{child.process(), POLLIN, 0}, {child.errors(), POLLIN, 0}, {stop, POLLIN, 0}}};
      const auto left =
          std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
      if (left <= 0) end = End::kTime;
      const int wait_ms = static_cast<int>(std::clamp<std::int64_t>(left, 0, 60'000));
      if (poll(watched.data(), watched.size(), wait_ms) > 0) {
        if (watched[1].revents != 0) read_text();
        if (watched[2].revents != 0) end = End::kServer;
        ended = watched[0].revents != 0;
      }
      if (end == End::kProgram || ended) continue;
      child.kill_group();
      break;
    }
    read_text();
    wait_status = child.reap();
    return end;
  }

 private:
  void read_text() {
    std::array<char, 4096> buffer{};
    while (child.errors() >= 0) {
      const ssize_t count = read(child.errors(), buffer.data(), buffer.size());
      if (count < 0 && errno == EINTR) continue;
      if (count < 0 && errno == EAGAIN) return;
      if (count <= 0) return child.close_errors();
      text.append(buffer.data(),
                  std::min(kMostText - text.size(), static_cast<std::size_t>(count)));
    }
  }
};

Verifier::Verifier(nexa::store::ConfigStore& store, VerifierOptions options)
    : store_(store), options_(std::move(options)), stop_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
  for (const char* reason : {kNotStarted, kDied, kTooLong, kNoVerdict, kUnjudged, kUnreadable}) {
    counts_.failures[reason] = 0;
  }
  thread_ = std::thread([this] { work(); });
}

Verifier::~Verifier() {
  eventfd_write(stop_.get(), 1);
  thread_.join();
}

VerifierCounts Verifier::counts() const {
  const std::lock_guard lock(mutex_);
  return counts_;
}

bool Verifier::wait(int milliseconds) const {
  pollfd watched{stop_.get(), POLLIN, 0};
  return poll(&watched, 1, milliseconds) > 0;
}

void Verifier::work() {
  looked_at_ = store_.snapshot()->number();
  bool is_first = true;
  bool is_owed = false;  // a verification for which there was no memory
  do {
    try {
      const std::uint64_t number = store_.snapshot()->number();
      const bool is_new = is_first && store_.health().verified != number;
      is_first = false;
      if (is_new || is_owed || is_due(number)) verify(number);
      is_owed = false;
    } catch (const std::exception&) {
      is_owed = true;
    }
  } while (!wait(kLookPauseMs));
}

bool Verifier::is_due(std::uint64_t number) const {
  if (number == looked_at_) return false;
  return !has_begun_ || Clock::now() - began_ >= options_.interval;
}

void Verifier::verify(std::uint64_t number) {
  looked_at_ = number;
  began_ = Clock::now();
  has_begun_ = true;
  {
    const std::lock_guard lock(mutex_);
    ++counts_.runs;
    counts_.is_damaged = false;
  }
  Run run;
  if (const int error = run.child.start(options_.command, ChildProcess::Output::kWithErrors)) {
    return fail(kNotStarted, subject(number) + ": cannot start " + options_.command.front() + ": " +
                                 strerror(error));
  }
  run.child.close_input();
  switch (run.finish(began_ + options_.limit, stop_.get())) {
    case Run::End::kServer:
      return;
    case Run::End::kTime:
      return fail(kTooLong, subject(number) + ": ended after " +
                                std::to_string(options_.limit.count() / 1000) + " seconds");
    case Run::End::kProgram:
      break;
  }
  if (WIFSIGNALED(run.wait_status)) {
    const int signal = WTERMSIG(run.wait_status);
    return fail(kDied, subject(number) + ": the process died of signal " + std::to_string(signal) +
                           " (" + strsignal(signal) + ")");
  }
  take_verdict(number, run);
}

void Verifier::take_verdict(std::uint64_t number, const Run& run) {
  const auto report = report_in(run.text);
  if (!report) {
    return fail(kNoVerdict, subject(number) + ": exit status " +
                                std::to_string(WEXITSTATUS(run.wait_status)) + ", " +
                                shown(run.text));
  }
  switch (report->kind) {
    case VerificationReport::Kind::kValid:
      log_debug(report->line());
      return store_.verified(report->number, std::string());
    case VerificationReport::Kind::kViolation: {
      log_error("the configuration is not valid: " + report->line());
      {
        const std::lock_guard lock(mutex_);
        ++counts_.violations;
      }
      return store_.verified(report->number, report->text);
    }
    case VerificationReport::Kind::kUnjudged:
      return fail(kUnjudged, subject(number) + ": it " + report->line());
    case VerificationReport::Kind::kUnreadable:
      log_error(subject(number) + ": what is stored " + report->line());
      const std::lock_guard lock(mutex_);
      counts_.failures[kUnreadable] += 1;
      counts_.is_damaged = true;
      return;
  }
}

void Verifier::fail(const char* reason, const std::string& text) {
  log_warning(text + "; the server goes on");
  const std::lock_guard lock(mutex_);
  counts_.failures[reason] += 1;
}

std::vector<std::string> verify_command(const ServerConfig& config) {
  const std::string program = find_nexa();
  if (program.empty()) return {};
  std::vector<std::string> command{program,     "verify",   "--data",
                                   config.data, "--parent", std::to_string(getpid())};
  for (const std::string& folder : config.yang_dirs) {
    command.insert(command.end(), {"--yang-dir", folder});
  }
  for (const std::string& module : config.modules) {
    command.insert(command.end(), {"--module", module});
  }
  for (std::string& feature : feature_option::texts_of(config.features)) {
    command.insert(command.end(), {"--feature", std::move(feature)});
  }
  return command;
}

}  // namespace nexad
