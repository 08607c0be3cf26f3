// Who says to be calling? What a call's metadata and its TLS session tell, ready for access
// control.
#ifndef HOST_SERVER_CALL_IDENTITY_H_
#define HOST_SERVER_CALL_IDENTITY_H_

#include <grpcpp/server_context.h>

#include <string>

#include "access/access.h"

namespace nexa::host {

struct CallIdentity {
  bool has_password = false;
  std::string user;
  std::string password;
  bool certificate = false;
  std::string certificate_name;
  std::string peer;  // as gRPC writes addresses: "ipv4:127.0.0.1:40000"

  // Views into this object.
  nexa::access::Credentials credentials() const;

  // Who the caller claims to be, for an audit line before or without a verdict.
  const std::string& claimed_name() const;
};

// Reads the metadata "username" and "password" and the verified client certificate. A name or a
// password that is given more than once counts as a wrong one. Any thread, while the call lives.
CallIdentity identify(const grpc::ServerContextBase& context);

}  // namespace nexa::host

#endif  // HOST_SERVER_CALL_IDENTITY_H_
