// What a measurement of the store costs: processor time, memory, and children that keep one
// measurement's heap and threads out of the next one.
#ifndef BENCH_BULK_MEASURE_H_
#define BENCH_BULK_MEASURE_H_

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace nexa_bench {

// Processor seconds of this process, all threads, and of the children that it waited for.
double cpu_seconds();

double wall_seconds();

// Resident memory in bytes, freed heap given back first.
double resident_bytes();

// The same once the other threads of the process have ended what they were at, such as the rest of
// a store's start or a snapshot.
double settled_bytes();

// The most memory that `work` held beyond what was resident before it, in bytes.
double peak_bytes(const std::function<void()>& work);

// The middle value; 0 for none.
double median(std::vector<double> values);

// The value that `share` (0 to 1) of the values do not exceed; 0 for none.
double quantile(std::vector<double> values, double share);

// Processor seconds of `work`, the median of `runs` runs.
double cpu_of(int runs, const std::function<void()>& work);

// Runs `work` in a child of its own and returns its numbers; none when the child ends badly or
// takes longer than `seconds`.
std::vector<double> in_child(unsigned seconds, const std::function<std::vector<double>()>& work);

// Ends the child with a message: nothing is measured on what does not work.
[[noreturn]] void give_up(const std::string& reason);

}  // namespace nexa_bench

#endif  // BENCH_BULK_MEASURE_H_
