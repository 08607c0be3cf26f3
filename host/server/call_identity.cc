// The certificate's name is TLS's word, all else the client's; gRPC marks a peer as authenticated
// only when the handshake verified its certificate.
#include "server/call_identity.h"

#include <grpc/grpc_security_constants.h>
#include <grpcpp/security/auth_context.h>

#include <memory>
#include <vector>

namespace nexa::host {
namespace {

constexpr char kUserKey[] = "username";
constexpr char kPasswordKey[] = "password";

// The only value of a metadata key; empty when there is none or more than one.
std::string only_value(const grpc::ServerContextBase& context, const char* key, bool& given) {
  const auto [first, last] = context.client_metadata().equal_range(key);
  if (first == last) return {};
  given = true;
  if (std::next(first) != last) return {};
  return {first->second.data(), first->second.size()};
}

}  // namespace

access::Credentials CallIdentity::credentials() const {
  access::Credentials credentials;
  credentials.has_password = has_password;
  credentials.user = user;
  credentials.password = password;
  credentials.certificate = certificate;
  credentials.certificate_name = certificate_name;
  return credentials;
}

const std::string& CallIdentity::claimed_name() const {
  return has_password ? user : certificate_name;
}

CallIdentity identify(const grpc::ServerContextBase& context) {
  CallIdentity identity;
  identity.peer = context.peer();
  identity.user = only_value(context, kUserKey, identity.has_password);
  identity.password = only_value(context, kPasswordKey, identity.has_password);
  const std::shared_ptr<const grpc::AuthContext> session = context.auth_context();
  if (session == nullptr || !session->IsPeerAuthenticated()) return identity;
  identity.certificate = true;
  const std::vector<grpc::string_ref> names =
      session->FindPropertyValues(GRPC_X509_CN_PROPERTY_NAME);
  if (names.size() == 1) {
    identity.certificate_name.assign(names.front().data(), names.front().size());
  }
  return identity;
}

}  // namespace nexa::host
