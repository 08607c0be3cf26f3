// Resolution of a nine-element path to its schema nodes, against libyang's look-up of the same
// path.
#include <benchmark/benchmark.h>

#include "nexa/kestrel_path.h"
#include "support/libyang_find_path.h"
#include "support/workload.h"

namespace {

constexpr const char* kElements[] = {"oc-if:interfaces", "interface",  "subinterfaces",
                                     "subinterface",     "oc-ip:ipv4", "addresses",
                                     "address",          "config",     "prefix-length"};
constexpr char kLibyangPath[] =
    "/openconfig-interfaces:interfaces/interface/subinterfaces/subinterface/openconfig-if-ip:ipv4/"
    "addresses/address/config/prefix-length";

gnmi::Path nine_elements() {
  gnmi::Path path;
  for (const char* name : kElements) path.add_elem()->set_name(name);
  (*path.mutable_elem(1)->mutable_key())["name"] = "eth0";
  (*path.mutable_elem(3)->mutable_key())["index"] = "0";
  (*path.mutable_elem(6)->mutable_key())["ip"] = "192.0.2.1";
  return path;
}

void BM_LibyangFindPath(benchmark::State& state) {
  nexa_bench::libyang_find_path(state, kLibyangPath);
}

void BM_KestrelPath(benchmark::State& state) {
  if (nexa_bench::openconfig_mapper() == nullptr)
    return state.SkipWithError("no OpenConfig modules");
  const gnmi::Path path = nine_elements();
  std::size_t resolved = 0;
  for (auto _ : state) {
    nexa::KestrelPath kestrel_path(path, std::string());
    kestrel_path.path2cs_nodes();
    resolved = kestrel_path.cs_nodes_.size();
  }
  if (resolved != 9) state.SkipWithError("the path was not resolved");
}

BENCHMARK(BM_LibyangFindPath);
BENCHMARK(BM_KestrelPath);

}  // namespace

BENCHMARK_MAIN();
