// One Set of OpenConfig, from the bytes of its request to the commit, or libyang's work on the
// same, for an instruction counter around it:
//   set_probe store|libyang ENTRIES             interfaces, over a store that has a few; libyang
//                                               parses, merges, validates and prints
//   set_probe device-store|device-libyang BYTES a router's configuration, into an empty store;
//                                               libyang parses and validates
// A smaller one before it warms caches and lazy set-up; the counter sees the second.
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "bulk/sides.h"
#include "support/openconfig_payload.h"
#include "support/workload.h"

namespace {

constexpr char kInterfaces[] = "/openconfig-interfaces:interfaces";
constexpr int kWarm = 10;

std::string whole(int entries) {
  return R"({"openconfig-interfaces:interfaces":)" + nexa_bench::interfaces_payload(entries) + "}";
}

}  // namespace

extern "C" __attribute__((noinline, visibility("default"))) void measured_region(
    nexa_bench::StoreSide* store, nexa_bench::Tree* tree, const std::string* input) {
  if (store != nullptr) {
    store->set(*input);
  } else if (tree == nullptr) {
    nexa_bench::parse_and_validate(*input);
  } else {
    nexa_bench::merge_and_print(*tree, *input);
  }
}

namespace {

constexpr std::size_t kWarmBytes = 20'000;
constexpr std::uint32_t kSeed = 1;

int probe_device(bool of_store, std::size_t bytes) {
  const std::string warm = nexa_bench::openconfig_payload(kWarmBytes, kSeed);
  const std::string json = nexa_bench::openconfig_payload(bytes, kSeed);
  if (!of_store) {
    nexa_bench::parse_and_validate(warm);
    measured_region(nullptr, nullptr, &json);
    return 0;
  }
  const nexa_bench::Folder data;
  nexa_bench::StoreSide store(data.data(), {false, 1000});
  store.set(nexa_bench::set_request(warm));
  store.set(nexa_bench::set_request("{}", "/", nexa_bench::Kind::kReplace));
  const std::string request = nexa_bench::set_request(json);
  measured_region(&store, nullptr, &request);
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fprintf(stderr, "usage: set_probe [device-]store|[device-]libyang SIZE\n");
    return 2;
  }
  const std::string folder = nexa_bench::openconfig_folder();
  if (folder.empty()) {
    std::fputs(nexa_bench::kNoOpenConfig, stderr);
    return 77;
  }
  nexa_bench::load_models(folder);
  if (std::strncmp(argv[1], "device-", 7) == 0) {
    return probe_device(std::strcmp(argv[1], "device-store") == 0,
                        std::strtoull(argv[2], nullptr, 10));
  }
  const int entries = std::atoi(argv[2]);
  if (std::strcmp(argv[1], "libyang") == 0) {
    nexa_bench::Tree tree;
    nexa_bench::merge_and_print(tree, whole(kWarm));
    const std::string json = whole(entries);
    measured_region(nullptr, &tree, &json);
    return 0;
  }
  const nexa_bench::Folder data;
  nexa_bench::StoreSide store(data.data(), {false, 1000});
  store.set(nexa_bench::set_request(nexa_bench::interfaces_payload(kWarm), kInterfaces));
  const std::string request =
      nexa_bench::set_request(nexa_bench::interfaces_payload(entries), kInterfaces);
  measured_region(&store, nullptr, &request);
  return 0;
}
