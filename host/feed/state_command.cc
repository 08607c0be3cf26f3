// One thread starts the program, waits for it and reads it. What is told goes into the values of
// the present run; those of the runs before lie under them until their time is over.
#include "feed/state_command.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <exception>
#include <mutex>
#include <optional>
#include <set>
#include <thread>
#include <unordered_set>
#include <utility>

#include "feed/line_splitter.h"
#include "feed/state_line.h"
#include "hook/child_process.h"
#include "store/held_state.h"
#include "text/descriptor.h"
#include "text/display.h"

namespace nexa::feed {
namespace {

using Clock = std::chrono::steady_clock;
using hook::ChildProcess;

constexpr std::size_t kMostErrorLine = 4096;
constexpr std::size_t kShownLine = 200;
constexpr std::size_t kMostFaults = 10;
constexpr std::size_t kMostReadAtOnce = std::size_t{1} << 20U;  // until the values are shown
constexpr std::chrono::milliseconds kGrace{1000};
constexpr char kNoCounters[] = "the path of counters ends with the name of a node";
constexpr char kTooLong[] = "the line is too long";
constexpr char kTooMany[] = "there is no room for more values";

std::string end_text(int status) {
  if (WIFSIGNALED(status)) return "ended by signal " + std::to_string(WTERMSIG(status));
  return "ended with exit status " + std::to_string(WEXITSTATUS(status));
}

class StateCommand : public state::StateProvider {
 public:
  StateCommand(const model::Resolver& resolver, StateCommandOptions options)
      : resolver_(resolver),
        options_(std::move(options)),
        delay_(options_.first_delay),
        stop_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)),
        tree_(store::HeldState().tree()),
        thread_([this] { work(); }) {}
  ~StateCommand() override {
    eventfd_write(stop_.get(), 1);
    thread_.join();
  }
  StateCommand(const StateCommand&) = delete;
  StateCommand& operator=(const StateCommand&) = delete;

  std::string_view name() const override { return "state-command"; }
  std::string_view module() const override { return {}; }
  void append_xml(std::string&) override {}

  std::shared_ptr<const store::StateTree> tree() override {
    const std::lock_guard<std::mutex> lock(tree_mutex_);
    return tree_;
  }

  // Whatever the program does not call a counter changes when it says so.
  state::Pace pace(const kestrel_cs_node& leaf) const override {
    const std::lock_guard<std::mutex> lock(counters_mutex_);
    for (const kestrel_cs_node* node = &leaf; node != nullptr; node = node->parent) {
      if (counters_.count(node) != 0) return state::Pace::kGauge;
    }
    return state::Pace::kEvents;
  }

  std::uint64_t pace_version() const override {
    const std::lock_guard<std::mutex> lock(counters_mutex_);
    return counters_.size();
  }

  void watch(std::function<void()> changed) override {
    const std::lock_guard<std::mutex> lock(watch_mutex_);
    changed_ = std::move(changed);
  }

 private:
  // What is known of one run.
  struct Run {
    ChildProcess child;
    Clock::time_point begin = Clock::now();
    LineSplitter lines;
    LineSplitter errors{kMostErrorLine};
    std::set<std::string> faults;
    std::size_t unfit = 0;  // lines

    explicit Run(std::size_t max_line) : lines(max_line) {}
  };

  void work() {
    while (true) {
      Run run(options_.max_line);
      const bool goes_on = start(run) ? read(run) : true;
      if (!goes_on) return;
      if (Clock::now() - run.begin >= options_.keep) delay_ = options_.first_delay;
      if (!pause(delay_)) return;
      delay_ = std::min(delay_ * 2, options_.last_delay);
    }
  }

  bool start(Run& run) {
    const int error = run.child.start(options_.command, ChildProcess::Output::kPiped);
    if (error != 0) warn(options_.command.front() + " cannot be started: " + std::strerror(error));
    return error == 0;
  }

  // Waits for the program's end; false when the server ends first.
  bool read(Run& run) {
    bool has_ended = false;
    while (!has_ended) {
      std::array<pollfd, 4> watched{{{run.child.process(), POLLIN, 0},
                                     {run.child.output(), POLLIN, 0},
                                     {run.child.errors(), POLLIN, 0},
                                     {stop_.get(), POLLIN, 0}}};
      if (poll(watched.data(), watched.size(), wait_ms()) < 0 && errno != EINTR) return false;
      if (watched[3].revents != 0) {
        end(run);
        return false;
      }
      forget_in_time();
      if (watched[2].revents != 0) read_errors(run);
      if (watched[1].revents != 0) read_lines(run);
      has_ended = watched[0].revents != 0;
    }
    read_rest(run);
    return true;
  }

  // A program that was started by this one may hold the pipes open: nobody waits for it.
  void read_rest(Run& run) {
    read_errors(run);
    read_lines(run);
    run.lines.finish([&](std::string_view line, bool is_whole) { take(run, line, is_whole); });
    run.errors.finish([&](std::string_view line, bool) { tell(line); });
    run.child.kill_group();
    std::string text = options_.command.front() + " " + end_text(run.child.reap());
    if (run.unfit > 0) text += ", " + std::to_string(run.unfit) + " of its lines did not fit";
    warn(text);
    earlier_.lay_over(present_);
    present_.clear();
    nodes_ = 0;
    forget_at_ = Clock::now() + options_.keep;
  }

  static void end(Run& run) {
    run.child.close_input();
    run.child.ask_group_to_end();
    pollfd ended{run.child.process(), POLLIN, 0};
    poll(&ended, 1, static_cast<int>(kGrace.count()));
    run.child.kill_group();
    run.child.reap();
  }

  // Until the values of earlier runs are to go; -1: for ever.
  int wait_ms() const {
    if (!forget_at_) return -1;
    const auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(*forget_at_ - Clock::now());
    return static_cast<int>(std::max<std::int64_t>(left.count() + 1, 0));
  }

  void forget_in_time() {
    if (!forget_at_ || Clock::now() < *forget_at_) return;
    forget_at_.reset();
    earlier_.clear();
    publish();
  }

  // False when the server ends.
  bool pause(std::chrono::milliseconds time) {
    const Clock::time_point until = Clock::now() + time;
    while (true) {
      forget_in_time();
      const auto left =
          std::chrono::duration_cast<std::chrono::milliseconds>(until - Clock::now()).count();
      if (left <= 0) return true;
      int wait = static_cast<int>(std::min<std::int64_t>(left + 1, 60'000));
      if (forget_at_) wait = std::min(wait, wait_ms());
      pollfd stopped{stop_.get(), POLLIN, 0};
      if (poll(&stopped, 1, wait) > 0) return false;
    }
  }

  // Reads what is there, at most as much as is shown at once.
  template <typename Add>
  static void read_pipe(int fd, const Add& add) {
    std::array<char, 65536> buffer;
    for (std::size_t done = 0; fd >= 0 && done < kMostReadAtOnce;) {
      const ssize_t count = ::read(fd, buffer.data(), buffer.size());
      if (count < 0 && errno == EINTR) continue;
      if (count <= 0) return add(std::string_view(), count == 0);
      done += static_cast<std::size_t>(count);
      add(std::string_view(buffer.data(), static_cast<std::size_t>(count)), false);
    }
  }

  void read_errors(Run& run) {
    bool is_closed = false;
    read_pipe(run.child.errors(), [&](std::string_view piece, bool is_end) {
      is_closed = is_end;
      run.errors.add(piece, [&](std::string_view line, bool) { tell(line); });
    });
    if (is_closed) run.child.close_errors();
  }

  void read_lines(Run& run) {
    bool is_closed = false;
    has_changed_ = false;
    read_pipe(run.child.output(), [&](std::string_view piece, bool is_end) {
      is_closed = is_end;
      run.lines.add(piece,
                    [&](std::string_view line, bool is_whole) { take(run, line, is_whole); });
    });
    if (is_closed) run.child.close_output();
    if (has_changed_) publish();
  }

  void take(Run& run, std::string_view text, bool is_whole) {
    ++lines_since_count_;
    const text::Done done = is_whole ? apply_safely(text) : unfit_line(kTooLong);
    if (done.ok()) {
      has_changed_ = true;
      return;
    }
    ++run.unfit;
    const std::string error = done.failure().line();
    if (run.faults.size() >= kMostFaults || !run.faults.insert(error).second) return;
    warn("a line does not fit: " + text::printable(error) + ": " + text::quoted(text, kShownLine));
  }

  text::Done apply_safely(std::string_view text) {
    try {
      return apply(text);
    } catch (const std::exception& fault) {
      return unfit_line(fault.what());
    }
  }

  text::Done apply(std::string_view text) {
    text::Result<StateLine> read = read_state_line(text);
    if (!read.ok()) return std::move(read).failure();
    const StateLine& line = read.value();
    auto target = resolver_.resolve(gnmi::Path(), line.path, model::Purpose::kRead);
    // The rule names what of the path is at fault, and the line is shown beside it.
    if (!target.ok()) return unfit_line(target.failure().rule);
    if (line.kind == StateLine::Kind::kCounters) return add_counters(target.value());
    if (line.kind == StateLine::Kind::kDelete) {
      present_.remove(target.value());
      earlier_.remove(target.value());
      return {};
    }
    if (!present_.holds(target.value()) && !has_room(target.value(), line.value.size())) {
      return unfit_line(kTooMany);
    }
    return present_.update(target.value(), line.value);
  }

  // For the life of the server: a run that ends does not make a counter something else.
  text::Done add_counters(const model::Target& target) {
    if (target.steps.empty() || target.steps.back().nodes.empty()) return unfit_line(kNoCounters);
    const std::lock_guard<std::mutex> lock(counters_mutex_);
    for (const model::TargetNode& meant : target.steps.back().nodes) counters_.insert(meant.node);
    return {};
  }

  // Counts what a line brings at most: the nodes on its way, and those that its value can have. As
  // this only grows, the nodes are counted themselves now and then.
  bool has_room(const model::Target& target, std::size_t bytes) {
    constexpr std::size_t kShortestMember = 6;
    const std::size_t cost = target.steps.size() * 2 + bytes / kShortestMember + 1;
    if (nodes_ + cost > options_.max_nodes && lines_since_count_ >= options_.max_nodes / 16) {
      nodes_ = present_.count();
      lines_since_count_ = 0;
    }
    if (nodes_ + cost > options_.max_nodes) return false;
    nodes_ += cost;
    return true;
  }

  // Makes the values those that readers see.
  void publish() {
    store::HeldState shown = earlier_;
    shown.lay_over(present_);
    {
      const std::lock_guard<std::mutex> lock(tree_mutex_);
      tree_ = shown.tree();
    }
    const std::lock_guard<std::mutex> lock(watch_mutex_);
    if (changed_ != nullptr) changed_();
  }

  void warn(const std::string& line) const {
    if (options_.warn) options_.warn("state command: " + line);
  }
  void tell(std::string_view line) const {
    if (options_.tell) options_.tell("state command: " + text::printable(line));
  }

  const model::Resolver& resolver_;
  const StateCommandOptions options_;
  std::chrono::milliseconds delay_;
  const text::Descriptor stop_;

  // Of the thread.
  store::HeldState present_;
  store::HeldState earlier_;
  std::optional<Clock::time_point> forget_at_;
  std::size_t nodes_ = 0;  // of present_, at most
  std::size_t lines_since_count_ = 0;
  bool has_changed_ = false;

  std::mutex tree_mutex_;
  std::shared_ptr<const store::StateTree> tree_;
  mutable std::mutex counters_mutex_;
  std::unordered_set<const kestrel_cs_node*> counters_;
  std::mutex watch_mutex_;
  std::function<void()> changed_;
  std::thread thread_;  // the last one: it begins when all others are there
};

}  // namespace

std::unique_ptr<state::StateProvider> make_state_command(const model::Resolver& resolver,
                                                         StateCommandOptions options) {
  return std::make_unique<StateCommand>(resolver, std::move(options));
}

}  // namespace nexa::feed
