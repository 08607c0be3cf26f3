// A program in a process group of its own, with pipes on its standard input and standard error.
#ifndef HOST_HOOK_CHILD_PROCESS_H_
#define HOST_HOOK_CHILD_PROCESS_H_

#include <sys/types.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace nexa::host {

// A file descriptor that is closed with its owner.
class Descriptor {
 public:
  Descriptor() = default;
  explicit Descriptor(int fd) : fd_(fd) {}
  Descriptor(Descriptor&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept;
  ~Descriptor();
  int get() const { return fd_; }

 private:
  int fd_ = -1;
};

// Belongs to one thread. A child that is neither reaped nor gone when its owner ends is killed with
// its group.
class ChildProcess {
 public:
  ChildProcess() = default;
  ChildProcess(ChildProcess&& other) noexcept;
  ChildProcess& operator=(ChildProcess&&) = delete;
  ~ChildProcess();

  // What becomes of the program's standard output.
  enum class Output : std::uint8_t { kDiscarded, kWithErrors };

  // Starts the program, found in PATH when its name has no slash, with default signals, none
  // blocked, and no descriptor of ours but the two pipes. 0, or the errno value of the failure.
  int start(const std::vector<std::string>& command, Output output = Output::kDiscarded);

  pid_t pid() const { return pid_; }

  // Descriptors to poll; -1 when closed. The pipes do not block; the process is readable at its
  // end.
  int process() const { return process_.get(); }
  int input() const { return input_.get(); }
  int errors() const { return errors_.get(); }
  void close_input() { input_ = Descriptor(); }
  void close_errors() { errors_ = Descriptor(); }

  // SIGKILL for the whole group.
  void kill_group();

  // Waits for the end; the status as waitpid(2) gives it.
  int reap();

 private:
  pid_t pid_ = -1;
  Descriptor process_;
  Descriptor input_;
  Descriptor errors_;
};

// write(2), but a reader that went away is EPIPE and never a signal.
ssize_t write_without_signal(int fd, std::string_view data);

}  // namespace nexa::host

#endif  // HOST_HOOK_CHILD_PROCESS_H_
