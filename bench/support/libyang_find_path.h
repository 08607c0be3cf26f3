// libyang's look-up of a schema path, which resolution and digestion are measured against.
#ifndef BENCH_SUPPORT_LIBYANG_FIND_PATH_H_
#define BENCH_SUPPORT_LIBYANG_FIND_PATH_H_

#include <benchmark/benchmark.h>
#include <libyang/libyang.h>

#include "kestrel/loader.h"
#include "support/workload.h"

namespace nexa_bench {

inline void libyang_find_path(benchmark::State& state, const char* path) {
  if (openconfig_mapper() == nullptr) return state.SkipWithError("no OpenConfig modules");
  const lysc_node* node = nullptr;
  for (auto _ : state) {
    node = lys_find_path(kestrel::context(), nullptr, path, 0);
    benchmark::DoNotOptimize(node);
  }
  if (node == nullptr) state.SkipWithError("libyang does not know the path");
}

}  // namespace nexa_bench

#endif  // BENCH_SUPPORT_LIBYANG_FIND_PATH_H_
