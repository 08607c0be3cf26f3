// How the process uses memory: what the C library keeps, how large the stacks of threads are, and
// what the start leaves behind.
#ifndef APPS_NEXAD_PROCESS_MEMORY_H_
#define APPS_NEXAD_PROCESS_MEMORY_H_

#include <cstddef>

namespace nexad {

// Of every thread but the first, gRPC's included, whatever `ulimit -s` says: on 32 bits the usual 8
// MiB of twenty threads are a good part of the addresses that there are.
inline constexpr std::size_t kThreadStackBytes = 2U << 20U;

// Before the first thread is started.
void set_memory_habits();

// Once the server serves: gives back what only the start needed. Code of the libraries that is
// asked for again comes back by itself. What was given back costs no more than that; other threads
// may run.
void give_back_start_memory();

}  // namespace nexad

#endif  // APPS_NEXAD_PROCESS_MEMORY_H_
