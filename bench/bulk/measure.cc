// Counters of the kernel: getrusage for time, /proc/self for memory.
#include "bulk/measure.h"

#include <malloc.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>

namespace nexa_bench {
namespace {

constexpr useconds_t kSettling = 200'000;
constexpr int kMostSettling = 300;

double seconds_of(const timeval& time) {
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
}

double seconds_of(int who) {
  rusage used{};
  getrusage(who, &used);
  return seconds_of(used.ru_utime) + seconds_of(used.ru_stime);
}

// A value of /proc/self/status, given in kibibytes there.
double status_bytes(const std::string& name) {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    if (line.starts_with(name)) return std::strtod(line.c_str() + name.size(), nullptr) * 1024;
  }
  give_up("no " + name + " in /proc/self/status");
}

// Makes the present size the peak again.
void reset_peak() {
  std::ofstream file("/proc/self/clear_refs");
  file << "5" << std::flush;
  if (!file) give_up("/proc/self/clear_refs cannot be written");
}

}  // namespace

double cpu_seconds() { return seconds_of(RUSAGE_SELF) + seconds_of(RUSAGE_CHILDREN); }

double wall_seconds() {
  return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

double resident_bytes() {
  malloc_trim(0);
  return status_bytes("VmRSS:");
}

double settled_bytes() {
  double before = resident_bytes();
  double cpu = cpu_seconds();
  for (int wait = 0; wait < kMostSettling; ++wait) {
    usleep(kSettling);
    const double now = resident_bytes();
    const double used = cpu_seconds();
    if (now == before && used - cpu < 0.02) break;
    before = now;
    cpu = used;
  }
  return resident_bytes();
}

double peak_bytes(const std::function<void()>& work) {
  const double before = resident_bytes();
  reset_peak();
  work();
  return status_bytes("VmHWM:") - before;
}

double median(std::vector<double> values) { return quantile(std::move(values), 0.5); }

double quantile(std::vector<double> values, double share) {
  if (values.empty()) return 0;
  const auto last = static_cast<double>(values.size() - 1);
  const auto at = values.begin() + static_cast<std::ptrdiff_t>(last * share);
  std::nth_element(values.begin(), at, values.end());
  return *at;
}

double cpu_of(int runs, const std::function<void()>& work) {
  std::vector<double> times;
  for (int run = 0; run < runs; ++run) {
    const double start = cpu_seconds();
    work();
    times.push_back(cpu_seconds() - start);
  }
  return median(std::move(times));
}

std::vector<double> in_child(unsigned seconds, const std::function<std::vector<double>()>& work) {
  std::fflush(nullptr);
  int ends[2];
  if (pipe(ends) != 0) return {};
  const pid_t child = fork();
  if (child == 0) {
    close(ends[0]);
    alarm(seconds);
    const std::vector<double> numbers = work();
    const std::size_t bytes = numbers.size() * sizeof(double);
    const bool written = write(ends[1], numbers.data(), bytes) == static_cast<ssize_t>(bytes);
    std::fflush(nullptr);
    _exit(written ? 0 : 1);
  }
  close(ends[1]);
  std::vector<double> numbers;
  for (double number = 0; read(ends[0], &number, sizeof number) == sizeof number;) {
    numbers.push_back(number);
  }
  close(ends[0]);
  int status = 0;
  const bool ended = child > 0 && waitpid(child, &status, 0) == child;
  return ended && WIFEXITED(status) && WEXITSTATUS(status) == 0 ? numbers : std::vector<double>();
}

void give_up(const std::string& reason) {
  std::fprintf(stderr, "store_bulk_bench: %s\n", reason.c_str());
  std::fflush(nullptr);
  _exit(1);
}

}  // namespace nexa_bench
