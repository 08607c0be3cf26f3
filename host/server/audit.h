// The lines that are kept of each Set that got past the login, whatever came of it, and of each
// login that failed.
#ifndef HOST_SERVER_AUDIT_H_
#define HOST_SERVER_AUDIT_H_

#include <grpcpp/support/status.h>

#include <chrono>
#include <cstdint>
#include <string>

#include "gnmi.pb.h"
#include "request/commit_action.h"
#include "server/call_identity.h"
#include "store/config_store.h"

namespace nexa::server {

struct SetAudit {
  std::string user;
  std::string peer;
  grpc::Status verdict;
  std::uint64_t commit = 0;      // 0: none was made
  request::CommitAction action;  // of the commit-confirmed extension
  std::chrono::nanoseconds time{0};
};

// One line of name=value fields, texts quoted and without control characters; paths beyond the
// first few are counted only.
std::string audit_line(const SetAudit& audit, const gnmi::SetRequest& request);

// The same of a commit that the server took back because nobody confirmed it.
std::string expiry_line(const store::PendingCommit& pending, const store::CommitResult& result);

// The same of a login that failed: the names that were claimed, and where from.
std::string login_line(const CallIdentity& identity, const char* method,
                       const grpc::Status& verdict);

}  // namespace nexa::server

#endif  // HOST_SERVER_AUDIT_H_
