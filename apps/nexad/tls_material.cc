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
namespace {

constexpr std::size_t kMostBytes = 1U << 20U;

// Never waits: a FIFO is no certificate.
bool read_file(const std::string& path, std::string& text, std::string& error) {
  const nexa::text::Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  if (!file.is_open()) {
    error = path + ": cannot be read: " + std::string(strerror(errno));
    return false;
  }
  struct stat status {};
  if (fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode)) {
    error = path + ": cannot be read: it is not a file";
    return false;
  }
  std::array<char, 65536> buffer{};
  ssize_t count = 0;
  while (text.size() <= kMostBytes &&
         (count = read(file.get(), buffer.data(), buffer.size())) > 0) {
    text.append(buffer.data(), static_cast<std::size_t>(count));
  }
  if (count < 0) error = path + ": cannot be read: " + std::string(strerror(errno));
  if (text.size() > kMostBytes) error = path + ": it is too large for certificates";
  if (text.empty() && error.empty()) error = path + ": it is empty";
  if (text.find('\0') != std::string::npos) error = path + ": it is not PEM";
  return error.empty();
}

int no_passphrase(char*, int, int, void* asked) {
  *static_cast<bool*>(asked) = true;
  return -1;
}

std::string fault_of_dates(const X509* certificate) {
  const ASN1_TIME* first = X509_get0_notBefore(certificate);
  const ASN1_TIME* last = X509_get0_notAfter(certificate);
  if (X509_cmp_current_time(first) > 0) return "it is not valid before " + date_text(first);
  if (X509_cmp_current_time(last) < 0) return "it expired on " + date_text(last);
  return {};
}

// Puts certificate and key into a server's context, where OpenSSL also refuses what is too weak.
std::string fault_of_pair(const TlsFiles& files, const TlsMaterial& material,
                          const std::vector<Certificate>& chain) {
  const Context context(SSL_CTX_new(TLS_server_method()));
  if (context == nullptr) return files.certificate + ": " + last_fault();
  if (SSL_CTX_use_certificate(context.get(), chain.front().get()) != 1) {
    return files.certificate + ": " + last_fault();
  }
  bool asked = false;
  const Bio bio(BIO_new_mem_buf(material.key.data(), static_cast<int>(material.key.size())));
  const Key key(PEM_read_bio_PrivateKey(bio.get(), nullptr, no_passphrase, &asked));
  if (asked) return files.key + ": it is encrypted; nobody is there to type its password";
  if (key == nullptr) return files.key + ": there is no private key in it";
  if (X509_check_private_key(chain.front().get(), key.get()) != 1) {
    ERR_clear_error();
    return files.key + ": it is not the key of the certificate in " + files.certificate;
  }
  if (SSL_CTX_use_PrivateKey(context.get(), key.get()) != 1) {
    return files.key + ": " + last_fault();
  }
  return {};
}

// Authorities out of date do no harm beside one that is not.
std::string fault_of_authorities(const TlsFiles& files, const TlsMaterial& material) {
  if (files.authorities.empty()) return {};
  std::vector<Certificate> authorities;
  if (!read_certificates(material.authorities, authorities)) {
    return files.authorities + ": " + last_fault();
  }
  if (authorities.empty()) return files.authorities + ": there is no certificate in it";
  std::string fault;
  for (const Certificate& authority : authorities) {
    fault = fault_of_dates(authority.get());
    if (fault.empty()) return {};
  }
  return files.authorities + ": " + fault;
}

// They are of the authorities, so these are known to be good.
std::string fault_of_revocations(const TlsFiles& files, TlsMaterial& material) {
  if (files.revoked.empty()) return {};
  std::string fault;
  material.revoked = RevokedCertificates::read(material.revoked_text, material.authorities, fault);
  return fault.empty() ? fault : files.revoked + ": " + fault;
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

std::optional<TlsMaterial> read_tls_files(const TlsFiles& files, std::string& error) {
  error.clear();
  TlsMaterial material;
  if (!read_file(files.certificate, material.certificate, error)) return std::nullopt;
  if (!read_file(files.key, material.key, error)) return std::nullopt;
  if (!files.authorities.empty() && !read_file(files.authorities, material.authorities, error)) {
    return std::nullopt;
  }
  if (!files.revoked.empty() && !read_file(files.revoked, material.revoked_text, error)) {
    return std::nullopt;
  }
  return material;
}

std::string fault_of_tls(const TlsFiles& files, TlsMaterial& material) {
  std::vector<Certificate> chain;
  if (!read_certificates(material.certificate, chain)) {
    return files.certificate + ": " + last_fault();
  }
  if (chain.empty()) return files.certificate + ": there is no certificate in it";
  std::string fault = fault_of_dates(chain.front().get());
  if (!fault.empty()) return files.certificate + ": " + fault;
  fault = fault_of_pair(files, material, chain);
  if (!fault.empty()) return fault;
  material.expires = date_text(X509_get0_notAfter(chain.front().get()));
  fault = fault_of_authorities(files, material);
  return fault.empty() ? fault_of_revocations(files, material) : fault;
}

}  // namespace nexad
