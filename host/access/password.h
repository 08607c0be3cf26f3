// Passwords against their hashes, and which of them were right before.
#ifndef HOST_ACCESS_PASSWORD_H_
#define HOST_ACCESS_PASSWORD_H_

#include <array>
#include <optional>
#include <string>
#include <string_view>

namespace nexa::access {

using Digest = std::array<unsigned char, 32>;

// crypt(3) of the password with the hash's own method, cost and salt, compared in constant time.
// False for passwords that crypt(3) cannot take whole (a NUL in them, more than 511 bytes). As slow
// as the method means it to be; at most two run at a time, others wait. Any thread.
bool password_fits(std::string_view password, const std::string& hash);

// Constant-time comparison.
bool equal(const Digest& a, const Digest& b);

// Digests under a key that is made anew in each process, so that what is remembered of a password
// is of no use to anybody who reads it.
class KeyedDigest {
 public:
  // Throws std::runtime_error when the system gives no random bytes.
  KeyedDigest();

  // Of the two texts, each with its length; nullopt when the digest cannot be made. Any thread.
  std::optional<Digest> of(std::string_view first, std::string_view second) const;

 private:
  Digest key_{};
};

}  // namespace nexa::access

#endif  // HOST_ACCESS_PASSWORD_H_
