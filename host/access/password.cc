// crypt(3) and HMAC-SHA256. A yescrypt hash takes tens of milliseconds and megabytes: that is what
// it is for, and why right answers are remembered and few run at a time.
#include "access/password.h"

#include <crypt.h>
#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <openssl/hmac.h>
#include <openssl/rand.h>

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <semaphore>
#include <stdexcept>

#include "access/access.h"

namespace nexa::access {
namespace {

constexpr std::ptrdiff_t kHashesAtATime = 2;
std::counting_semaphore<kHashesAtATime> hashing{kHashesAtATime};

struct SemaphoreRelease {
  void operator()(std::counting_semaphore<kHashesAtATime>* semaphore) const {
    semaphore->release();
  }
};

// Its memory held the password.
struct CryptDataWipe {
  void operator()(crypt_data* data) const {
    OPENSSL_cleanse(data, sizeof *data);
    std::default_delete<crypt_data>()(data);
  }
};
using CryptData = std::unique_ptr<crypt_data, CryptDataWipe>;

struct FreeText {
  void operator()(char* text) const { std::free(text); }
};

bool fits_crypt(std::string_view password) {
  return password.size() < CRYPT_MAX_PASSPHRASE_SIZE &&
         password.find('\0') == std::string_view::npos;
}

// Empty on failure.
std::string crypt_text(std::string_view password, const char* setting) {
  if (!fits_crypt(password)) return {};
  std::string phrase(password);
  hashing.acquire();
  const std::unique_ptr<std::counting_semaphore<kHashesAtATime>, SemaphoreRelease> held(&hashing);
  const CryptData data(std::make_unique<crypt_data>().release());
  const char* result = crypt_r(phrase.c_str(), setting, data.get());
  OPENSSL_cleanse(phrase.data(), phrase.size());
  if (result == nullptr || result[0] == '*') return {};
  return result;
}

}  // namespace

bool password_fits(std::string_view password, const std::string& hash) {
  const std::string result = crypt_text(password, hash.c_str());
  return !result.empty() && result.size() == hash.size() &&
         CRYPTO_memcmp(result.data(), hash.data(), hash.size()) == 0;
}

std::string hash_password(std::string_view password) {
  const std::unique_ptr<char, FreeText> setting(crypt_gensalt_ra("$y$", 0, nullptr, 0));
  return setting == nullptr ? std::string() : crypt_text(password, setting.get());
}

bool equal(const Digest& a, const Digest& b) {
  return CRYPTO_memcmp(a.data(), b.data(), a.size()) == 0;
}

KeyedDigest::KeyedDigest() {
  if (RAND_bytes(key_.data(), static_cast<int>(key_.size())) != 1) {
    throw std::runtime_error("no random bytes to be had");
  }
}

std::optional<Digest> KeyedDigest::of(std::string_view first, std::string_view second) const {
  const std::uint64_t length = first.size();
  std::string text(reinterpret_cast<const char*>(&length), sizeof length);
  text.append(first).append(second);
  Digest digest{};
  unsigned size = 0;
  const bool done = HMAC(EVP_sha256(), key_.data(), static_cast<int>(key_.size()),
                         reinterpret_cast<const unsigned char*>(text.data()), text.size(),
                         digest.data(), &size) != nullptr;
  OPENSSL_cleanse(text.data(), text.size());
  if (!done || size != digest.size()) return std::nullopt;
  return digest;
}

}  // namespace nexa::access
