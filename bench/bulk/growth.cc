// How the price of a Set grows with the entries that it brings.
#include <cstdio>

#include "bulk/measure.h"
#include "bulk/sections.h"
#include "bulk/sides.h"
#include "support/workload.h"

namespace nexa_bench {
namespace {

constexpr int kEntries[] = {10, 20, 50, 100, 200, 500, 1000, 2000, 5000, 10000};
constexpr int kQuickMost = 2000;
constexpr int kFew = 500;
constexpr int kMany = 5000;
constexpr double kGrowthLimit = 1.2;
constexpr int kAgainstLibyang = 1000;
constexpr double kLibyangLimit = 1.5;
constexpr int kMore = 300;  // entries, one by one, behind an ordered list
constexpr int kFewOrdered = 100;
constexpr double kOrderedLimit = 3.0;

// Microseconds of processor time for each entry of a Set into an empty store, the median of runs
// that together take a second or so.
std::vector<double> cpu_of_entries(int entries) {
  const std::string request =
      set_request(interfaces_payload(entries), "/openconfig-interfaces:interfaces");
  std::vector<double> times;
  const int runs = entries <= kFew ? 15 : 5;
  for (int run = 0; run < runs; ++run) {
    const Folder folder;
    StoreSide side(folder.data());
    times.push_back(cpu_of(1, [&] { side.set(request); }));
  }
  return {median(times) * 1e6 / entries};
}

std::vector<double> cpu_of_peer(int entries) {
  const std::string json =
      R"({"openconfig-interfaces:interfaces":)" + interfaces_payload(entries) + "}";
  return {cpu_of(5,
                 [&] {
                   Tree tree;
                   merge_and_print(tree, json);
                 }) *
          1e6 / entries};
}

// Microseconds of processor time for one entry more at the end of an ordered list.
std::vector<double> cpu_of_ordered(int entries) {
  std::string json = R"({"bench-device:device":{"rule":[)";
  for (int entry = 0; entry < entries; ++entry) {
    const std::string number = std::to_string(entry);
    json += (entry == 0 ? R"({"name":"r)" : R"(,{"name":"r)") + number + R"(","source":"192.0.2.)" +
            number + R"(","destination":"198.51.100.1"})";
  }
  const Folder folder;
  StoreSide side(folder.data());
  side.set(set_request(json + "]}}"));
  // The snapshot of so much and the checkpoint of its journal belong to the Set that brought it.
  settled_bytes();
  std::vector<std::string> requests;
  for (int more = 0; more < kMore; ++more) {
    requests.push_back(set_request(R"({"source":"192.0.2.1"})", "/bench-device:device/rule[name=m" +
                                                                    std::to_string(more) + "]"));
  }
  const double start = cpu_seconds();
  for (const std::string& request : requests) side.change(request);
  return {(cpu_seconds() - start) * 1e6 / kMore};
}

}  // namespace

void measure_entries(const BenchOptions& options, Report& report) {
  load_models(options.openconfig);
  double few = 0;
  double many = 0;
  for (const int entries : kEntries) {
    if (options.quick && entries > kQuickMost) break;
    const auto time = in_child(options.seconds, [&] { return cpu_of_entries(entries); });
    const bool measured = !time.empty();
    if (measured && entries == kFew) few = time[0];
    if (measured && entries == kMany) many = time[0];
    report.add({"entries", "CPU for each entry, Set of " + std::to_string(entries), "us",
                measured ? time[0] : 0, 0, 0, measured});
    if (entries == kAgainstLibyang) {
      const auto peer = in_child(options.seconds, [&] { return cpu_of_peer(entries); });
      report.add({"entries", "the same beside parse + merge + validation + printing", "us",
                  measured ? time[0] : 0, peer.empty() ? 0 : peer[0], kLibyangLimit,
                  measured && !peer.empty()});
    }
  }
  if (options.quick) return;
  report.add({"entries", "each of 5,000 entries over each of 500", "us", many, few, kGrowthLimit,
              few > 0 && many > 0});
}

void measure_ordered(const BenchOptions& options, Report& report) {
  load_models(NEXA_BENCH_MODELS);
  double few = 0;
  double many = 0;
  int most = 0;
  for (const int entries : kEntries) {
    if (options.quick && entries > kQuickMost) break;
    const auto time = in_child(options.seconds, [&] { return cpu_of_ordered(entries); });
    const bool measured = !time.empty();
    if (measured && entries == kFewOrdered) few = time[0];
    most = entries;
    many = measured ? time[0] : 0;
    report.add({"ordered", "CPU of one entry more behind " + std::to_string(entries), "us", many, 0,
                0, measured});
  }
  report.add({"ordered", "one entry more behind " + std::to_string(most) + ", over behind 100",
              "us", many, few, kOrderedLimit, few > 0 && many > 0});
}

}  // namespace nexa_bench
