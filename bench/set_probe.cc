// One Set of OpenConfig interfaces, from the bytes of its request to the commit, or libyang's
// parse, merge, validation and printing of the same, for an instruction counter around it:
//   set_probe store|libyang ENTRIES
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
  } else {
    nexa_bench::merge_and_print(*tree, *input);
  }
}

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fprintf(stderr, "usage: set_probe store|libyang ENTRIES\n");
    return 2;
  }
  const std::string folder = nexa_bench::openconfig_folder(NEXA_DEFAULT_OPENCONFIG);
  if (folder.empty()) return 77;
  nexa_bench::load_models(folder);
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
