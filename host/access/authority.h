// A certificate authority for a first server: its own certificate, and those that it issues. It
// keeps nothing; who asks for the texts stores them.
#ifndef HOST_ACCESS_AUTHORITY_H_
#define HOST_ACCESS_AUTHORITY_H_

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace nexa::access {

// Both as PEM.
struct CertifiedKey {
  std::string certificate;
  std::string key;
};

// Keys are of the curve P-256, serial numbers 127 random bits (RFC 5280, section 4.1.2.2). One
// thread.
class Authority {
 public:
  // Valid from an hour ago, for clocks that are late, and for `days`. Throws std::runtime_error
  // where the machine has no random numbers or no memory.
  Authority(const std::string& common_name, int days);
  ~Authority();
  Authority(const Authority&) = delete;
  Authority& operator=(const Authority&) = delete;

  CertifiedKey own() const;

  // For a server that is reached under `names`: host names and IP addresses. Not valid longer than
  // the authority. Throws as the constructor does, and where a name cannot stand in a certificate.
  CertifiedKey issue_for_server(const std::string& common_name,
                                const std::vector<std::string>& names) const;

 private:
  struct State;
  std::unique_ptr<State> state_;
};

// Random letters and digits, none of them easily taken for another.
std::string random_password(std::size_t size);

}  // namespace nexa::access

#endif  // HOST_ACCESS_AUTHORITY_H_
