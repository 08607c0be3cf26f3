// What a gNMI server on this machine does in a second: Sets and Gets against nexad over stores of
// 10, 1,000 and 10,000 interfaces, with the disk's sync and without, on one connection and on
// eight; 1,000 idle streams; memory. Fails when a Set of one leaf costs more than five times as
// much over 10,000 interfaces as over 10: a commit has to cost what it changes.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "nexad/client.h"
#include "nexad/server_process.h"

namespace {

using nexa_bench::Client;
using nexa_bench::IdleStreams;
using nexa_bench::measure;
using nexa_bench::ServerProcess;
using nexa_bench::Sync;
using nexa_bench::Timing;

constexpr int kStores[] = {10, 1000, 10000};
constexpr std::size_t kConnections[] = {1, 8};
constexpr int kManyLeaves = 1000;
constexpr int kManyEntries = 1000;
constexpr int kEntriesPerSet = 1000;
constexpr int kIdleStreams = 1000;
constexpr int kStreamsPerConnection = 100;
constexpr double kSeconds = 1.5;
constexpr double kMostGrowth = 5.0;

class Bench {
 public:
  Bench(int interfaces, Sync sync) : interfaces_(interfaces), sync_(sync), server_(sync) {
    if (server_.address().empty()) std::exit(1);
    for (std::size_t each = 0; each < kConnections[1]; ++each) {
      clients_.push_back(std::make_unique<Client>(server_.address()));
    }
    for (int first = 0; first < interfaces; first += kEntriesPerSet) {
      clients_[0]->add_interfaces("eth", first, std::min(interfaces, first + kEntriesPerSet));
    }
  }

  // Median of one connection, microseconds.
  double set_leaf() {
    double median = 0;
    for (const std::size_t connections : kConnections) {
      const Timing timing = measure(connections, kSeconds, [&](std::size_t connection, int round) {
        const int number = (round * 37 + static_cast<int>(connection)) % interfaces_;
        clients_[connection]->set_leaf(number, round + static_cast<int>(connection) * 1000000);
      });
      if (connections == 1) median = timing.p50_us;
      show(sync_ == Sync::kDurable ? "Set of one leaf" : "Set of one leaf, no sync", connections,
           timing);
    }
    return median;
  }

  void set_entries() {
    const Timing timing = measure(1, kSeconds, [&](std::size_t, int round) {
      clients_[0]->set_entries("more", kManyEntries, round);
    });
    show("Set of 1,000 entries", 1, timing);
  }

  void get() {
    for (const std::size_t connections : kConnections) {
      show("Get of one leaf", connections,
           measure(connections, kSeconds, [&](std::size_t connection, int round) {
             clients_[connection]->get_leaf(round * 37 % interfaces_);
           }));
    }
    if (interfaces_ < kManyLeaves) return;
    for (const std::size_t connections : kConnections) {
      show("Get of 1,000 leaves", connections,
           measure(connections, kSeconds, [&](std::size_t connection, int) {
             clients_[connection]->get_leaves(kManyLeaves);
           }));
    }
  }

  void idle_streams() {
    const double before = mebibytes();
    const IdleStreams streams(server_.address(), kIdleStreams, kStreamsPerConnection);
    const double with = mebibytes();
    std::printf("%10d  %-26s %11s %10s   %.1f MiB for %d, %.1f KiB each\n", interfaces_,
                "idle streams", "", "", with - before, kIdleStreams,
                (with - before) * 1024 / kIdleStreams);
  }

  void memory() {
    std::printf("%10d  %-26s %11s %10s   %.1f MiB\n", interfaces_, "resident memory", "", "",
                mebibytes());
    std::fflush(stdout);
  }

 private:
  double mebibytes() const {
    return static_cast<double>(server_.resident_bytes()) / (1024.0 * 1024.0);
  }

  void show(const char* what, std::size_t connections, const Timing& timing) {
    std::printf("%10d  %-26s %11zu %10.0f %10.0f %10.0f\n", interfaces_, what, connections,
                timing.per_second, timing.p50_us, timing.p99_us);
    std::fflush(stdout);
  }

  int interfaces_;
  Sync sync_;
  ServerProcess server_;
  std::vector<std::unique_ptr<Client>> clients_;
};

// Whether the growth from the smallest store to the largest is within the limit.
bool judge(const char* what, std::map<int, double>& medians) {
  const double growth = medians[10000] / medians[10];
  const bool good = growth <= kMostGrowth;
  std::printf("%s, 10,000 interfaces to 10: %.2f times (at most %.0f): %s\n", what, growth,
              kMostGrowth, good ? "ok" : "TOO SLOW");
  return good;
}

}  // namespace

int main() {
  std::printf("%10s  %-26s %11s %10s %10s %10s\n", "interfaces", "", "connections", "per second",
              "p50 us", "p99 us");
  std::map<int, double> durable;
  std::map<int, double> without_sync;
  for (const int interfaces : kStores) {
    {
      Bench bench(interfaces, Sync::kDurable);
      durable[interfaces] = bench.set_leaf();
      bench.get();
      bench.idle_streams();
      bench.memory();
      bench.set_entries();
    }
    Bench bench(interfaces, Sync::kLeftOut);
    without_sync[interfaces] = bench.set_leaf();
  }
  std::printf("\n");
  const bool good = judge("Set of one leaf", durable);
  const bool also_good = judge("Set of one leaf, no sync", without_sync);
  return good && also_good ? 0 : 1;
}
