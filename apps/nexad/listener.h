// Accepts connections and hands them to gRPC. gRPC's own accept loop never accepts again once the
// process ran out of descriptors, and knows no limit on connections.
#ifndef APPS_NEXAD_LISTENER_H_
#define APPS_NEXAD_LISTENER_H_

#include <poll.h>

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "connections.h"
#include "sockets.h"

namespace nexad {

struct ListenerCounts {
  std::uint64_t accepted = 0;     // handed to gRPC
  std::uint64_t over_limit = 0;   // closed at once: a limit on connections
  std::uint64_t no_resource = 0;  // closed at once, or kept waiting: no descriptor or no memory
};

class Listener {
 public:
  // Takes a connection's descriptor over for good.
  using Handler = std::function<void(int listening_socket, int connection)>;

  Listener(ListeningSockets sockets, std::shared_ptr<Connections> connections, Handler handler);
  ~Listener();
  Listener(const Listener&) = delete;
  Listener& operator=(const Listener&) = delete;

  // Accepts, and looks after the connections, on a thread of its own until stop(). False when no
  // thread or descriptor can be had.
  bool start();
  // New connections are refused by the machine afterwards.
  void stop();

  const Address& address() const { return sockets_.address; }

  // Any thread.
  ListenerCounts counts();

 private:
  using Clock = std::chrono::steady_clock;

  void run();
  void take_turn(const std::vector<pollfd>& watched);
  // False when nothing more can be accepted now.
  bool accept_one(int listening_socket);
  void refuse_for_want_of_resources(int listening_socket, int error);
  void note_refusals();

  ListeningSockets sockets_;
  const std::shared_ptr<Connections> connections_;
  const Handler handler_;
  Socket wake_;
  // Given up for a moment so that a connection can be accepted, and closed, when there is no other.
  Socket spare_;
  std::thread thread_;
  std::atomic<bool> stopping_{false};

  std::mutex mutex_;
  ListenerCounts counts_;
  Clock::time_point next_note_{};
  std::uint64_t noted_ = 0;
};

}  // namespace nexad

#endif  // APPS_NEXAD_LISTENER_H_
