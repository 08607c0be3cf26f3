// One run of the hook program: started, fed, listened to and waited for by one poll loop, so that
// neither a change larger than a pipe nor a program that does not read can hold the commit longer
// than the time limit.
#include "hook/commit_hook.h"

#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>

#include "hook/change_document.h"
#include "hook/child_process.h"
#include "text/display.h"

namespace nexa::hook {
namespace {

constexpr std::size_t kMostErrorText = 4096;
constexpr char kNoCommand[] = "The commit hook has no command";
constexpr char kCannotStart[] = "The commit hook cannot be started: ";
constexpr char kVetoed[] = "The commit hook refused the change";
constexpr char kTimedOut[] = "The commit hook did not answer within its time limit of ";

using Clock = std::chrono::steady_clock;

// Feeds one program run and reads its complaints.
class Run {
 public:
  Run(ChildProcess child, const std::vector<std::string_view>& pieces)
      : child_(std::move(child)), pieces_(pieces) {}

  // False when the time ran out first. The child is reaped in both cases.
  bool finish(Clock::time_point deadline, int& wait_status) {
    bool ended = false;
    while (!ended && Clock::now() < deadline) ended = wait_once(deadline);
    if (!ended) child_.kill_group();
    read_errors();
    wait_status = child_.reap();
    return ended;
  }

  const std::string& errors() const { return errors_; }

 private:
  // Waits for one event; true once the program ended.
  bool wait_once(Clock::time_point deadline) {
    const auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
    std::array<pollfd, 3> watched{{{child_.process(), POLLIN, 0},
                                   {child_.input(), POLLOUT, 0},
                                   {child_.errors(), POLLIN, 0}}};
    const int limit = static_cast<int>(std::min<std::int64_t>(left.count() + 1, 60000));
    if (poll(watched.data(), watched.size(), limit) <= 0) return false;
    if (watched[1].revents != 0) write_input();
    if (watched[2].revents != 0) read_errors();
    return watched[0].revents != 0;
  }

  // A program may end without having read everything: that is its own affair.
  void write_input() {
    while (piece_ < pieces_.size()) {
      const std::string_view rest = pieces_[piece_].substr(offset_);
      if (rest.empty()) {
        ++piece_;
        offset_ = 0;
        continue;
      }
      const ssize_t count = write_without_signal(child_.input(), rest);
      if (count < 0 && (errno == EAGAIN || errno == EINTR)) return;
      if (count < 0) break;
      offset_ += static_cast<std::size_t>(count);
    }
    child_.close_input();
  }

  // Everything is read, that the program does not hang on a full pipe; only the first part is kept.
  void read_errors() {
    std::array<char, 4096> buffer{};
    while (child_.errors() >= 0) {
      const ssize_t count = read(child_.errors(), buffer.data(), buffer.size());
      if (count < 0 && errno == EINTR) continue;
      if (count < 0 && errno == EAGAIN) return;
      if (count <= 0) return child_.close_errors();
      const auto room = kMostErrorText - errors_.size();
      errors_.append(buffer.data(), std::min(room, static_cast<std::size_t>(count)));
    }
  }

  ChildProcess child_;
  const std::vector<std::string_view>& pieces_;
  std::size_t piece_ = 0;
  std::size_t offset_ = 0;
  std::string errors_;
};

// A cut text may end inside a character, and a status must be UTF-8.
std::string as_line(std::string_view text) {
  while (!text.empty() && static_cast<unsigned char>(text.back()) <= 0x20) text.remove_suffix(1);
  return text::printable(text);
}

std::string verdict_text(int wait_status, const std::string& errors) {
  std::string text = kVetoed;
  if (WIFSIGNALED(wait_status)) {
    text += " (signal " + std::to_string(WTERMSIG(wait_status)) + ")";
  } else {
    text += " (exit status " + std::to_string(WEXITSTATUS(wait_status)) + ")";
  }
  const std::string line = as_line(errors);
  if (!line.empty()) text += ": " + line;
  return text;
}

}  // namespace

grpc::Status run_commit_hook(const CommitHookOptions& options, const store::Change& change,
                             const char* reason) {
  if (options.command.empty()) return {grpc::StatusCode::INTERNAL, kNoCommand};
  const auto deadline = Clock::now() + options.timeout;
  ChildProcess child;
  if (const int error = child.start(options.command); error != 0) {
    return {grpc::StatusCode::INTERNAL,
            kCannotStart + options.command.front() + ": " + std::string(strerror(error))};
  }
  const ChangeDocument document(change, reason);
  Run run(std::move(child), document.pieces());
  int wait_status = 0;
  if (!run.finish(deadline, wait_status)) {
    return {grpc::StatusCode::ABORTED, kTimedOut + std::to_string(options.timeout.count()) + " ms"};
  }
  if (WIFEXITED(wait_status) && WEXITSTATUS(wait_status) == 0) return grpc::Status::OK;
  return {grpc::StatusCode::FAILED_PRECONDITION, verdict_text(wait_status, run.errors())};
}

}  // namespace nexa::hook
