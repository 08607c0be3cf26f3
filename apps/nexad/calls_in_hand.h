// Counts the calls that clients wait for, so that a server without any stops at once.
#ifndef APPS_NEXAD_CALLS_IN_HAND_H_
#define APPS_NEXAD_CALLS_IN_HAND_H_

#include <grpcpp/support/server_interceptor.h>

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <memory>
#include <mutex>

#include "connections.h"

namespace nexad {

// Any thread. A call is in hand from its arrival until its last byte was given to the connection,
// or the connection is gone. Those who watch the health service wait for nothing that will end, so
// they are counted apart.
class CallsInHand {
 public:
  // For the server's builder: tells both of each call. The server may outlive the caller's
  // share.
  static std::unique_ptr<grpc::experimental::ServerInterceptorFactoryInterface> counter(
      std::shared_ptr<CallsInHand> calls, std::shared_ptr<Connections> connections);

  // Returns when no call but health watches is in hand, or the time has come.
  void wait_for_none(std::chrono::system_clock::time_point until);

  std::size_t health_watches();

 private:
  class Call;
  class Counter;

  std::mutex mutex_;
  std::condition_variable none_;
  std::size_t calls_ = 0;
  std::size_t health_watches_ = 0;
};

}  // namespace nexad

#endif  // APPS_NEXAD_CALLS_IN_HAND_H_
