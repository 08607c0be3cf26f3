// The native gNMI client of the benchmark: requests over a store of interfaces, and how long they
// take. Ends the process with a message when a request fails: a rate of refusals is no rate.
#ifndef BENCH_NEXAD_CLIENT_H_
#define BENCH_NEXAD_CLIENT_H_

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "gnmi.grpc.pb.h"

namespace nexa_bench {

// A connection of its own.
class Client {
 public:
  explicit Client(const std::string& address);

  // Adds the interfaces first..last-1 in one transaction.
  void add_interfaces(const std::string& stem, int first, int last);
  // One transaction that gives `count` entries named after `stem` another description.
  void set_entries(const std::string& stem, int count, int round);
  void set_leaf(int interface, int value);
  void get_leaf(int interface);
  // `count` leaves by as many paths.
  void get_leaves(int count);

  gnmi::gNMI::Stub& stub() { return *stub_; }

 private:
  void set(const gnmi::SetRequest& request);
  void get(const gnmi::GetRequest& request, int expected);

  std::unique_ptr<gnmi::gNMI::Stub> stub_;
};

// Streams that were opened, answered with one round, and are silent since.
class IdleStreams {
 public:
  // Of the description of one interface.
  enum class Kind : unsigned char { kSampleSeldom, kOnChange };
  IdleStreams(const std::string& address, int streams, int per_connection,
              Kind kind = Kind::kSampleSeldom);
  ~IdleStreams();
  IdleStreams(const IdleStreams&) = delete;
  IdleStreams& operator=(const IdleStreams&) = delete;

  // Waits for the next message of each stream.
  void read_each();

 private:
  struct Stream;
  std::vector<std::unique_ptr<Client>> clients_;
  std::vector<std::unique_ptr<Stream>> streams_;
};

struct Timing {
  double per_second = 0;
  double p50_us = 0;
  double p99_us = 0;
};

// Runs `work(connection, round)` on each of `connections` threads, one after the other on each, for
// about `seconds`, and at least three times.
Timing measure(std::size_t connections, double seconds,
               const std::function<void(std::size_t connection, int round)>& work);

}  // namespace nexa_bench

#endif  // BENCH_NEXAD_CLIENT_H_
