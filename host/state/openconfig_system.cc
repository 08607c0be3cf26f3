// Everything is read anew; kept is the earlier reading of the processors' counters.
#include "state/openconfig_system.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <ctime>
#include <fstream>
#include <map>
#include <mutex>
#include <optional>
#include <sstream>
#include <string_view>
#include <utility>
#include <vector>

#include "state/cpu_usage.h"
#include "state/schema_writer.h"
#include "state/sysfs_value.h"
#include "text/utc_time.h"

namespace nexa::state {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds kShortestInterval{1};
constexpr std::uint64_t kSecond = 1'000'000'000;
constexpr std::uint64_t kKibi = 1024;

constexpr std::pair<const char*, CpuField> kCpuLeaves[] = {{"user", kUser},
                                                           {"kernel", kSystem},
                                                           {"nice", kNice},
                                                           {"idle", kIdle},
                                                           {"wait", kWait},
                                                           {"hardware-interrupt", kIrq},
                                                           {"software-interrupt", kSoftIrq}};

// The lines of meminfo, in KiB.
std::map<std::string, std::uint64_t> read_memory(const std::string& proc) {
  std::map<std::string, std::uint64_t> values;
  std::ifstream in(proc + "/meminfo", std::ios::binary);
  for (std::string line; std::getline(in, line);) {
    std::istringstream words(line);
    std::string name;
    std::uint64_t value = 0;
    if (words >> name >> value) values[name] = value;
  }
  return values;
}

std::optional<std::uint64_t> find(const std::map<std::string, std::uint64_t>& values,
                                  const char* name) {
  const auto found = values.find(name);
  return found == values.end() ? std::nullopt : std::optional(found->second * kKibi);
}

bool is_alphanumeric(char byte) {
  return (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') ||
         (byte >= '0' && byte <= '9');
}

// A label as the type domain-name takes it; the kernel takes any bytes.
bool is_label(std::string_view label) {
  constexpr std::size_t kMost = 63;
  if (label.empty() || label.size() > kMost || !is_alphanumeric(label.back())) return false;
  if (!is_alphanumeric(label.front()) && label.front() != '_') return false;
  return std::all_of(label.begin(), label.end(),
                     [](char byte) { return is_alphanumeric(byte) || byte == '-' || byte == '_'; });
}

bool is_domain_name(std::string_view name) {
  constexpr std::size_t kMost = 253;
  if (name.size() > kMost) return false;
  while (true) {
    const std::size_t dot = name.find('.');
    if (!is_label(name.substr(0, dot))) return false;
    if (dot == std::string_view::npos) return true;
    name.remove_prefix(dot + 1);
  }
}

class OpenConfigSystem : public StateProvider {
 public:
  explicit OpenConfigSystem(std::string proc)
      : proc_(std::move(proc)), earlier_(read_cpu_times(proc_)), earlier_at_(Clock::now()) {}

  std::string_view name() const override { return "openconfig-system"; }
  std::string_view module() const override { return "openconfig-system"; }

  // Of those that are alike for a day and longer nobody needs to be told.
  Pace pace(const kestrel_cs_node& leaf) const override {
    const std::string_view name = kestrel_hash2str(leaf.tag);
    const bool is_constant = name == "boot-time" || name == "physical" || name == "index";
    return is_constant ? Pace::kEvents : Pace::kGauge;
  }

  void append_xml(std::string& xml) override {
    SchemaWriter writer(xml);
    if (!writer.open_top(find_module(module()), "system")) return;
    write_global(writer);
    if (writer.open("memory")) {
      write_memory(writer);
      writer.close();
    }
    if (writer.open("cpus")) {
      write_processors(writer);
      writer.close();
    }
    writer.close();
  }

 private:
  void write_global(SchemaWriter& writer) const {
    if (!writer.open("state")) return;
    const auto hostname = read_line(proc_ + "/sys/kernel/hostname");
    if (hostname && is_domain_name(*hostname)) writer.leaf("hostname", *hostname);
    const std::int64_t now = std::time(nullptr);
    writer.leaf("current-datetime", text::utc_time(now));
    const auto start = read_boot_time(proc_);
    if (start && *start >= 0 && *start <= now) {
      writer.leaf("up-time", static_cast<std::uint64_t>(now - *start) * kSecond);
      writer.leaf("boot-time", static_cast<std::uint64_t>(*start) * kSecond);
    }
    writer.close();
  }

  void write_memory(SchemaWriter& writer) const {
    if (!writer.open("state")) return;
    const auto values = read_memory(proc_);
    const auto physical = find(values, "MemTotal:");
    const auto free = find(values, "MemFree:");
    const auto available = find(values, "MemAvailable:");
    if (physical) writer.leaf("physical", *physical);
    if (physical && available && *available <= *physical) {
      writer.leaf("used", *physical - *available);
    }
    if (free) writer.leaf("free", *free);
    if (available) writer.leaf("available", *available);
    writer.close();
  }

  void write_processors(SchemaWriter& writer) {
    std::chrono::nanoseconds interval{0};
    for (const CpuShares& shares : processors(interval)) {
      if (!writer.open("cpu")) return;
      writer.leaf("index", shares.index);
      if (writer.open("state")) {
        writer.leaf("index", shares.index);
        write_share("total", shares.busy, interval, writer);
        for (const auto& [name, field] : kCpuLeaves) {
          write_share(name, shares.percent[field], interval, writer);
        }
        writer.close();
      }
      writer.close();
    }
  }

  static void write_share(const char* name, unsigned percent, std::chrono::nanoseconds interval,
                          SchemaWriter& writer) {
    if (!writer.open(name)) return;
    writer.leaf("instant", std::uint64_t{percent});
    writer.leaf("interval", static_cast<std::uint64_t>(interval.count()));
    writer.close();
  }

  // Shares of the time since the earlier reading; readers that come soon after each other get the
  // same ones.
  std::vector<CpuShares> processors(std::chrono::nanoseconds& interval) {
    const std::lock_guard<std::mutex> lock(mutex_);
    const Clock::time_point now = Clock::now();
    const bool is_due = now - earlier_at_ >= kShortestInterval;
    if (is_due || shares_.empty()) {
      std::vector<CpuTimes> times = read_cpu_times(proc_);
      shares_ = shares_between(earlier_, times);
      interval_ = now - earlier_at_;
      if (is_due) {
        earlier_ = std::move(times);
        earlier_at_ = now;
      }
    }
    interval = interval_;
    return shares_;
  }

  const std::string proc_;
  std::mutex mutex_;
  std::vector<CpuTimes> earlier_;
  Clock::time_point earlier_at_;
  std::vector<CpuShares> shares_;
  std::chrono::nanoseconds interval_{0};
};

}  // namespace

std::unique_ptr<StateProvider> make_openconfig_system(std::string proc) {
  return std::make_unique<OpenConfigSystem>(std::move(proc));
}

}  // namespace nexa::state
