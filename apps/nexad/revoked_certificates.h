// Which certificates of clients do their authorities no longer vouch for? Revocation lists (RFC
// 5280, section 5) as a file gives them.
#ifndef APPS_NEXAD_REVOKED_CERTIFICATES_H_
#define APPS_NEXAD_REVOKED_CERTIFICATES_H_

#include <memory>
#include <string>
#include <vector>

#include "text/result.h"

struct X509_crl_st;
struct x509_st;

namespace nexad {

// Any thread.
class RevokedCertificates {
 public:
  // `lists` and `authorities`: PEM. Fails when one cannot be read, is out of date or not of one of
  // the authorities.
  static nexa::text::Result<std::shared_ptr<const RevokedCertificates>> read(
      const std::string& lists, const std::string& authorities);

  // Whether a list of the certificate's issuer has its number.
  bool has(const x509_st& certificate) const;

 private:
  struct FreeList {
    void operator()(X509_crl_st* list) const;
  };
  using List = std::unique_ptr<X509_crl_st, FreeList>;

  std::vector<List> lists_;
};

}  // namespace nexad

#endif  // APPS_NEXAD_REVOKED_CERTIFICATES_H_
