// Which of several replicas of a client may Set? The one with the highest election ID of its role
// (gNMI master arbitration). Kept in memory: after a restart the first to call is master.
#ifndef HOST_SERVER_ARBITRATION_H_
#define HOST_SERVER_ARBITRATION_H_

#include <grpcpp/support/status.h>

#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <utility>

#include "gnmi.pb.h"

namespace nexa::server {

class Arbitration {
 public:
  // OK for a request without the extension, and for one whose election ID is not lower than any
  // seen for its role, which is then remembered. PERMISSION_DENIED names the highest one.
  // INVALID_ARGUMENT without an election ID. Any thread.
  grpc::Status admit(const gnmi::SetRequest& request);

 private:
  using ElectionId = std::pair<std::uint64_t, std::uint64_t>;  // high, low

  std::mutex mutex_;
  std::map<std::string, ElectionId> highest_;
};

}  // namespace nexa::server

#endif  // HOST_SERVER_ARBITRATION_H_
