// The data folder lies below the build directory, so that it is on a real disk: in memory there is
// no sync to measure.
#include "nexad/server_process.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <thread>
#include <vector>

namespace nexa_bench {
namespace {

namespace fs = std::filesystem;

constexpr int kMostWaits = 600;
constexpr auto kWait = std::chrono::milliseconds(100);

fs::path build_folder() { return fs::read_symlink("/proc/self/exe").parent_path().parent_path(); }

std::vector<std::string> command(const std::string& folder) {
  const char* given = std::getenv("NEXA_YUMA_DIR");
  const std::string yuma = given != nullptr ? given : "/usr/share/yuma";
  return {(build_folder() / "bin" / "nexad").string(),
          "--yang-dir",
          yuma + "/nmda-modules/ietf",
          "--yang-dir",
          yuma + "/modules/ietf",
          "--module",
          "ietf-interfaces",
          "--module",
          "iana-if-type",
          "--data",
          folder + "/data",
          "--listen",
          "127.0.0.1:0",
          "--metrics",
          "off",
          "--insecure",
          "--no-linux-state",
          "--log-level",
          "warning",
          "--ready-file",
          folder + "/ready"};
}

[[noreturn]] void run_server(const std::string& folder, Sync sync) {
  if (sync == Sync::kLeftOut) {
    setenv("LD_PRELOAD", (build_folder() / "lib" / "libnexa_no_sync.so").c_str(), 1);
  }
  const int log = open((folder + "/log").c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0600);
  dup2(log, STDOUT_FILENO);
  dup2(log, STDERR_FILENO);
  std::vector<std::string> words = command(folder);
  std::vector<char*> arguments;
  for (std::string& word : words) arguments.push_back(word.data());
  arguments.push_back(nullptr);
  execv(arguments[0], arguments.data());
  _exit(127);
}

std::string first_line(const std::string& file) {
  std::ifstream in(file);
  std::string line;
  std::getline(in, line);
  return line;
}

}  // namespace

ServerProcess::ServerProcess(Sync sync) {
  std::string name = (build_folder() / "nexad-bench-XXXXXX").string();
  if (mkdtemp(name.data()) == nullptr) {
    std::perror(name.c_str());
    return;
  }
  folder_ = name;
  process_ = fork();
  if (process_ == 0) run_server(folder_, sync);
  if (process_ > 0) wait_ready();
}

ServerProcess::~ServerProcess() {
  if (process_ > 0) {
    kill(process_, SIGTERM);
    waitpid(process_, nullptr, 0);
  }
  std::error_code ignored;
  if (!folder_.empty()) fs::remove_all(folder_, ignored);
}

void ServerProcess::wait_ready() {
  for (int wait = 0; wait < kMostWaits; ++wait) {
    const std::string line = first_line(folder_ + "/ready");
    if (!line.empty()) {
      address_ = line;
      return;
    }
    if (waitpid(process_, nullptr, WNOHANG) == process_) {
      process_ = -1;
      break;
    }
    std::this_thread::sleep_for(kWait);
  }
  std::ifstream log(folder_ + "/log");
  for (std::string line; std::getline(log, line);) std::fprintf(stderr, "%s\n", line.c_str());
  std::fprintf(stderr, "nexad_bench: nexad did not start\n");
}

std::size_t ServerProcess::resident_bytes() const {
  std::ifstream status("/proc/" + std::to_string(process_) + "/status");
  for (std::string line; std::getline(status, line);) {
    if (line.starts_with("VmRSS:")) {
      return std::strtoull(line.c_str() + sizeof("VmRSS:") - 1, nullptr, 10) * 1024;
    }
  }
  return 0;
}

}  // namespace nexa_bench
