// The share of time that processors spend with what, out of the counters of /proc/stat.
#ifndef HOST_STATE_CPU_USAGE_H_
#define HOST_STATE_CPU_USAGE_H_

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace nexa::state {

// The fields of a line "cpu" that every kernel has, in their order.
enum CpuField : std::uint8_t { kUser, kNice, kSystem, kIdle, kWait, kIrq, kSoftIrq, kSteal };
inline constexpr std::size_t kCpuFields = 8;

struct CpuTimes {
  std::string index;  // "ALL", or the number of the processor
  std::array<std::uint64_t, kCpuFields> ticks{};
};

// The lines "cpu" of `<proc>/stat`; empty when it cannot be read.
std::vector<CpuTimes> read_cpu_times(const std::string& proc);

struct CpuShares {
  std::string index;
  std::array<unsigned, kCpuFields> percent{};
  unsigned busy = 0;  // all but idle and wait
};

// What changed from one reading to the other, for processors that are in both and went on.
std::vector<CpuShares> shares_between(const std::vector<CpuTimes>& before,
                                      const std::vector<CpuTimes>& after);

}  // namespace nexa::state

#endif  // HOST_STATE_CPU_USAGE_H_
