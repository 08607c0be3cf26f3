// Who says to be calling? What a call's metadata and its TLS session tell, ready for access
// control.
#ifndef HOST_SERVER_CALL_IDENTITY_H_
#define HOST_SERVER_CALL_IDENTITY_H_

#include <grpcpp/server_context.h>

#include <cstddef>
#include <string>
#include <string_view>

#include "access/access.h"

namespace nexa::server {

struct CallIdentity {
  std::string user;
  std::string password;
  bool users_differ = false;
  bool passwords_differ = false;
  bool certificate = false;
  bool has_several_names = false;
  std::string certificate_name;
  std::string peer;  // as gRPC writes addresses: "ipv4:127.0.0.1:40000"

  // Views into this object.
  nexa::access::Credentials credentials() const;

  // Who the caller claims to be, for an audit line before or without a verdict.
  const std::string& claimed_name() const;
};

// Reads the metadata "username" and "password" and the verified client certificate. A name or a
// password that is given several times with one value counts once; with different values there is
// none, and the identity says that they differ. Any thread, while the call lives.
CallIdentity identify(const grpc::ServerContextBase& context);

// How many common names a certificate's subject has, written as in RFC 2253 ("CN=a+O=b,C=de").
std::size_t count_common_names(std::string_view subject);

}  // namespace nexa::server

#endif  // HOST_SERVER_CALL_IDENTITY_H_
