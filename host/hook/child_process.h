// A program in a process group of its own, with pipes on its standard input and standard error, and
// on its standard output where it is asked for.
#ifndef HOST_HOOK_CHILD_PROCESS_H_
#define HOST_HOOK_CHILD_PROCESS_H_

#include <sys/types.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "text/descriptor.h"

namespace nexa::hook {

// Belongs to one thread. A child that is neither reaped nor gone when its owner ends is killed with
// its group.
class ChildProcess {
 public:
  ChildProcess() = default;
  ChildProcess(ChildProcess&& other) noexcept;
  ChildProcess& operator=(ChildProcess&&) = delete;
  ~ChildProcess();

  // What becomes of the program's standard output.
  enum class Output : std::uint8_t { kDiscarded, kWithErrors, kPiped };

  // Starts the program, found in PATH when its name has no slash, with default signals, none
  // blocked, and no descriptor of ours but the pipes. 0, or the errno value of the failure.
  int start(const std::vector<std::string>& command, Output output = Output::kDiscarded);

  pid_t pid() const { return pid_; }

  // Descriptors to poll; -1 when closed. The pipes do not block; the process is readable at its
  // end.
  int process() const { return process_.get(); }
  int input() const { return input_.get(); }
  int errors() const { return errors_.get(); }
  int output() const { return output_.get(); }  // of Output::kPiped
  void close_input() { input_.close(); }
  void close_errors() { errors_.close(); }
  void close_output() { output_.close(); }

  // SIGTERM for the whole group.
  void ask_group_to_end();

  // SIGKILL for the whole group.
  void kill_group();

  // Waits for the end; the status as waitpid(2) gives it.
  int reap();

 private:
  pid_t pid_ = -1;
  text::Descriptor process_;
  text::Descriptor input_;
  text::Descriptor errors_;
  text::Descriptor output_;
};

// write(2), but a reader that went away is EPIPE and never a signal.
ssize_t write_without_signal(int fd, std::string_view data);

}  // namespace nexa::hook

#endif  // HOST_HOOK_CHILD_PROCESS_H_
