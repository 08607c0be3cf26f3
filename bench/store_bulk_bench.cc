// What the store costs beside libyang, with large configurations of a router:
//   store_bulk_bench [--quick] [--json] [--max-bytes N] [--seconds N] [--models DIR] [SECTION...]
// Each figure stands beside its peer's of the same run, with the limit of their ratio. The exit
// status is 1 when a ratio is above its limit, 77 when the OpenConfig modules are absent.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "bulk/report.h"
#include "bulk/sections.h"
#include "support/openconfig_payload.h"

namespace {

using nexa_bench::BenchOptions;
using nexa_bench::Report;

struct Section {
  const char* name;
  const char* what;
  void (*measure)(const BenchOptions&, Report&);
};

constexpr Section kSections[] = {
    {"large", "CPU of Sets of 100 kB to 50 MB", nexa_bench::measure_large_sets},
    {"memory", "their peak memory", nexa_bench::measure_peak_memory},
    {"start", "the start over such a store", nexa_bench::measure_start},
    {"entries", "Sets of 10 to 10,000 entries", nexa_bench::measure_entries},
    {"ordered", "one entry more in an ordered list", nexa_bench::measure_ordered},
    {"resident", "memory for each interface", nexa_bench::measure_resident},
    {"leaf", "one leaf at 10 to 100,000 interfaces", nexa_bench::measure_leaf},
    {"stall", "Sets beside snapshots and Gets", nexa_bench::measure_stall},
    {"crossing", "Sets that change a share of the store", nexa_bench::measure_crossing},
};

struct Arguments {
  BenchOptions options;
  std::vector<std::string_view> sections;
  bool json = false;
};

[[noreturn]] void usage() {
  std::fprintf(stderr,
               "usage: store_bulk_bench [--quick] [--json] [--max-bytes N] [--seconds N]\n"
               "                        [--models DIR] [SECTION...]\n");
  for (const Section& section : kSections) {
    std::fprintf(stderr, "  %-9s %s\n", section.name, section.what);
  }
  std::exit(2);
}

bool is_section(std::string_view name) {
  for (const Section& section : kSections) {
    if (name == section.name) return true;
  }
  return false;
}

Arguments read_arguments(int argc, char** argv) {
  Arguments given;
  const auto value = [&](int& index) -> const char* {
    if (++index == argc) usage();
    return argv[index];
  };
  std::string models;
  bool named = false;
  for (int index = 1; index < argc; ++index) {
    const std::string_view word = argv[index];
    if (word == "--quick") {
      given.options.quick = true;
    } else if (word == "--json") {
      given.json = true;
    } else if (word == "--max-bytes") {
      given.options.most_bytes = std::strtoull(value(index), nullptr, 10);
    } else if (word == "--seconds") {
      given.options.seconds = static_cast<unsigned>(std::strtoul(value(index), nullptr, 10));
    } else if (word == "--models") {
      models = value(index);
      named = true;
    } else if (is_section(word)) {
      given.sections.push_back(word);
    } else {
      usage();
    }
  }
  given.options.openconfig = named ? models : nexa_bench::openconfig_folder();
  given.options.program = std::filesystem::read_symlink("/proc/self/exe").string();
  return given;
}

bool wants(const Arguments& given, std::string_view name) {
  if (given.sections.empty()) return true;
  for (const std::string_view section : given.sections) {
    if (section == name) return true;
  }
  return false;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 4 && std::strcmp(argv[1], "--libyang-program") == 0) {
    return nexa_bench::run_libyang_program(argv[2], argv[3]);
  }
  const Arguments given = read_arguments(argc, argv);
  if (given.options.openconfig.empty()) {
    std::fputs(nexa_bench::kNoOpenConfig, stderr);
    return 77;
  }
  Report report(given.json);
  for (const Section& section : kSections) {
    if (wants(given, section.name)) section.measure(given.options, report);
  }
  return report.finish() ? 0 : 1;
}
