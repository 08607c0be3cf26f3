// Who calls, and what may they do? Users come from a file of hashed passwords or from client
// certificates.
#ifndef HOST_ACCESS_ACCESS_H_
#define HOST_ACCESS_ACCESS_H_

#include <grpcpp/support/status.h>

#include <memory>
#include <string>
#include <string_view>

#include "text/result.h"

namespace nexa::access {

enum class Role : unsigned char { kReadOnly, kReadWrite };

// The facts of one call that access is decided on. User and password are the client's word and
// empty when there is none; what concerns the certificate TLS has verified.
struct Credentials {
  std::string_view user;           // metadata "username"
  std::string_view password;       // metadata "password"
  bool users_differ = false;       // "username" is given with more than one value
  bool passwords_differ = false;   // "password" is
  bool certificate = false;        // whether there is a client certificate
  bool has_several_names = false;  // it has more than one common name
  std::string_view certificate_name;
};

// What of the credentials says who the caller is.
enum class Proof : unsigned char { kNone, kPassword, kCertificate };

// The certificate stands for the caller when there is no password, and no user name or the
// certificate's own. An empty user name or password is the same as none. Any thread.
Proof proof_of(const Credentials& credentials);

struct Caller {
  std::string name;  // for the audit and the history; "anonymous" where nobody is asked for
  Role role = Role::kReadOnly;
};

// Any thread, several at a time.
class AccessControl {
 public:
  virtual ~AccessControl() = default;

  // OK with `caller` set, or UNAUTHENTICATED. One text stands for every cause that depends on which
  // users there are, so that a stranger learns nothing of that; credentials that contradict
  // themselves are refused in words of their own.
  virtual grpc::Status authenticate(const Credentials& credentials, Caller& caller) = 0;

  // Whether the credentials are known to be right, with `caller` set then; it costs next to
  // nothing. Otherwise authenticate() decides, which may take long.
  virtual bool remembers(const Credentials& credentials, Caller& caller) = 0;

  // Reads the users again; on failure the users in place stay.
  virtual text::Done reload() = 0;
};

// `users_file`: lines "name:role:hash", role "read-only" or "read-write", hash as crypt(5) writes
// it or "*" for a user of certificates only; "#" begins a comment. Empty: nobody is asked for a
// password, and every caller that the transport lets through may read and write.
// Fails as read_users() does when it cannot be used.
text::Result<std::unique_ptr<AccessControl>> make_access_control(const std::string& users_file);

// A line's hash for this password (yescrypt, fresh salt).
std::string hash_password(std::string_view password);

}  // namespace nexa::access

#endif  // HOST_ACCESS_ACCESS_H_
