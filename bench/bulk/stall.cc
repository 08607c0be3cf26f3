// How long a Set waits for the snapshots and the readers beside it, by the clock. What it waited
// for is shown beside that: a Set that is ready to run while others have the processors tells of
// the machine, or of the store's own threads.
#include <algorithm>
#include <atomic>
#include <thread>

#include "bulk/measure.h"
#include "bulk/sections.h"
#include "bulk/sides.h"
#include "bulk/waits.h"

namespace nexa_bench {
namespace {

constexpr double kStallLimit = 5;
constexpr double kRare = 0.99;

// What waits_of() tells, in milliseconds.
enum Wait : std::size_t {
  kMedian,
  kP99,
  kSlowest,
  kOwnP99,
  // Of the Set that waited longest for other things than a processor:
  kOwnSlowest,
  kItsRunning,
  kItsReady,
  kItsSyncing,
  kSlowestReady,  // the longest that a Set waited for a processor
  kSlowestSync,   // the longest that one was in fdatasync()
  kGets,
  kWaits,
};

std::vector<double> summary(const std::vector<ThreadTimes>& sets, std::size_t gets) {
  std::vector<double> walls;
  std::vector<double> own;
  std::vector<double> ready;
  std::vector<double> syncing;
  for (const ThreadTimes& set : sets) {
    walls.push_back(set.wall);
    own.push_back(set.own());
    ready.push_back(set.ready);
    syncing.push_back(set.syncing);
  }
  const ThreadTimes slowest = *std::max_element(
      sets.begin(), sets.end(),
      [](const ThreadTimes& left, const ThreadTimes& right) { return left.own() < right.own(); });
  std::vector<double> told(kWaits);
  told[kMedian] = median(walls);
  told[kP99] = quantile(walls, kRare);
  told[kSlowest] = quantile(walls, 1);
  told[kOwnP99] = quantile(own, kRare);
  told[kOwnSlowest] = slowest.own();
  told[kItsRunning] = slowest.running;
  told[kItsReady] = slowest.ready;
  told[kItsSyncing] = slowest.syncing;
  told[kSlowestReady] = quantile(ready, 1);
  told[kSlowestSync] = quantile(syncing, 1);
  told[kGets] = static_cast<double>(gets);
  return told;
}

// `disturbed`: with snapshots, and one full Get after the other.
std::vector<double> waits_of(const std::string& data, std::size_t interfaces, std::size_t sets,
                             bool disturbed) {
  StoreSide side(data, {true, disturbed ? 1000U : 1'000'000U});
  side.set(leaf_request(0, 1));
  settled_bytes();
  std::atomic<bool> done = false;
  std::atomic<std::size_t> gets = 0;
  std::thread reader;
  if (disturbed) {
    reader = std::thread([&] {
      for (; !done; ++gets) side.read_all();
    });
  }
  std::vector<ThreadTimes> times;
  const std::size_t salt = disturbed ? kOtherValues : 0;
  for (std::size_t set = 0; set < sets; ++set) {
    const std::string request = leaf_request(set * 37 % interfaces, set + salt);
    const ThreadTimes start = thread_times();
    side.change(request);
    times.push_back(thread_times() - start);
  }
  done = true;
  if (reader.joinable()) reader.join();
  return summary(times, gets);
}

void add_stalls(Report& report, const std::string& which, const std::vector<double>& disturbed,
                const std::vector<double>& calm) {
  const auto row = [&](const char* what, Wait wait, double peer) {
    report.add({"stall", what, "ms", disturbed[wait], peer, 0, true});
  };
  row("median Set, with snapshots and Gets, and without", kMedian, calm[kMedian]);
  row("p99 Set, with snapshots and Gets, and without", kP99, calm[kP99]);
  report.add({"stall", "full Gets beside the Sets", "", disturbed[kGets], 0, 0, true});
  report.add({"stall", "slowest of " + which + ", over the calm p99", "ms", disturbed[kSlowest],
              calm[kP99], kStallLimit, true});
  row("slowest Set, with snapshots and Gets, and without", kSlowest, calm[kSlowest]);
  row("longest that a Set was in fdatasync, and without", kSlowestSync, calm[kSlowestSync]);
  row("longest that a Set waited for a processor, and without", kSlowestReady, calm[kSlowestReady]);
  row("slowest but for processors, over the calm p99", kOwnSlowest, calm[kOwnP99]);
  row("  of that on a processor", kItsRunning, 0);
  row("  of that in fdatasync", kItsSyncing, 0);
  row("  beside that ready for a processor", kItsReady, 0);
}

}  // namespace

void measure_stall(const BenchOptions& options, Report& report) {
  load_models(NEXA_BENCH_MODELS);
  const std::size_t interfaces = options.quick ? 10'000 : 100'000;
  const std::size_t sets = options.quick ? 3'000 : 20'000;
  const std::string which =
      std::to_string(sets) + " at " + std::to_string(interfaces) + " interfaces";
  const Folder folder;
  std::vector<double> calm;
  std::vector<double> disturbed;
  if (fill_in_child(options, folder.data(), interfaces)) {
    const auto waits = [&](bool is_disturbed) {
      return in_child(options.seconds,
                      [&] { return waits_of(folder.data(), interfaces, sets, is_disturbed); });
    };
    calm = waits(false);
    disturbed = waits(true);
  }
  if (calm.size() == kWaits && disturbed.size() == kWaits) {
    return add_stalls(report, which, disturbed, calm);
  }
  report.add({"stall", "slowest of " + which, "ms", 0, 0, kStallLimit, false});
}

}  // namespace nexa_bench
