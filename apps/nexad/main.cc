// nexad: a gNMI server that keeps every committed byte. Wiring only: what is asked for, signals,
// and the exit status (0 done, 1 something cannot be used, 2 the settings are wrong).
#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <exception>
#include <iostream>
#include <string>
#include <vector>

#include "access/access.h"
#include "application.h"
#include "invocation.h"
#include "log.h"
#include "process_memory.h"
#include "ready_file.h"
#include "service_manager.h"
#include "spare_memory.h"

namespace {

using namespace nexad;

constexpr int kDone = 0;
constexpr int kUnusable = 1;
constexpr int kWrong = 2;
constexpr int kTicksPerLookAtCertificates = 6;
constexpr timespec kTick{
    0, std::chrono::duration_cast<std::chrono::nanoseconds>(SpareMemory::kTick).count()};

// The library below writes to standard output where nobody wants it, so that becomes nothing;
// what is meant to be read goes to the descriptor that this returns. Missing standard descriptors
// are filled first, lest a database takes their place.
int take_standard_output() {
  int fd = open("/dev/null", O_RDWR);
  while (fd >= 0 && fd <= STDERR_FILENO) fd = dup(fd);
  const int output = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
  if (fd >= 0) {
    dup2(fd, STDOUT_FILENO);
    close(fd);
  }
  return output;
}

bool print(int output, const std::string& text) {
  std::size_t done = 0;
  while (done < text.size()) {
    const ssize_t count = write(output, text.data() + done, text.size() - done);
    if (count < 0) return false;
    done += static_cast<std::size_t>(count);
  }
  return true;
}

int fail(int status, const std::string& error) {
  std::fprintf(stderr, "nexad: %s\n", one_line(error).c_str());
  return status;
}

int hash_password(int output) {
  termios before{};
  const bool terminal = tcgetattr(STDIN_FILENO, &before) == 0;
  if (terminal) {
    termios silent = before;
    silent.c_lflag &= ~static_cast<tcflag_t>(ECHO);
    tcsetattr(STDIN_FILENO, TCSAFLUSH, &silent);
    std::fputs("Password: ", stderr);
  }
  std::string password;
  const bool read = static_cast<bool>(std::getline(std::cin, password));
  if (terminal) {
    tcsetattr(STDIN_FILENO, TCSAFLUSH, &before);
    std::fputc('\n', stderr);
  }
  if (!read || password.empty()) return fail(kWrong, "there is no password on standard input");
  const std::string hash = nexa::access::hash_password(password);
  if (hash.empty()) return fail(kWrong, "the password has a NUL in it or more than 511 bytes");
  return print(output, hash + "\n") ? kDone : kUnusable;
}

int check(const ServerConfig& config, int output) {
  Application application(config);
  const auto summary = application.check();
  if (!summary.ok()) return fail(kUnusable, summary.failure().line());
  return print(output, "nexad: " + summary.value() + "\n") ? kDone : kUnusable;
}

// Until a signal asks for the end.
void run(Application& application, const ServiceManager& manager, const sigset_t& signals) {
  ServiceManager watched = manager;
  SpareMemory memory;
  const std::string status = "serving on " + application.address().text();
  for (int tick = 0;; ++tick) {
    watched.tick();
    const int signal = sigtimedwait(&signals, nullptr, &kTick);
    if (signal == SIGTERM || signal == SIGINT) return;
    if (signal == SIGHUP) {
      manager.reloading();
      application.reload();
      manager.ready(status);
    } else if (tick % kTicksPerLookAtCertificates == 0) {
      application.look_at_certificates();
    }
    application.look_at_store();
    memory.look();
  }
}

int serve(const ServerConfig& config) {
  sigset_t signals;
  sigemptyset(&signals);
  for (const int signal : {SIGTERM, SIGINT, SIGHUP}) sigaddset(&signals, signal);
  // Before there are threads: they inherit it, and the signals wait for run().
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  const ServiceManager manager;
  Application application(config);
  ReadyFile ready_file(config.ready_file);
  nexa::text::Done done = application.start();
  if (done.ok()) done = ready_file.write(application.address().text());
  if (!done.ok()) {
    application.stop();
    return fail(kUnusable, done.failure().line());
  }
  give_back_start_memory();
  const std::string status = "serving on " + application.address().text();
  log_info(status);
  manager.ready(status);
  run(application, manager, signals);
  log_info("stopping");
  manager.stopping();
  // A second signal ends the process at once; a reload that comes too late does not.
  sigdelset(&signals, SIGHUP);
  pthread_sigmask(SIG_UNBLOCK, &signals, nullptr);
  application.stop();
  log_info("stopped");
  return kDone;
}

int run_invocation(int argc, char** argv, int output) {
  const std::vector<std::string> arguments(argv + 1, argv + argc);
  const auto parsed = parse_invocation(arguments, process_environment());
  if (!parsed.ok()) return fail(kWrong, parsed.failure().line());
  const Invocation& invocation = parsed.value();
  switch (invocation.action) {
    case Action::kShow:
      return print(output, invocation.text) ? kDone : kUnusable;
    case Action::kHashPassword:
      return hash_password(output);
    case Action::kCheckConfig:
      return check(invocation.config, output);
    case Action::kServe:
      break;
  }
  start_log(invocation.config.log_level);
  return serve(invocation.config);
}

}  // namespace

int main(int argc, char** argv) {
  std::signal(SIGPIPE, SIG_IGN);
  // A limit on the size of files shows as a full disk.
  std::signal(SIGXFSZ, SIG_IGN);
  set_memory_habits();
  const int output = take_standard_output();
  try {
    return run_invocation(argc, argv, output);
  } catch (const std::exception& error) {
    return fail(kUnusable, error.what());
  }
}
