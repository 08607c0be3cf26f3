// Certificate, private key and client authorities as files give them, judged before anything is
// served with them.
#ifndef APPS_NEXAD_TLS_MATERIAL_H_
#define APPS_NEXAD_TLS_MATERIAL_H_

#include <memory>
#include <string>

#include "revoked_certificates.h"

namespace nexad {

struct TlsFiles {
  std::string certificate;  // the server's own first, then those that lead to its root
  std::string key;
  std::string authorities;  // empty: clients are not asked for certificates
  std::string revoked{};    // lists of the authorities; empty: none
};

// PEM.
struct TlsMaterial {
  std::string certificate;
  std::string key;
  std::string authorities;
  std::string revoked_text;
  std::shared_ptr<const RevokedCertificates> revoked;  // the same, read; null: none
  std::string expires;                                 // the server's certificate, for the log

  bool operator==(const TlsMaterial& other) const {
    return certificate == other.certificate && key == other.key &&
           authorities == other.authorities && revoked_text == other.revoked_text;
  }
};

// Reads the files as they stand. Fails, naming the file, when one cannot be read, is empty or too
// large.
nexa::text::Result<TlsMaterial> read_tls_files(const TlsFiles& files);

// Whether TLS can be served with it: every certificate can be read, the key is not encrypted and
// belongs to the certificate, which is valid today. Fills `expires` and `revoked`. A failure names
// the file.
nexa::text::Done check_tls(const TlsFiles& files, TlsMaterial& material);

}  // namespace nexad

#endif  // APPS_NEXAD_TLS_MATERIAL_H_
