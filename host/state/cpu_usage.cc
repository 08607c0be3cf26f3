// Guest time is part of user time there, so the first eight fields are all.
#include "state/cpu_usage.h"

#include <algorithm>
#include <fstream>
#include <numeric>
#include <sstream>

namespace nexa::state {
namespace {

constexpr std::string_view kPrefix = "cpu";
constexpr unsigned kWhole = 100;

unsigned percent_of(std::uint64_t part, std::uint64_t all) {
  return static_cast<unsigned>(std::min<std::uint64_t>((part * kWhole + all / 2) / all, kWhole));
}

}  // namespace

std::vector<CpuTimes> read_cpu_times(const std::string& proc) {
  std::vector<CpuTimes> all;
  std::ifstream in(proc + "/stat", std::ios::binary);
  for (std::string line; std::getline(in, line) && line.starts_with(kPrefix);) {
    std::istringstream words(line.substr(kPrefix.size()));
    CpuTimes times;
    if (line[kPrefix.size()] == ' ') {
      times.index = "ALL";
    } else {
      words >> times.index;
    }
    for (std::uint64_t& field : times.ticks) words >> field;
    if (words) all.push_back(std::move(times));
  }
  return all;
}

std::vector<CpuShares> shares_between(const std::vector<CpuTimes>& before,
                                      const std::vector<CpuTimes>& after) {
  std::vector<CpuShares> all;
  for (const CpuTimes& now : after) {
    const auto then = std::find_if(before.begin(), before.end(),
                                   [&](const CpuTimes& times) { return times.index == now.index; });
    if (then == before.end()) continue;
    std::array<std::uint64_t, kCpuFields> passed{};
    for (std::size_t i = 0; i < kCpuFields; ++i) {
      // Some of them fall back a little when a processor goes offline and comes again.
      passed[i] = now.ticks[i] > then->ticks[i] ? now.ticks[i] - then->ticks[i] : 0;
    }
    const std::uint64_t sum = std::accumulate(passed.begin(), passed.end(), std::uint64_t{0});
    if (sum == 0) continue;
    CpuShares shares;
    shares.index = now.index;
    for (std::size_t i = 0; i < kCpuFields; ++i) shares.percent[i] = percent_of(passed[i], sum);
    shares.busy = percent_of(sum - passed[kIdle] - passed[kWait], sum);
    all.push_back(std::move(shares));
  }
  return all;
}

}  // namespace nexa::state
