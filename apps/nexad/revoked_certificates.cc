// OpenSSL reads the lists and checks their signatures; it would look them up itself, but gRPC has
// no word for the store of its contexts.
#include "revoked_certificates.h"

#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/x509.h>

#include <utility>

#include "tls_handles.h"

namespace nexad {

using nexa::text::Done;
using nexa::text::Failure;
using nexa::text::Result;

namespace {

bool is_signed_by_one(X509_CRL* list, const std::vector<Certificate>& authorities) {
  for (const Certificate& authority : authorities) {
    const bool is_issuer =
        X509_NAME_cmp(X509_CRL_get_issuer(list), X509_get_subject_name(authority.get())) == 0;
    EVP_PKEY* key = X509_get0_pubkey(authority.get());
    if (is_issuer && key != nullptr && X509_CRL_verify(list, key) == 1) return true;
    ERR_clear_error();
  }
  return false;
}

Failure no_list(std::string rule) { return nexa::text::unusable("", std::move(rule)); }

Done check_list(X509_CRL* list, const std::vector<Certificate>& authorities) {
  if (!is_signed_by_one(list, authorities))
    return no_list("a list is not of one of the authorities");
  const ASN1_TIME* first = X509_CRL_get0_lastUpdate(list);
  const ASN1_TIME* last = X509_CRL_get0_nextUpdate(list);
  if (X509_cmp_current_time(first) > 0)
    return no_list("a list is not valid before " + date_text(first));
  if (last != nullptr && X509_cmp_current_time(last) < 0) {
    return no_list("a list expired on " + date_text(last));
  }
  return {};
}

}  // namespace

void RevokedCertificates::FreeList::operator()(X509_CRL* list) const { X509_CRL_free(list); }

Result<std::shared_ptr<const RevokedCertificates>> RevokedCertificates::read(
    const std::string& lists, const std::string& authorities) {
  std::vector<Certificate> issuers;
  if (!read_certificates(authorities, issuers)) return no_list(last_fault());
  auto result = std::make_shared<RevokedCertificates>();
  const Bio bio(BIO_new_mem_buf(lists.data(), static_cast<int>(lists.size())));
  ERR_clear_error();
  while (List list{PEM_read_bio_X509_CRL(bio.get(), nullptr, nullptr, nullptr)}) {
    if (Done done = check_list(list.get(), issuers); !done.ok()) {
      return std::move(done).failure();
    }
    result->lists_.push_back(std::move(list));
  }
  if (ERR_GET_REASON(ERR_peek_last_error()) != PEM_R_NO_START_LINE) return no_list(last_fault());
  ERR_clear_error();
  if (result->lists_.empty()) return no_list("there is no revocation list in it");
  return result;
}

bool RevokedCertificates::has(const X509& certificate) const {
  const X509_NAME* issuer = X509_get_issuer_name(&certificate);
  for (const List& list : lists_) {
    if (X509_NAME_cmp(X509_CRL_get_issuer(list.get()), issuer) != 0) continue;
    X509_REVOKED* entry = nullptr;
    const ASN1_INTEGER* number = X509_get0_serialNumber(&certificate);
    // 2 stands for one that was taken off the list again.
    if (X509_CRL_get0_by_serial(list.get(), &entry, number) == 1) return true;
  }
  return false;
}

}  // namespace nexad
