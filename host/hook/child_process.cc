// posix_spawn(3), not fork(2): a server with gRPC's threads and a large heap must not be copied.
#include "hook/child_process.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <ctime>

extern char** environ;

namespace nexa::hook {
namespace {

struct Pipe {
  text::Descriptor read;
  text::Descriptor write;

  bool open() {
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) return false;
    read = text::Descriptor(ends[0]);
    write = text::Descriptor(ends[1]);
    return true;
  }
};

bool set_nonblocking(int fd) {
  const int flags = fcntl(fd, F_GETFL);
  return flags >= 0 && fcntl(fd, F_SETFL, flags | O_NONBLOCK) == 0;
}

class SpawnActions {
 public:
  SpawnActions() { posix_spawn_file_actions_init(&actions_); }
  ~SpawnActions() { posix_spawn_file_actions_destroy(&actions_); }
  SpawnActions(const SpawnActions&) = delete;
  SpawnActions& operator=(const SpawnActions&) = delete;

  // `output`: a descriptor for it, negative where it goes nowhere.
  int prepare(int input, int errors, int output) {
    int error = posix_spawn_file_actions_adddup2(&actions_, input, STDIN_FILENO);
    if (error == 0) error = posix_spawn_file_actions_adddup2(&actions_, errors, STDERR_FILENO);
    if (error == 0 && output >= 0) {
      error = posix_spawn_file_actions_adddup2(&actions_, output, STDOUT_FILENO);
    } else if (error == 0) {
      error = posix_spawn_file_actions_addopen(&actions_, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    }
    if (error == 0) error = posix_spawn_file_actions_addclosefrom_np(&actions_, 3);
    return error;
  }
  const posix_spawn_file_actions_t* get() const { return &actions_; }

 private:
  posix_spawn_file_actions_t actions_{};
};

class SpawnAttributes {
 public:
  SpawnAttributes() { posix_spawnattr_init(&attributes_); }
  ~SpawnAttributes() { posix_spawnattr_destroy(&attributes_); }
  SpawnAttributes(const SpawnAttributes&) = delete;
  SpawnAttributes& operator=(const SpawnAttributes&) = delete;

  int prepare() {
    sigset_t none;
    sigset_t all;
    sigemptyset(&none);
    sigfillset(&all);
    int error = posix_spawnattr_setsigmask(&attributes_, &none);
    if (error == 0) error = posix_spawnattr_setsigdefault(&attributes_, &all);
    if (error == 0) error = posix_spawnattr_setpgroup(&attributes_, 0);
    if (error != 0) return error;
    return posix_spawnattr_setflags(
        &attributes_, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETPGROUP);
  }
  const posix_spawnattr_t* get() const { return &attributes_; }

 private:
  posix_spawnattr_t attributes_{};
};

}  // namespace

ChildProcess::ChildProcess(ChildProcess&& other) noexcept
    : pid_(std::exchange(other.pid_, -1)),
      process_(std::move(other.process_)),
      input_(std::move(other.input_)),
      errors_(std::move(other.errors_)),
      output_(std::move(other.output_)) {}

ChildProcess::~ChildProcess() {
  if (pid_ < 0) return;
  kill_group();
  reap();
}

int ChildProcess::start(const std::vector<std::string>& command, Output output) {
  Pipe input;
  Pipe errors;
  Pipe printed;
  if (!input.open() || !errors.open()) return errno;
  if (output == Output::kPiped && (!printed.open() || !set_nonblocking(printed.read.get()))) {
    return errno;
  }
  const int out = output == Output::kWithErrors ? errors.write.get() : printed.write.get();
  if (!set_nonblocking(input.write.get()) || !set_nonblocking(errors.read.get())) return errno;
  SpawnActions actions;
  SpawnAttributes attributes;
  int error = actions.prepare(input.read.get(), errors.write.get(), out);
  if (error == 0) error = attributes.prepare();
  if (error != 0) return error;
  std::vector<char*> arguments;
  arguments.reserve(command.size() + 1);
  for (const std::string& argument : command) {
    arguments.push_back(const_cast<char*>(argument.c_str()));
  }
  arguments.push_back(nullptr);
  pid_t pid = -1;
  error = posix_spawnp(&pid, arguments.front(), actions.get(), attributes.get(), arguments.data(),
                       environ);
  if (error != 0) return error;
  pid_ = pid;
  process_ = text::Descriptor(static_cast<int>(syscall(SYS_pidfd_open, pid, 0)));
  if (process_.get() < 0) return errno;
  input_ = std::move(input.write);
  errors_ = std::move(errors.read);
  output_ = std::move(printed.read);
  return 0;
}

void ChildProcess::ask_group_to_end() {
  if (pid_ > 0) kill(-pid_, SIGTERM);
}

void ChildProcess::kill_group() {
  if (pid_ > 0) kill(-pid_, SIGKILL);
}

int ChildProcess::reap() {
  int status = 0;
  while (pid_ > 0 && waitpid(pid_, &status, 0) < 0 && errno == EINTR) {
  }
  pid_ = -1;
  return status;
}

ssize_t write_without_signal(int fd, std::string_view data) {
  sigset_t broken_pipe;
  sigset_t before;
  sigset_t pending;
  sigemptyset(&broken_pipe);
  sigaddset(&broken_pipe, SIGPIPE);
  sigpending(&pending);
  pthread_sigmask(SIG_BLOCK, &broken_pipe, &before);
  const ssize_t count = write(fd, data.data(), data.size());
  const int error = errno;
  // A signal that this write raised is taken away again; one that was pending before stays.
  if (count < 0 && error == EPIPE && sigismember(&pending, SIGPIPE) == 0) {
    const timespec at_once{};
    while (sigtimedwait(&broken_pipe, nullptr, &at_once) < 0 && errno == EINTR) {
    }
  }
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
  errno = error;
  return count;
}

}  // namespace nexa::hook
