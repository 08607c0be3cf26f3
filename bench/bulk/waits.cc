// The program's own fdatasync() comes before that of the C library.
#include "bulk/waits.h"

#include <fcntl.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <cstdlib>

#include "bulk/measure.h"

namespace nexa_bench {
namespace {

thread_local double syncing = 0;

double milliseconds(clockid_t clock) {
  timespec time{};
  clock_gettime(clock, &time);
  return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_nsec) / 1e6;
}

// The second number of /proc/thread-self/schedstat, in nanoseconds there.
double ready_milliseconds() {
  thread_local const int file = open("/proc/thread-self/schedstat", O_RDONLY | O_CLOEXEC);
  char text[96] = {};
  if (file < 0 || pread(file, text, sizeof text - 1, 0) <= 0) give_up("no schedstat in /proc");
  char* rest = nullptr;
  std::strtoull(text, &rest, 10);
  return static_cast<double>(std::strtoull(rest, nullptr, 10)) / 1e6;
}

}  // namespace

ThreadTimes thread_times() {
  return {milliseconds(CLOCK_MONOTONIC), milliseconds(CLOCK_THREAD_CPUTIME_ID),
          ready_milliseconds(), syncing};
}

}  // namespace nexa_bench

extern "C" __attribute__((visibility("default"))) int fdatasync(int file) {
  const double start = nexa_bench::milliseconds(CLOCK_MONOTONIC);
  const auto result = static_cast<int>(syscall(SYS_fdatasync, file));
  nexa_bench::syncing += nexa_bench::milliseconds(CLOCK_MONOTONIC) - start;
  return result;
}
