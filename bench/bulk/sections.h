// The measurements by name; each adds its figures to the report and keeps to processes of its own.
#ifndef BENCH_BULK_SECTIONS_H_
#define BENCH_BULK_SECTIONS_H_

#include <cstddef>
#include <string>
#include <vector>

#include "bulk/report.h"

namespace nexa_bench {

struct BenchOptions {
  bool quick = false;          // smaller sizes, so that a run takes some minutes
  std::size_t most_bytes = 0;  // of a payload; 0: as the section says
  unsigned seconds = 600;      // for one measurement
  std::string openconfig;      // folder of the OpenConfig modules
  std::string program;         // this program, for what it starts itself
};

// Sizes of payloads up to what the options allow.
std::vector<std::size_t> payload_sizes(const BenchOptions& options);

std::string size_text(std::size_t bytes);

void measure_large_sets(const BenchOptions& options, Report& report);   // large
void measure_peak_memory(const BenchOptions& options, Report& report);  // memory
void measure_crossing(const BenchOptions& options, Report& report);     // crossing
void measure_start(const BenchOptions& options, Report& report);        // start
void measure_entries(const BenchOptions& options, Report& report);      // entries
void measure_ordered(const BenchOptions& options, Report& report);      // ordered
void measure_resident(const BenchOptions& options, Report& report);     // resident
void measure_leaf(const BenchOptions& options, Report& report);         // leaf
void measure_stall(const BenchOptions& options, Report& report);        // stall

// The peer of a process's start: a program that loads all modules of the folder with libyang alone
// and parses the file. The exit status of the process.
int run_libyang_program(const std::string& folder, const std::string& file);

// The value of the list `interface` of bench-device with the entries first..last-1, each of 20
// leaves with its defaults, as one document.
std::string device_interfaces(std::size_t first, std::size_t last);

// Makes a store of so many interfaces in the folder `data`, in a child. False when it fails.
bool fill_in_child(const BenchOptions& options, const std::string& data, std::size_t interfaces);

// A Set of one leaf of the interface. No interface is made with such a value, so it changes
// something.
std::string leaf_request(std::size_t interface, std::size_t value);

// Added to the values of the second run over one store: a Set of what is there already is none.
constexpr std::size_t kOtherValues = 4001;

}  // namespace nexa_bench

#endif  // BENCH_BULK_SECTIONS_H_
