// The certificate's name is TLS's word, all else the client's; gRPC marks a peer as authenticated
// only when the handshake verified its certificate. gRPC gives the first common name only, so the
// others are counted in the subject's text.
#include "server/call_identity.h"

#include <grpc/grpc_security_constants.h>
#include <grpcpp/security/auth_context.h>

#include <memory>
#include <vector>

namespace nexa::server {
namespace {

constexpr char kUserKey[] = "username";
constexpr char kPasswordKey[] = "password";

// The value of a metadata key; empty when there is none or when they differ.
std::string only_value(const grpc::ServerContextBase& context, const char* key, bool& differ) {
  const auto [first, last] = context.client_metadata().equal_range(key);
  if (first == last) return {};
  for (auto other = std::next(first); other != last; ++other) {
    differ = differ || other->second != first->second;
  }
  if (differ) return {};
  return {first->second.data(), first->second.size()};
}

std::string first_value(const grpc::AuthContext& session, const char* property) {
  const std::vector<grpc::string_ref> values = session.FindPropertyValues(property);
  if (values.empty()) return {};
  return {values.front().data(), values.front().size()};
}

}  // namespace

access::Credentials CallIdentity::credentials() const {
  access::Credentials credentials;
  credentials.user = user;
  credentials.password = password;
  credentials.users_differ = users_differ;
  credentials.passwords_differ = passwords_differ;
  credentials.certificate = certificate;
  credentials.has_several_names = has_several_names;
  credentials.certificate_name = certificate_name;
  return credentials;
}

const std::string& CallIdentity::claimed_name() const {
  return user.empty() ? certificate_name : user;
}

CallIdentity identify(const grpc::ServerContextBase& context) {
  CallIdentity identity;
  identity.peer = context.peer();
  identity.user = only_value(context, kUserKey, identity.users_differ);
  identity.password = only_value(context, kPasswordKey, identity.passwords_differ);
  const std::shared_ptr<const grpc::AuthContext> session = context.auth_context();
  if (session == nullptr || !session->IsPeerAuthenticated()) return identity;
  identity.certificate = true;
  identity.certificate_name = first_value(*session, GRPC_X509_CN_PROPERTY_NAME);
  identity.has_several_names =
      count_common_names(first_value(*session, GRPC_X509_SUBJECT_PROPERTY_NAME)) > 1;
  return identity;
}

std::size_t count_common_names(std::string_view subject) {
  constexpr std::string_view kCommonName = "CN=";
  std::size_t count = 0;
  bool at_start = true;  // of an attribute
  for (std::size_t at = 0; at < subject.size(); ++at) {
    if (at_start && subject.substr(at).starts_with(kCommonName)) ++count;
    at_start = subject[at] == ',' || subject[at] == '+';
    if (subject[at] == '\\') ++at;  // whatever follows is part of the value
  }
  return count;
}

}  // namespace nexa::server
