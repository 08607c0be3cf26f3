// OpenSSL's certificates. Every failure below is one of memory or of randomness, except a name that
// is none, so each ends in the same exception with OpenSSL's reason.
#include "access/authority.h"

#include <arpa/inet.h>
#include <openssl/bio.h>
#include <openssl/ec.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/rand.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>

#include <array>
#include <stdexcept>

namespace nexa::access {

// What frees a handle of OpenSSL's. Outside the unnamed namespace, for State below has such
// members.
template <auto release>
struct ReleaseHandle {
  template <class T>
  void operator()(T* handle) const {
    release(handle);
  }
};

namespace {

constexpr long kHour = 3600;
constexpr int kSerialBits = 127;
constexpr long kVersion3 = 2;

using Key = std::unique_ptr<EVP_PKEY, ReleaseHandle<EVP_PKEY_free>>;
using Certificate = std::unique_ptr<X509, ReleaseHandle<X509_free>>;
using Extension = std::unique_ptr<X509_EXTENSION, ReleaseHandle<X509_EXTENSION_free>>;
using Serial = std::unique_ptr<BIGNUM, ReleaseHandle<BN_free>>;
using Buffer = std::unique_ptr<BIO, ReleaseHandle<BIO_free>>;

void require(bool done, const char* what) {
  if (done) return;
  std::array<char, 256> reason{};
  ERR_error_string_n(ERR_get_error(), reason.data(), reason.size());
  throw std::runtime_error(std::string(what) + ": " + reason.data());
}

Key new_key() {
  Key key(EVP_EC_gen("P-256"));
  require(key != nullptr, "a key cannot be made");
  return key;
}

void set_serial(X509& certificate) {
  const Serial serial(BN_new());
  require(serial != nullptr &&
              BN_rand(serial.get(), kSerialBits, BN_RAND_TOP_ONE, BN_RAND_BOTTOM_ANY) == 1 &&
              BN_to_ASN1_INTEGER(serial.get(), X509_get_serialNumber(&certificate)) != nullptr,
          "a serial number cannot be made");
}

void set_subject(X509& certificate, const std::string& common_name) {
  const auto* text = reinterpret_cast<const unsigned char*>(common_name.data());
  require(
      X509_NAME_add_entry_by_NID(X509_get_subject_name(&certificate), NID_commonName, MBSTRING_UTF8,
                                 text, static_cast<int>(common_name.size()), -1, 0) == 1,
      "the name cannot stand in a certificate");
}

void add_extension(X509& certificate, X509& issuer, int kind, const std::string& value) {
  X509V3_CTX context;
  X509V3_set_ctx(&context, &issuer, &certificate, nullptr, nullptr, 0);
  const Extension extension(X509V3_EXT_conf_nid(nullptr, &context, kind, value.c_str()));
  require(extension != nullptr && X509_add_ext(&certificate, extension.get(), -1) == 1,
          "an extension cannot be made");
}

Certificate new_certificate(const std::string& common_name, EVP_PKEY& key) {
  Certificate certificate(X509_new());
  require(certificate != nullptr && X509_set_version(certificate.get(), kVersion3) == 1 &&
              X509_gmtime_adj(X509_getm_notBefore(certificate.get()), -kHour) != nullptr &&
              X509_set_pubkey(certificate.get(), &key) == 1,
          "a certificate cannot be made");
  set_serial(*certificate);
  set_subject(*certificate, common_name);
  return certificate;
}

void sign(X509& certificate, EVP_PKEY& key) {
  require(X509_sign(&certificate, &key, EVP_sha256()) > 0, "a certificate cannot be signed");
}

std::string content_of(const Buffer& buffer) {
  char* data = nullptr;
  const long size = BIO_get_mem_data(buffer.get(), &data);
  return {data, static_cast<std::size_t>(size)};
}

CertifiedKey as_pem(X509& certificate, EVP_PKEY& key) {
  const Buffer certificate_text(BIO_new(BIO_s_mem()));
  const Buffer key_text(BIO_new(BIO_s_secmem()));
  require(certificate_text != nullptr && key_text != nullptr &&
              PEM_write_bio_X509(certificate_text.get(), &certificate) == 1 &&
              PEM_write_bio_PrivateKey(key_text.get(), &key, nullptr, nullptr, 0, nullptr,
                                       nullptr) == 1,
          "a certificate cannot be written");
  return {content_of(certificate_text), content_of(key_text)};
}

bool is_address(const std::string& name) {
  std::array<unsigned char, sizeof(in6_addr)> address{};
  return inet_pton(AF_INET, name.c_str(), address.data()) == 1 ||
         inet_pton(AF_INET6, name.c_str(), address.data()) == 1;
}

// As x509v3_config(5) writes it, where a comma begins the next name.
std::string alternative_names(const std::vector<std::string>& names) {
  std::string text;
  for (const std::string& name : names) {
    if (name.empty() || name.find_first_of(", \t\n") != std::string::npos) {
      throw std::runtime_error("\"" + name + "\" is neither a host name nor an address");
    }
    if (!text.empty()) text.push_back(',');
    text.append(is_address(name) ? "IP:" : "DNS:").append(name);
  }
  return text;
}

}  // namespace

struct Authority::State {
  Key key;
  Certificate certificate;
};

Authority::Authority(const std::string& common_name, int days) : state_(std::make_unique<State>()) {
  state_->key = new_key();
  state_->certificate = new_certificate(common_name, *state_->key);
  X509& certificate = *state_->certificate;
  // Days and seconds apart: a hundred years of seconds are more than a long of 32 bits holds.
  require(X509_time_adj_ex(X509_getm_notAfter(&certificate), days, 0, nullptr) != nullptr &&
              X509_set_issuer_name(&certificate, X509_get_subject_name(&certificate)) == 1,
          "a certificate cannot be made");
  add_extension(certificate, certificate, NID_basic_constraints, "critical,CA:TRUE,pathlen:0");
  add_extension(certificate, certificate, NID_key_usage, "critical,keyCertSign,cRLSign");
  add_extension(certificate, certificate, NID_subject_key_identifier, "hash");
  sign(certificate, *state_->key);
}

Authority::~Authority() = default;

CertifiedKey Authority::own() const { return as_pem(*state_->certificate, *state_->key); }

CertifiedKey Authority::issue_for_server(const std::string& common_name,
                                         const std::vector<std::string>& names) const {
  X509& issuer = *state_->certificate;
  const Key key = new_key();
  const Certificate certificate = new_certificate(common_name, *key);
  require(X509_set1_notAfter(certificate.get(), X509_get0_notAfter(&issuer)) == 1 &&
              X509_set_issuer_name(certificate.get(), X509_get_subject_name(&issuer)) == 1,
          "a certificate cannot be made");
  add_extension(*certificate, issuer, NID_basic_constraints, "critical,CA:FALSE");
  add_extension(*certificate, issuer, NID_key_usage, "critical,digitalSignature");
  add_extension(*certificate, issuer, NID_ext_key_usage, "serverAuth");
  add_extension(*certificate, issuer, NID_subject_alt_name, alternative_names(names));
  add_extension(*certificate, issuer, NID_subject_key_identifier, "hash");
  add_extension(*certificate, issuer, NID_authority_key_identifier, "keyid:always");
  sign(*certificate, *state_->key);
  return as_pem(*certificate, *key);
}

std::string random_password(std::size_t size) {
  // 32 of them, so that each takes five bits of a random byte.
  constexpr std::string_view kLetters = "abcdefghijkmnpqrstuvwxyz23456789";
  static_assert(kLetters.size() == 32);
  std::string password(size, '\0');
  for (char& letter : password) {
    unsigned char byte = 0;
    require(RAND_bytes(&byte, 1) == 1, "no random bytes to be had");
    letter = kLetters[byte % kLetters.size()];
  }
  return password;
}

}  // namespace nexa::access
