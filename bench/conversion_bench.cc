// Value text to serialised XML: the floor, libyang and the library on the same payload, in one run.
// The counter `per_leaf` is what the ratios are made of (scripts/bench).
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <malloc.h>
#include <unistd.h>

#include <fstream>
#include <string>

#include "support/workload.h"

namespace {

using nexa_bench::kLeavesPerEntry;

void report(benchmark::State& state, std::size_t bytes) {
  if (bytes == 0) state.SkipWithError("the conversion failed");
  const double leaves = static_cast<double>(state.range(0)) * kLeavesPerEntry;
  state.counters["per_leaf"] = benchmark::Counter(
      leaves, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

void BM_Floor(benchmark::State& state) {
  const std::string json = nexa_bench::interfaces_payload(static_cast<int>(state.range(0)));
  std::size_t bytes = 0;
  for (auto _ : state) bytes = nexa_bench::convert_floor(json);
  report(state, bytes);
}

void BM_Libyang(benchmark::State& state) {
  if (nexa_bench::openconfig_mapper() == nullptr)
    return state.SkipWithError("no OpenConfig modules");
  const std::string json = nexa_bench::interfaces_payload(static_cast<int>(state.range(0)));
  std::size_t bytes = 0;
  for (auto _ : state) bytes = nexa_bench::convert_libyang(json);
  report(state, bytes);
}

void BM_Nexa(benchmark::State& state) {
  auto* mapper = nexa_bench::openconfig_mapper();
  if (mapper == nullptr) return state.SkipWithError("no OpenConfig modules");
  const std::string json = nexa_bench::interfaces_payload(static_cast<int>(state.range(0)));
  const gnmi::Path path = nexa_bench::interfaces_path();
  auto token = mapper->newToken();
  std::size_t bytes = 0;
  for (auto _ : state) bytes = nexa_bench::convert_nexa(json, path, token, mapper);
  report(state, bytes);
}

BENCHMARK(BM_Floor)->RangeMultiplier(10)->Range(10, 10000)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_Libyang)->RangeMultiplier(10)->Range(10, 10000)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_Nexa)->RangeMultiplier(10)->Range(10, 10000)->Unit(benchmark::kMicrosecond);

}  // namespace

int main(int argc, char** argv) {
  // With glibc's fast bins on, a process that frees a large tree again and again measures the
  // allocator's consolidation instead of the conversion.
  mallopt(M_MXFAST, 0);
  // The library writes a line to standard output for each boolean; the figures go past it.
  const bool terminal = isatty(STDOUT_FILENO) != 0;
  std::ofstream figures("/dev/fd/" + std::to_string(dup(STDOUT_FILENO)));
  const int nowhere = open("/dev/null", O_WRONLY);
  if (!figures || nowhere < 0 || dup2(nowhere, STDOUT_FILENO) < 0) return 1;
  benchmark::Initialize(&argc, argv);
  benchmark::ConsoleReporter reporter(terminal ? benchmark::ConsoleReporter::OO_ColorTabular
                                               : benchmark::ConsoleReporter::OO_Tabular);
  reporter.SetOutputStream(&figures);
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();
  return 0;
}
