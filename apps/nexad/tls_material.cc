// OpenSSL judges the material with the calls that gRPC makes of it later, on a context that is
// thrown away.
#include "tls_material.h"

#include <fcntl.h>
#include <openssl/bio.h>
#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/ssl.h>
#include <openssl/x509.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <memory>
#include <vector>

#include "text/descriptor.h"
#include "tls_handles.h"

namespace nexad {

using nexa::text::Done;
using nexa::text::Failure;
using nexa::text::failure_at;
using nexa::text::Result;
using nexa::text::unusable;

namespace {

constexpr std::size_t kMostBytes = 1U << 20U;

Failure cannot_be_read(const std::string& path, const std::string& why) {
  return unusable(path, "cannot be read: " + why);
}

// Never waits: a FIFO is no certificate.
Done read_file(const std::string& path, std::string& text) {
  const nexa::text::Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  if (!file.is_open()) return cannot_be_read(path, strerror(errno));
  struct stat status {};
  if (fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode)) {
    return cannot_be_read(path, "it is not a file");
  }
  std::array<char, 65536> buffer{};
  ssize_t count = 0;
  while (text.size() <= kMostBytes &&
         (count = read(file.get(), buffer.data(), buffer.size())) > 0) {
    text.append(buffer.data(), static_cast<std::size_t>(count));
  }
  const int fault = errno;
  if (text.find('\0') != std::string::npos) return unusable(path, "it is not PEM");
  if (text.size() > kMostBytes) return unusable(path, "it is too large for certificates");
  if (count < 0) return cannot_be_read(path, strerror(fault));
  if (text.empty()) return unusable(path, "it is empty");
  return {};
}

int no_passphrase(char*, int, int, void* asked) {
  *static_cast<bool*>(asked) = true;
  return -1;
}

Done check_dates(const std::string& file, const X509* certificate) {
  const ASN1_TIME* first = X509_get0_notBefore(certificate);
  const ASN1_TIME* last = X509_get0_notAfter(certificate);
  if (X509_cmp_current_time(first) > 0) {
    return unusable(file, "it is not valid before " + date_text(first));
  }
  if (X509_cmp_current_time(last) < 0) return unusable(file, "it expired on " + date_text(last));
  return {};
}

// Puts certificate and key into a server's context, where OpenSSL also refuses what is too weak.
Done check_pair(const TlsFiles& files, const TlsMaterial& material,
                const std::vector<Certificate>& chain) {
  const Context context(SSL_CTX_new(TLS_server_method()));
  if (context == nullptr) return unusable(files.certificate, last_fault());
  if (SSL_CTX_use_certificate(context.get(), chain.front().get()) != 1) {
    return unusable(files.certificate, last_fault());
  }
  bool asked = false;
  const Bio bio(BIO_new_mem_buf(material.key.data(), static_cast<int>(material.key.size())));
  const Key key(PEM_read_bio_PrivateKey(bio.get(), nullptr, no_passphrase, &asked));
  if (asked) return unusable(files.key, "it is encrypted; nobody is there to type its password");
  if (key == nullptr) return unusable(files.key, "there is no private key in it");
  if (X509_check_private_key(chain.front().get(), key.get()) != 1) {
    ERR_clear_error();
    return unusable(files.key, "it is not the key of the certificate in " + files.certificate);
  }
  if (SSL_CTX_use_PrivateKey(context.get(), key.get()) != 1) {
    return unusable(files.key, last_fault());
  }
  return {};
}

// Authorities out of date do no harm beside one that is not.
Done check_authorities(const TlsFiles& files, const TlsMaterial& material) {
  if (files.authorities.empty()) return {};
  std::vector<Certificate> authorities;
  if (!read_certificates(material.authorities, authorities)) {
    return unusable(files.authorities, last_fault());
  }
  if (authorities.empty()) return unusable(files.authorities, "there is no certificate in it");
  Done last;
  for (const Certificate& authority : authorities) {
    last = check_dates(files.authorities, authority.get());
    if (last.ok()) break;
  }
  return last;
}

// They are of the authorities, so these are known to be good.
Done read_revocations(const TlsFiles& files, TlsMaterial& material) {
  if (files.revoked.empty()) return {};
  auto read = RevokedCertificates::read(material.revoked_text, material.authorities);
  if (!read.ok()) return failure_at(files.revoked, std::move(read).failure());
  material.revoked = std::move(read).value();
  return {};
}

}  // namespace

std::string last_fault() {
  const unsigned long code = ERR_peek_last_error();
  ERR_clear_error();
  const char* reason = code == 0 ? nullptr : ERR_reason_error_string(code);
  return reason == nullptr ? "it cannot be used" : reason;
}

bool read_certificates(const std::string& pem, std::vector<Certificate>& certificates) {
  const Bio bio(BIO_new_mem_buf(pem.data(), static_cast<int>(pem.size())));
  ERR_clear_error();
  while (auto* next = PEM_read_bio_X509(bio.get(), nullptr, nullptr, nullptr)) {
    certificates.emplace_back(next);
  }
  const bool at_end = ERR_GET_REASON(ERR_peek_last_error()) == PEM_R_NO_START_LINE;
  if (at_end) ERR_clear_error();
  return at_end;
}

std::string date_text(const ASN1_TIME* time) {
  const Bio bio(BIO_new(BIO_s_mem()));
  if (bio == nullptr || ASN1_TIME_print(bio.get(), time) != 1) return "an unknown date";
  char* data = nullptr;
  const long size = BIO_get_mem_data(bio.get(), &data);
  return {data, static_cast<std::size_t>(size)};
}

Result<TlsMaterial> read_tls_files(const TlsFiles& files) {
  TlsMaterial material;
  Done done = read_file(files.certificate, material.certificate);
  if (done.ok()) done = read_file(files.key, material.key);
  if (done.ok() && !files.authorities.empty()) {
    done = read_file(files.authorities, material.authorities);
  }
  if (done.ok() && !files.revoked.empty()) done = read_file(files.revoked, material.revoked_text);
  if (!done.ok()) return std::move(done).failure();
  return material;
}

Done check_tls(const TlsFiles& files, TlsMaterial& material) {
  std::vector<Certificate> chain;
  if (!read_certificates(material.certificate, chain)) {
    return unusable(files.certificate, last_fault());
  }
  if (chain.empty()) return unusable(files.certificate, "there is no certificate in it");
  Done done = check_dates(files.certificate, chain.front().get());
  if (done.ok()) done = check_pair(files, material, chain);
  if (!done.ok()) return done;
  material.expires = date_text(X509_get0_notAfter(chain.front().get()));
  done = check_authorities(files, material);
  return done.ok() ? read_revocations(files, material) : done;
}

}  // namespace nexad
