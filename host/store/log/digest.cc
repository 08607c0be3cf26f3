// OpenSSL's digest calls; a failure of any of them shows at the end.
#include "store/log/digest.h"

#include <array>

namespace nexa::host {

Digest::Digest() : context_(EVP_MD_CTX_new()) {
  ok_ = context_ != nullptr && EVP_DigestInit_ex(context_.get(), EVP_sha256(), nullptr) == 1;
}

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

}  // namespace nexa::host
