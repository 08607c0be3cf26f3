// Whole Sets of a router's configuration against libyang reading the same JSON: processor time,
// peak memory, and how the time grows with the share of the store that a Set changes.
#include <algorithm>
#include <cstdio>

#include "bulk/measure.h"
#include "bulk/sections.h"
#include "bulk/sides.h"
#include "support/openconfig_payload.h"

namespace nexa_bench {
namespace {

constexpr double kCpuLimit = 1.5;
constexpr double kMemoryLimit = 2.5;
constexpr std::uint32_t kSeed = 1;
constexpr std::uint32_t kOtherSeed = 2;
constexpr std::size_t kManyRuns = 2'000'000;  // bytes up to which a measurement is repeated

int runs_of(std::size_t bytes) { return bytes <= kManyRuns ? 5 : 1; }

// libyang, the empty store, the full store, and the halves of the first Set: milliseconds. The
// sides take turns, and each begins after the same rest and with a part of its own work: caches and
// heap are as cold for one as for the other.
std::vector<double> cpu_of_sets(std::size_t bytes, Kind kind) {
  const std::string json = openconfig_payload(bytes, kSeed);
  const std::string first = set_request(json, "/", kind);
  const std::string second = set_request(openconfig_payload(bytes, kOtherSeed), "/", kind);
  std::vector<double> peer;
  std::vector<double> empty;
  std::vector<double> full;
  std::vector<double> prepared;
  for (int run = 0; run < runs_of(bytes); ++run) {
    settled_bytes();
    static_cast<void>(parse_only(json));
    peer.push_back(cpu_of(1, [&] { parse_and_validate(json); }));
    const Folder folder;
    StoreSide side(folder.data());
    settled_bytes();  // what the start goes on with is not the Set's
    prepared.push_back(cpu_of(1, [&] { side.prepare(first); }));
    empty.push_back(cpu_of(1, [&] { side.set(first); }));
    full.push_back(cpu_of(1, [&] { side.set(second); }));
  }
  return {median(peer) * 1e3, median(empty) * 1e3, median(full) * 1e3, median(prepared) * 1e3};
}

std::vector<double> peak_of_peer(std::size_t bytes) {
  const std::string json = openconfig_payload(bytes, kSeed);
  return {peak_bytes([&] { parse_and_validate(json); }) / 1e6};
}

std::vector<double> peak_of_sets(std::size_t bytes) {
  const std::string first = set_request(openconfig_payload(bytes, kSeed));
  const std::string second = set_request(openconfig_payload(bytes, kOtherSeed));
  const Folder folder;
  StoreSide side(folder.data());
  const double empty = peak_bytes([&] { side.set(first); });
  const double full = peak_bytes([&] { side.set(second); });
  return {empty / 1e6, full / 1e6};
}

double at(const std::vector<double>& numbers, std::size_t index) {
  return index < numbers.size() ? numbers[index] : 0;
}

// A document that changes about `leaves` leaves of the packet filters.
std::string some_descriptions(std::size_t leaves, std::uint32_t units) {
  std::string json = R"({"openconfig-acl:acl":{"acl-sets":{"acl-set":[)";
  std::size_t done = 0;
  for (std::uint32_t unit = 0; unit < units && done < leaves; ++unit) {
    json += unit == 0 ? "" : ",";
    json += R"({"name":"filter-)" + std::to_string(unit) +
            R"(","type":"openconfig-acl:ACL_IPV4","acl-entries":{"acl-entry":[)";
    for (int entry = 1; entry <= 10 && done < leaves; ++entry, ++done) {
      json += entry == 1 ? "" : ",";
      json += R"({"sequence-id":)" + std::to_string(entry * 10) +
              R"(,"config":{"description":"changed"}})";
    }
    json += "]}}";
  }
  return json + "]}}}";
}

std::size_t leaves_of(const std::string& json) {
  const Tree tree = parse_only(json);
  std::size_t leaves = 0;
  const lyd_node* top = nullptr;
  LY_LIST_FOR(tree.get(), top) {
    const lyd_node* node = nullptr;
    LYD_TREE_DFS_BEGIN(top, node) {
      if ((node->schema->nodetype & (LYS_LEAF | LYS_LEAFLIST)) != 0) ++leaves;
      LYD_TREE_DFS_END(top, node);
    }
  }
  return leaves;
}

constexpr double kShares[] = {0.001, 0.01, 0.05, 0.10, 0.25, 0.50, 1.00};
constexpr double kWholeUnits = 0.05;  // from this share on a Set carries whole units

std::vector<double> cpu_of_shares(std::size_t bytes) {
  const std::uint32_t units = units_of(bytes);
  const std::string json = openconfig_payload({0, units, kSeed});
  const auto leaves = static_cast<double>(leaves_of(json));
  std::vector<double> times = {cpu_of(3, [&] { parse_and_validate(json); }) * 1e3};
  const std::string base = set_request(json);
  for (const double share : kShares) {
    std::vector<double> runs;
    for (int run = 0; run < 3; ++run) {
      const Folder folder;
      StoreSide side(folder.data());
      side.set(base);
      const auto changed = std::max(1U, static_cast<std::uint32_t>(share * units + 0.5));
      const std::string request = set_request(
          share < kWholeUnits ? some_descriptions(static_cast<std::size_t>(leaves * share), units)
                              : openconfig_payload({units - changed, changed, kOtherSeed}));
      runs.push_back(cpu_of(1, [&] { side.set(request); }));
    }
    times.push_back(median(runs) * 1e3);
  }
  return times;
}

}  // namespace

std::vector<std::size_t> payload_sizes(const BenchOptions& options) {
  std::vector<std::size_t> sizes;
  for (const std::size_t bytes : {100'000UL, 1'000'000UL, 6'000'000UL, 50'000'000UL}) {
    const std::size_t most = options.most_bytes != 0 ? options.most_bytes
                             : options.quick         ? 1'000'000UL
                                                     : 50'000'000UL;
    if (bytes <= most) sizes.push_back(bytes);
  }
  return sizes;
}

std::string size_text(std::size_t bytes) {
  return bytes < 1'000'000 ? std::to_string(bytes / 1000) + " kB"
                           : std::to_string(bytes / 1'000'000) + " MB";
}

void measure_large_sets(const BenchOptions& options, Report& report) {
  load_models(options.openconfig);
  for (const std::size_t bytes : payload_sizes(options)) {
    for (const Kind kind : {Kind::kUpdate, Kind::kReplace}) {
      const std::vector<double> times =
          in_child(options.seconds, [&] { return cpu_of_sets(bytes, kind); });
      const bool measured = times.size() == 4;
      const std::string name = kind == Kind::kUpdate ? " update of " : " replace of ";
      const std::string what = "CPU," + name + size_text(bytes);
      report.add({"large", what + ", checks and translation alone", "ms", at(times, 3),
                  at(times, 0), 0, measured});
      report.add({"large", what + " into an empty store", "ms", at(times, 1), at(times, 0),
                  kCpuLimit, measured});
      report.add({"large", what + " into a full store", "ms", at(times, 2), at(times, 0), kCpuLimit,
                  measured});
    }
  }
}

void measure_peak_memory(const BenchOptions& options, Report& report) {
  load_models(options.openconfig);
  for (const std::size_t bytes : payload_sizes(options)) {
    const auto peer = in_child(options.seconds, [&] { return peak_of_peer(bytes); });
    const auto ours = in_child(options.seconds, [&] { return peak_of_sets(bytes); });
    const bool measured = peer.size() == 1 && ours.size() == 2;
    const std::string what = "peak memory, update of " + size_text(bytes);
    report.add({"memory", what + " into an empty store", "MB", at(ours, 0), at(peer, 0),
                kMemoryLimit, measured});
    report.add({"memory", what + " into a full store", "MB", at(ours, 1), at(peer, 0), kMemoryLimit,
                measured});
  }
}

void measure_crossing(const BenchOptions& options, Report& report) {
  load_models(options.openconfig);
  const std::size_t bytes = options.quick ? 300'000 : 1'000'000;
  const auto times = in_child(options.seconds, [&] { return cpu_of_shares(bytes); });
  for (std::size_t index = 0; index < std::size(kShares); ++index) {
    char what[80];
    std::snprintf(what, sizeof what, "CPU, update that changes %.1f %% of %s", kShares[index] * 100,
                  size_text(bytes).c_str());
    report.add({"crossing", what, "ms", at(times, index + 1), at(times, 0), 0,
                times.size() == std::size(kShares) + 1});
  }
}

}  // namespace nexa_bench
