// What does a thread wait for? The kernel's own counters, and the time inside fdatasync().
#ifndef BENCH_BULK_WAITS_H_
#define BENCH_BULK_WAITS_H_

namespace nexa_bench {

// Milliseconds of the calling thread.
struct ThreadTimes {
  double wall = 0;
  double running = 0;  // on a processor
  double ready = 0;    // ready to run while every processor had something else to do
  double syncing = 0;  // in fdatasync(), whatever it did there

  ThreadTimes operator-(const ThreadTimes& before) const {
    return {wall - before.wall, running - before.running, ready - before.ready,
            syncing - before.syncing};
  }
  // What the program made it wait for, and the disk: all but the processors that others had.
  double own() const { return wall - ready; }
};

// Since some moment of the past; only differences mean something.
ThreadTimes thread_times();

}  // namespace nexa_bench

#endif  // BENCH_BULK_WAITS_H_
