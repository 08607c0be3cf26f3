// Which connections are there, who may have how many, and which has to go? What gRPC does not
// bound: how many come from one address, how long one is there for nothing, what one sends that is
// no call.
#ifndef APPS_NEXAD_CONNECTIONS_H_
#define APPS_NEXAD_CONNECTIONS_H_

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <string>
#include <string_view>
#include <unordered_map>

#include "server/gnmi_service.h"

namespace nexad {

struct ConnectionLimits {
  std::size_t of_all = 1000;
  std::size_t of_one_peer = 500;
  // Life of a connection without a call whose caller nobody knows; 0: as long as gRPC lets it.
  std::chrono::milliseconds unused{30000};
  // What a connection may have sent beyond the messages that were taken of it.
  std::uint64_t stray_bytes = 1U << 20U;
  // The same of all connections together whose callers nobody knows.
  std::uint64_t stray_bytes_of_all = 32U << 20U;
  // What each call in hand of a known caller may have sent on top.
  std::uint64_t message_bytes = 16U << 20U;
};

// A connection is *known* once a login on it was right: the message of that call has yet to come
// then, and may be large. It is
// *idle* while it has no call in hand. Any thread.
class Connections final : public nexa::server::ConnectionObserver {
 public:
  using Clock = std::chrono::steady_clock;

  explicit Connections(const ConnectionLimits& limits) : limits_(limits) {}

  struct Counts {
    std::size_t open = 0;        // that gRPC holds now
    std::uint64_t gave_way = 0;  // idle ones, closed for others
    std::uint64_t unused = 0;    // closed: nobody used them
    std::uint64_t flooding = 0;  // closed: they sent too much that is no message
  };
  Counts counts();

  // Takes note of a connection that is about to be gRPC's; false when there is no room for it.
  // Where a limit is reached, another one gives way: the oldest idle one of an unknown caller, else
  // the oldest idle one, else the oldest of an unknown caller.
  bool add(int connection);

  // `peer` as gRPC writes it, here and below.
  void call_began(std::string_view peer);
  void call_ended(std::string_view peer);
  void login_succeeded(const std::string& peer) override;
  void message_received(const std::string& peer, std::size_t bytes) override;

  // Ends the connections that are beyond a limit.
  void look();
  // The same for one connection, whose bytes gRPC is about to read. Another descriptor is left
  // alone.
  void before_read(int descriptor);
  // When to look again; Clock::time_point::max() while there is no connection.
  Clock::time_point next_look();

 private:
  struct Connection {
    std::uint64_t inode = 0;  // of the descriptor: one that has another is another connection
    std::string key;
    std::string network;
    bool is_known = false;
    bool is_going = false;  // it was shut down; gRPC has yet to close it
    std::size_t calls = 0;
    std::uint64_t strange_calls = 0;  // of an unknown caller: what they count, in bytes
    std::uint64_t received = 0;       // by the machine, when it was last asked
    std::uint64_t taken = 0;          // of that, what is accounted for
    Clock::time_point idle_since;
    Clock::time_point looked;
  };
  using Table = std::unordered_map<int, Connection>;

  // With the mutex held.
  Connection* find(std::string_view peer);
  void forget_closed();
  Table::iterator forget(Table::iterator at);
  bool make_room(const std::string* network);
  std::size_t count_of(const std::string& network) const;
  void shut(int descriptor, Connection& connection);
  void end_flood(int descriptor, Connection& connection);
  void note_going(Connection& connection);
  void measure(int descriptor, Connection& connection, Clock::time_point now);
  static std::uint64_t stray_bytes(const Connection& connection);
  std::uint64_t allowance(const Connection& connection) const;
  std::uint64_t shut_the_worst();
  void look_at_all(Clock::time_point now);

  const ConnectionLimits limits_;
  std::mutex mutex_;
  Table table_;
  std::unordered_map<std::string, int> by_key_;
  std::unordered_map<std::string, std::size_t> of_network_;  // without those that are going
  std::size_t going_ = 0;
  // Of connections whose callers nobody knows: what they had sent beyond their messages when all
  // were looked at, and what came since then.
  std::uint64_t unknown_bytes_ = 0;
  Counts counts_;
  Clock::time_point next_sweep_{};
  Clock::time_point next_look_ = Clock::time_point::max();
};

}  // namespace nexad

#endif  // APPS_NEXAD_CONNECTIONS_H_
