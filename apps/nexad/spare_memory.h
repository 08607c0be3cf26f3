// When does memory go back to the machine that the C library keeps? After large answers and floods,
// in a calm moment.
#ifndef APPS_NEXAD_SPARE_MEMORY_H_
#define APPS_NEXAD_SPARE_MEMORY_H_

#include <chrono>
#include <cstddef>
#include <functional>

namespace nexad {

// Belongs to one thread.
class SpareMemory {
 public:
  // What the process is asked for, and what it is asked to do.
  struct Process {
    std::function<std::size_t()> resident;               // bytes
    std::function<std::chrono::nanoseconds()> cpu_time;  // of all threads since the start
    std::function<void()> trim;
  };

  // `process` is this one unless a test has another.
  explicit SpareMemory(Process process = this_process());

  // To be called every `kTick`. While the process has more than it once did, the C library is told
  // to give back what it keeps: soon after it grew or shrank, then less and less often; not while
  // there is work, unless that never ends.
  void look();

  static constexpr std::chrono::milliseconds kTick{500};

 private:
  static Process this_process();

  const Process process_;
  std::size_t lowest_;
  std::size_t last_;
  std::chrono::nanoseconds cpu_time_;
  unsigned pause_ = 1;  // looks from one trim to the next
  unsigned passed_ = 0;
};

}  // namespace nexad

#endif  // APPS_NEXAD_SPARE_MEMORY_H_
