// The child is a fork of this process and not a warm helper. Measured on one core: fork, result and
// exit take 1.2 ms at 50 MB resident and 14 ms at 1 GB; each page that the child writes to is
// copied (a tenth of all entries written: 7 ms and 250 ms). Starting a helper takes as long, and it
// would have to be sent the whole tree and parse it, which takes seconds at 50 MB.
#include "store/validation/child_judgement.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <exception>
#include <string_view>

#include "store/tree.h"
#include "text/descriptor.h"

namespace nexa::store {
namespace {

using Clock = std::chrono::steady_clock;

constexpr int kLostResult = 125;  // exit status of a child that could not hand its result over
constexpr std::size_t kChunk = 65'536;
constexpr char kEnd = '\n';   // closes a result: one without it was cut off
constexpr char kReady = 'R';  // comes before the result
// What a child may use of the processor to get ready: not time on a clock, of which a busy machine
// gives it little. Only a sanitizer's locks are waited for with the processor.
constexpr std::chrono::milliseconds kMostWorkToGetReady{500};
constexpr std::chrono::milliseconds kBetweenEarlyLooks{50};
constexpr std::chrono::milliseconds kBetweenLooks{1'000};

// Only what is safe between fork and _exit: no lock of another thread may be needed.
void close_all_but(int kept) {  // unreached: in the child, which ends without counting
  const auto close_range = [](unsigned first, unsigned last) {
    return first > last || ::syscall(SYS_close_range, first, last, 0U) == 0;
  };
  const auto number = static_cast<unsigned>(kept);
  constexpr unsigned kFirst = STDERR_FILENO + 1;
  ::close(STDIN_FILENO);
  ::close(STDOUT_FILENO);
  if (close_range(kFirst, number - 1) && close_range(number + 1, ~0U)) return;
  const long most = ::sysconf(_SC_OPEN_MAX);
  for (int each = static_cast<int>(kFirst); each < most; ++each) {
    if (each != kept) ::close(each);
  }
}

void reset_signals() {  // unreached: in the child, which ends without counting
  struct sigaction usual = {};
  usual.sa_handler = SIG_DFL;
  for (int number = 1; number < NSIG; ++number) ::sigaction(number, &usual, nullptr);
  // A write after the parent has gone is an error, not a death that would be misread.
  usual.sa_handler = SIG_IGN;
  ::sigaction(SIGPIPE, &usual, nullptr);
  sigset_t none;
  ::sigemptyset(&none);
  ::sigprocmask(SIG_SETMASK, &none, nullptr);
}

// unreached: in the child, which ends without counting
bool write_all(int to, const char* data, std::size_t size) {
  while (size > 0) {
    const ssize_t written = ::write(to, data, size);
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return false;
    data += written;
    size -= static_cast<std::size_t>(written);
  }
  return true;
}

#ifdef __SANITIZE_ADDRESS__
// The sanitizer's allocator keeps free blocks of each size for each thread, up to 512 of them and
// 128 KiB: the lock of a size is needed when they are used up. Above 256 bytes there are four sizes
// from one power of two to the next; steps half as wide meet each.
// unreached: in the child, which ends without counting
void try_lock_of_each_size() {
  constexpr std::size_t kSmall = 256;
  constexpr std::size_t kLargest = 65'536;
  constexpr std::size_t kMostBytes = 131'072;
  static std::array<void*, 513> blocks;
  std::size_t step = 16;
  for (std::size_t size = step; size <= kLargest; size += step) {
    const std::size_t most = std::min(blocks.size(), kMostBytes / size + 1);
    for (std::size_t i = 0; i < most; ++i) blocks[i] = std::malloc(size - step + 1);
    for (std::size_t i = 0; i < most; ++i) std::free(blocks[i]);
    if (size >= kSmall && (size & (size - 1)) == 0) step = size / 8;
  }
}
#else
void try_lock_of_each_size() {}  // unreached: in the child, which ends without counting
#endif

// Takes and gives back what another thread may have held when the process was forked: libyang's
// lock of its strings, and those of an allocator that does not look after forks itself.
void try_locks() {  // unreached: in the child, which ends without counting
  for (std::size_t size = 16; size <= 65'536; size *= 2) {
    void* volatile memory = std::malloc(size);
    std::free(memory);
  }
  try_lock_of_each_size();
  if (kestrel::context() == nullptr) return;
  const char* text = nullptr;
  if (lydict_insert(kestrel::context(), "try_locks", 0, &text) == LY_SUCCESS) {
    lydict_remove(kestrel::context(), text);
  }
}

// unreached: in the child, which ends without counting
[[noreturn]] void be_child(const std::function<std::string()>& work, int to, pid_t parent) {
  ::prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (::getppid() != parent) ::_exit(kLostResult);
  reset_signals();
  close_all_but(to);
  try {
    try_locks();
    if (!write_all(to, &kReady, 1)) ::_exit(kLostResult);
    const std::string result = work();
    const bool is_written = write_all(to, result.data(), result.size()) && write_all(to, &kEnd, 1);
    ::_exit(is_written ? 0 : kLostResult);
  } catch (const std::exception&) {
    ::_exit(kLostResult);
  }
}

// Sees that a child neither works nor waits for the processor or the disk. One that sleeps so waits
// for a lock whose holder it has no copy of, inside a library that this file knows nothing of.
class StandstillWatch {
 public:
  explicit StandstillWatch(pid_t child) : child_(child) {}

  // Called once in a while; true when the child has slept through the whole time since the last
  // call.
  bool stands_still() {
    const bool slept = is_asleep_;
    const std::chrono::nanoseconds before = used_;
    used_ = processor_time();
    is_asleep_ = is_asleep();
    return slept && is_asleep_ && used_ == before;
  }

  std::chrono::nanoseconds processor_time() const {
    clockid_t clock = 0;
    timespec used = {};
    if (::clock_getcpuclockid(child_, &clock) != 0 || ::clock_gettime(clock, &used) != 0) return {};
    return std::chrono::seconds(used.tv_sec) + std::chrono::nanoseconds(used.tv_nsec);
  }

 private:
  // Whether the third word of its line in /proc is S; the second may have anything in it.
  bool is_asleep() const {
    const text::Descriptor file(
        ::open(("/proc/" + std::to_string(child_) + "/stat").c_str(), O_RDONLY | O_CLOEXEC));
    std::array<char, 256> line;
    const ssize_t size = file.get() < 0 ? -1 : ::read(file.get(), line.data(), line.size());
    if (size <= 0) return false;
    const std::string_view words(line.data(), static_cast<std::size_t>(size));
    const std::size_t name_end = words.rfind(')');
    return name_end != std::string_view::npos && words.substr(name_end, 3) == ") S";
  }

  pid_t child_;
  std::chrono::nanoseconds used_{0};
  bool is_asleep_ = false;
};

// Whether the child tells that it is ready, or ends; false when it waits for what never comes, or
// when `end` has come.
bool is_ready(int from, pid_t child, Clock::time_point end) {
  StandstillWatch watch(child);
  while (true) {
    pollfd wanted = {from, POLLIN, 0};
    const int ready = ::poll(&wanted, 1, static_cast<int>(kBetweenEarlyLooks.count()));
    if (ready > 0) return true;
    if (watch.stands_still() || watch.processor_time() > kMostWorkToGetReady) return false;
    if (Clock::now() >= end) return false;
  }
}

enum class Reading : std::uint8_t { kWhole, kTooLong, kStandstill };

// All that the child writes, until its end of the pipe is closed.
Reading read_all(int from, pid_t child, Clock::time_point end, std::string& result) {
  std::array<char, kChunk> chunk;
  StandstillWatch watch(child);
  while (true) {
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(end - Clock::now());
    if (left.count() <= 0) return Reading::kTooLong;
    pollfd wanted = {from, POLLIN, 0};
    const int ready = ::poll(&wanted, 1, static_cast<int>(std::min(left, kBetweenLooks).count()));
    if (ready == 0 && watch.stands_still()) return Reading::kStandstill;
    if (ready <= 0) continue;
    const ssize_t got = ::read(from, chunk.data(), chunk.size());
    if (got < 0 && (errno == EINTR || errno == EAGAIN)) continue;
    if (got <= 0) return Reading::kWhole;
    result.append(chunk.data(), static_cast<std::size_t>(got));
  }
}

// A child that is not left behind, whichever way its parent goes on.
class Child {
 public:
  explicit Child(pid_t child) : child_(child) {}
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;
  ~Child() { end(); }

  void end() {
    if (child_ < 0) return;
    ::kill(child_, SIGKILL);
    wait();
  }

  int wait() {
    int status = 0;
    while (::waitpid(child_, &status, 0) < 0 && errno == EINTR) {
    }
    child_ = -1;
    return status;
  }

 private:
  pid_t child_;
};

ChildOutcome outcome_of(int status, std::string result) {
  ChildOutcome outcome;
  if (WIFSIGNALED(status)) {
    outcome.kind = ChildOutcome::Kind::kSignal;
    outcome.number = WTERMSIG(status);
    return outcome;
  }
  const bool is_whole = !result.empty() && result.back() == kEnd;
  outcome.number = WEXITSTATUS(status);
  if (outcome.number != 0 || !is_whole) {
    outcome.kind = ChildOutcome::Kind::kExit;
    return outcome;
  }
  result.pop_back();
  outcome.kind = ChildOutcome::Kind::kDone;
  outcome.result = std::move(result);
  return outcome;
}

}  // namespace

std::string ChildOutcome::in_words() const {
  switch (kind) {
    case Kind::kDone:
      return "done";
    case Kind::kSignal:
      return "died of signal " + std::to_string(number) + " (" + ::sigdescr_np(number) + ")";
    case Kind::kExit:
      return "ended with status " + std::to_string(number) + " and without a result";
    case Kind::kTooLong:
      return "took too long and was ended";
    case Kind::kNoChild:
      break;
  }
  return std::string("could not be started: ") + std::strerror(number);
}

ChildOutcome run_in_child(const std::function<std::string()>& work,
                          std::chrono::milliseconds limit) {
  const Clock::time_point end = Clock::now() + limit;
  while (true) {
    ChildOutcome none;
    int ends[2] = {-1, -1};
    if (::pipe2(ends, O_CLOEXEC) != 0) {
      none.number = errno;
      return none;
    }
    const text::Descriptor from(ends[0]);
    text::Descriptor to(ends[1]);
    const pid_t parent = ::getpid();
    const pid_t forked = ::fork();
    if (forked < 0) {
      none.number = errno;
      return none;
    }
    if (forked == 0) be_child(work, to.get(), parent);
    Child child(forked);
    to.close();
    // One that waits for a lock whose holder it has no copy of waits for ever; the next fork comes
    // at another moment.
    if (!is_ready(from.get(), forked, end) && Clock::now() < end) continue;
    std::string result;
    const Reading reading = read_all(from.get(), forked, end, result);
    if (reading == Reading::kStandstill) continue;
    if (reading == Reading::kTooLong) {
      ChildOutcome late;
      late.kind = ChildOutcome::Kind::kTooLong;
      return late;
    }
    if (!result.empty() && result.front() == kReady) result.erase(0, 1);
    return outcome_of(child.wait(), std::move(result));
  }
}

}  // namespace nexa::store
