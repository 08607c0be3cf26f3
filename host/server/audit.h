// The line that is kept of each Set, whatever came of it.
#ifndef HOST_SERVER_AUDIT_H_
#define HOST_SERVER_AUDIT_H_

#include <grpcpp/support/status.h>

#include <chrono>
#include <cstdint>
#include <string>

#include "gnmi.pb.h"

namespace nexa::host {

struct SetAudit {
  std::string user;
  std::string peer;
  grpc::Status verdict;
  std::uint64_t commit = 0;  // 0: none was made
  std::chrono::nanoseconds time{0};
};

// One line of name=value fields, texts quoted and without control characters; paths beyond the
// first few are counted only.
std::string audit_line(const SetAudit& audit, const gnmi::SetRequest& request);

}  // namespace nexa::host

#endif  // HOST_SERVER_AUDIT_H_
