// Stores of many interfaces: what they hold in memory, and what one leaf costs in them.
#include <algorithm>
#include <filesystem>

#include "bulk/measure.h"
#include "bulk/sections.h"
#include "bulk/sides.h"

namespace nexa_bench {
namespace {

constexpr std::size_t kInterfacesPerSet = 10'000;
constexpr std::size_t kLeaves[] = {10, 1'000, 10'000, 100'000};
constexpr std::size_t kQuickMost = 10'000;
constexpr int kSamples = 400;
constexpr std::size_t kFewInterfaces = 10;
constexpr double kLeafLimit = 1.5;
constexpr double kResidentLimit = 1.2;

std::vector<double> fill(const std::string& data, std::size_t interfaces) {
  StoreSide side(data, {false, 1000});
  for (std::size_t first = 0; first < interfaces; first += kInterfacesPerSet) {
    side.set(
        set_request(device_interfaces(first, std::min(interfaces, first + kInterfacesPerSet))));
  }
  return {1};
}

// What a store holds when it stands still, and what the process with it holds.
double held_by_store(const std::string& data) {
  StoreSide side(data);
  // A store that builds what its writer needs only then has it from here on.
  side.set(leaf_request(0, 1));
  return settled_bytes();
}

// What the store of many has more than one of few, so that programs, caches and tables of the
// schema do not count.
std::vector<double> resident_of_store(const std::string& few, const std::string& many,
                                      const BenchOptions& options, std::size_t interfaces) {
  const auto least = in_child(options.seconds, [&] { return std::vector{held_by_store(few)}; });
  const auto most = in_child(options.seconds, [&] { return std::vector{held_by_store(many)}; });
  if (least.empty() || most.empty()) return {};
  return {(most[0] - least[0]) / static_cast<double>(interfaces - kFewInterfaces)};
}

std::vector<double> resident_of_peer(std::size_t interfaces) {
  const std::string json = device_interfaces(0, interfaces);
  const double before = resident_bytes();
  const Tree tree = parse_and_validate(json);
  return {(resident_bytes() - before) / static_cast<double>(interfaces)};
}

// Processor microseconds of a one-leaf Set.
std::vector<double> leaf_of(const std::string& data, std::size_t interfaces, bool sync) {
  StoreSide side(data, {sync, 1'000'000});
  side.set(leaf_request(0, 1));
  settled_bytes();
  std::vector<double> walls;
  const double start = cpu_seconds();
  const std::size_t salt = sync ? kOtherValues : 0;
  for (std::size_t sample = 0; sample < kSamples; ++sample) {
    const std::string request = leaf_request(sample * 37 % interfaces, sample + salt);
    const double wall = wall_seconds();
    side.change(request);
    walls.push_back((wall_seconds() - wall) * 1e6);
  }
  const double cpu = (cpu_seconds() - start) * 1e6 / kSamples;
  return {cpu, median(walls)};
}

}  // namespace

bool fill_in_child(const BenchOptions& options, const std::string& data, std::size_t interfaces) {
  return !in_child(options.seconds, [&] { return fill(data, interfaces); }).empty();
}

std::string leaf_request(std::size_t interface, std::size_t value) {
  return set_request(
      std::to_string(2000 + value % 8000),
      "/bench-device:device/interface[name=port" + std::to_string(interface) + "]/mtu");
}

std::string device_interfaces(std::size_t first, std::size_t last) {
  std::string json = R"({"bench-device:device":{"interface":[)";
  for (std::size_t index = first; index < last; ++index) {
    const std::string number = std::to_string(index);
    const std::string small = std::to_string(index % 4000 + 1);
    json += (index == first ? R"({"name":"port)" : R"(,{"name":"port)") + number;
    json += R"(","description":"uplink number )" + number + R"( to the core","type":"ethernet")";
    json += R"(,"mtu":1500,"speed":100000,"address":"10.)" + std::to_string(index / 65536) + "." +
            std::to_string(index / 256 % 256) + "." + std::to_string(index % 256);
    json += R"(","prefix-length":24,"vlan":)" + small + R"(,"hold-up":)" + small;
    json += R"(,"hold-down":20,"cost":)" + small + R"(,"weight":"1.25","owner":"customer-)" + small;
    json += R"(","location":"rack )" + small + R"(","circuit":"c-)" + number + "\"";
    json += R"(,"enabled":false})";
  }
  return json + "]}}";
}

void measure_resident(const BenchOptions& options, Report& report) {
  load_models(NEXA_BENCH_MODELS);
  for (const std::size_t interfaces : {10'000UL, 100'000UL}) {
    if (options.quick && interfaces > kQuickMost) break;
    const Folder folder;
    const std::string few = folder.data("few");
    const std::string many = folder.data("many");
    std::vector<double> ours;
    if (fill_in_child(options, few, kFewInterfaces) && fill_in_child(options, many, interfaces)) {
      ours = resident_of_store(few, many, options, interfaces);
    }
    const auto peer = in_child(options.seconds, [&] { return resident_of_peer(interfaces); });
    const bool measured = ours.size() == 1 && peer.size() == 1;
    report.add(
        {"resident",
         "resident memory for each of " + std::to_string(interfaces) + " interfaces of 20 leaves",
         "bytes", measured ? ours[0] : 0, measured ? peer[0] : 0, kResidentLimit, measured});
  }
}

void measure_leaf(const BenchOptions& options, Report& report) {
  load_models(NEXA_BENCH_MODELS);
  std::vector<double> smallest[2];
  for (const std::size_t interfaces : kLeaves) {
    if (options.quick && interfaces > kQuickMost) break;
    const Folder folder;
    const bool filled = fill_in_child(options, folder.data(), interfaces);
    for (const bool sync : {false, true}) {
      std::vector<double> times;
      if (filled) {
        times = in_child(options.seconds, [&] { return leaf_of(folder.data(), interfaces, sync); });
      }
      const bool measured = times.size() == 2;
      std::vector<double>& base = smallest[sync ? 1 : 0];
      if (interfaces == kLeaves[0]) base = times;
      const bool judged = interfaces != kLeaves[0];
      const std::string what = "one leaf at " + std::to_string(interfaces) + " interfaces, " +
                               (sync ? std::string("sync on") : std::string("sync off"));
      report.add({"leaf", what + ", CPU", "us", measured ? times[0] : 0, base.empty() ? 0 : base[0],
                  judged ? kLeafLimit : 0, measured && !base.empty()});
      report.add({"leaf", what + ", wall", "us", measured ? times[1] : 0,
                  base.empty() ? 0 : base[1], 0, measured && !base.empty()});
    }
  }
}

}  // namespace nexa_bench
