// OpenSSL's objects with their owners, and what is read of PEM texts.
#ifndef APPS_NEXAD_TLS_HANDLES_H_
#define APPS_NEXAD_TLS_HANDLES_H_

#include <openssl/bio.h>
#include <openssl/evp.h>
#include <openssl/ssl.h>
#include <openssl/x509.h>

#include <memory>
#include <string>
#include <vector>

namespace nexad {

template <auto Free>
struct ReleaseHandle {
  template <typename Handle>
  void operator()(Handle* handle) const {
    Free(handle);
  }
};
using Bio = std::unique_ptr<BIO, ReleaseHandle<BIO_free>>;
using Certificate = std::unique_ptr<X509, ReleaseHandle<X509_free>>;
using Key = std::unique_ptr<EVP_PKEY, ReleaseHandle<EVP_PKEY_free>>;
using Context = std::unique_ptr<SSL_CTX, ReleaseHandle<SSL_CTX_free>>;

// OpenSSL's own words for its last error; clears its list.
std::string last_fault();

// All certificates of the text; false when something in it cannot be read, as in a file that is
// still being written.
bool read_certificates(const std::string& pem, std::vector<Certificate>& certificates);

std::string date_text(const ASN1_TIME* time);

}  // namespace nexad

#endif  // APPS_NEXAD_TLS_HANDLES_H_
