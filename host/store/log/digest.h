// SHA-256 over a row's fields, each with its length in front, so that no two rows share an input.
#ifndef HOST_STORE_LOG_DIGEST_H_
#define HOST_STORE_LOG_DIGEST_H_

#include <openssl/evp.h>

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace nexa::store {

inline constexpr std::size_t kDigestSize = 32;

class Digest {
 public:
  // Takes the thread's spare context, and leaves its own as the spare: making one costs more than a
  // short digest.
  Digest();
  ~Digest();
  Digest(const Digest&) = delete;
  Digest& operator=(const Digest&) = delete;

  Digest& add(std::string_view field);
  Digest& add(std::uint64_t field);
  // The checksum, kDigestSize bytes; empty when OpenSSL failed. Ends the digest.
  std::string finish();

 private:
  struct FreeContext {
    void operator()(EVP_MD_CTX* context) const { EVP_MD_CTX_free(context); }
  };
  using ContextPtr = std::unique_ptr<EVP_MD_CTX, FreeContext>;
  static ContextPtr& spare();

  ContextPtr context_;
  bool ok_ = true;
};

}  // namespace nexa::store

#endif  // HOST_STORE_LOG_DIGEST_H_
