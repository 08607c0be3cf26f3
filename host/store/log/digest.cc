// OpenSSL's digest calls; a failure of any of them shows at the end.
#include "store/log/digest.h"

#include <array>

namespace nexa::store {
namespace {

struct FreeAlgorithm {
  void operator()(EVP_MD* algorithm) const { EVP_MD_free(algorithm); }
};

// EVP_sha256() would be looked up again by every EVP_DigestInit_ex.
const EVP_MD* sha256() {
  static const std::unique_ptr<EVP_MD, FreeAlgorithm> fetched(
      EVP_MD_fetch(nullptr, "SHA256", nullptr));
  return fetched.get();
}

}  // namespace

Digest::ContextPtr& Digest::spare() {
  static thread_local ContextPtr context;
  return context;
}

Digest::Digest() : context_(std::move(spare())) {
  if (context_ == nullptr) context_.reset(EVP_MD_CTX_new());
  ok_ = context_ != nullptr && sha256() != nullptr &&
        EVP_DigestInit_ex(context_.get(), sha256(), nullptr) == 1;
}

Digest::~Digest() { spare() = std::move(context_); }

Digest& Digest::add(std::string_view field) {
  add(static_cast<std::uint64_t>(field.size()));
  ok_ = ok_ && EVP_DigestUpdate(context_.get(), field.data(), field.size()) == 1;
  return *this;
}

Digest& Digest::add(std::uint64_t field) {
  std::array<unsigned char, 8> bytes{};
  for (unsigned char& byte : bytes) {
    byte = static_cast<unsigned char>(field & 0xFFU);
    field >>= 8U;
  }
  ok_ = ok_ && EVP_DigestUpdate(context_.get(), bytes.data(), bytes.size()) == 1;
  return *this;
}

std::string Digest::finish() {
  std::array<unsigned char, kDigestSize> bytes{};
  if (!ok_ || EVP_DigestFinal_ex(context_.get(), bytes.data(), nullptr) != 1) return {};
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

}  // namespace nexa::store
