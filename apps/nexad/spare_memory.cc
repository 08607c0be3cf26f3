// malloc_trim(3). The C library itself gives back the end of its heap only, and a single block that
// is in use there keeps all below it.
#include "spare_memory.h"

#include <malloc.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <utility>

namespace nexad {
namespace {

// What nobody misses.
constexpr std::size_t kSpare = 16U << 20U;
constexpr unsigned kLongestPause = 120;
// Of one processor.
constexpr std::chrono::nanoseconds kCalm = SpareMemory::kTick / 4;

// Without the pages of files: code that is called comes and goes with no regard to the heap.
std::size_t resident_bytes() {
  std::ifstream file("/proc/self/statm");
  std::size_t total = 0;
  std::size_t resident = 0;
  std::size_t of_files = 0;
  file >> total >> resident >> of_files;
  return (resident - of_files) * static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
}

std::chrono::nanoseconds time_of(const timeval& time) {
  return std::chrono::seconds(time.tv_sec) + std::chrono::microseconds(time.tv_usec);
}

std::chrono::nanoseconds used_time() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return time_of(usage.ru_utime) + time_of(usage.ru_stime);
}

std::size_t distance(std::size_t a, std::size_t b) { return a < b ? b - a : a - b; }

}  // namespace

SpareMemory::Process SpareMemory::this_process() {
  return {resident_bytes, used_time, [] { malloc_trim(0); }};
}

SpareMemory::SpareMemory(Process process)
    : process_(std::move(process)),
      lowest_(process_.resident()),
      last_(lowest_),
      cpu_time_(process_.cpu_time()) {}

void SpareMemory::look() {
  const std::size_t resident = process_.resident();
  const bool is_calm = process_.cpu_time() - std::exchange(cpu_time_, process_.cpu_time()) < kCalm;
  lowest_ = std::min(lowest_, resident);
  if (distance(resident, last_) > kSpare) pause_ = 1;
  last_ = resident;
  if (resident < lowest_ + kSpare) return;
  ++passed_;
  if (passed_ < (is_calm ? pause_ : kLongestPause)) return;
  process_.trim();
  passed_ = 0;
  pause_ = std::min(2 * pause_, kLongestPause);
  last_ = process_.resident();
}

}  // namespace nexad
