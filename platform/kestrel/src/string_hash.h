// Turns a string into a number of the 32-bit hash space. The same text and salt give the same
// number in every process and on every machine, so hashes may be written into logs and compared
// between runs.
#ifndef KESTREL_SRC_STRING_HASH_H_
#define KESTREL_SRC_STRING_HASH_H_

#include <bit>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace kestrel {

// The construction known as MurmurHash3 (32 bits), with the salt as its seed. Four bytes at a time,
// so that a namespace URI costs some dozens of instructions; bytes are read in little-endian order
// everywhere.
struct StringHash {
  std::uint32_t operator()(std::string_view text, std::uint32_t salt) const noexcept {
    std::uint32_t hash = salt;
    const char* bytes = text.data();
    std::size_t left = text.size();
    for (; left >= 4; left -= 4, bytes += 4) {
      hash ^= mix(word(bytes, 4));
      hash = std::rotl(hash, 13) * 5U + 0xe6546b64U;
    }
    if (left != 0) hash ^= mix(word(bytes, left));
    hash ^= static_cast<std::uint32_t>(text.size());
    hash = (hash ^ (hash >> 16)) * 0x85ebca6bU;
    hash = (hash ^ (hash >> 13)) * 0xc2b2ae35U;
    return hash ^ (hash >> 16);
  }

 private:
  static std::uint32_t byte(const char* bytes, std::size_t at) noexcept {
    return static_cast<unsigned char>(bytes[at]);
  }
  // Compilers turn the whole-word case into one load on little-endian machines.
  static std::uint32_t word(const char* bytes, std::size_t count) noexcept {
    if (count == 4) {
      return byte(bytes, 0) | byte(bytes, 1) << 8 | byte(bytes, 2) << 16 | byte(bytes, 3) << 24;
    }
    std::uint32_t result = 0;
    for (std::size_t i = 0; i < count; ++i) result |= byte(bytes, i) << (8 * i);
    return result;
  }
  static std::uint32_t mix(std::uint32_t value) noexcept {
    return std::rotl(value * 0xcc9e2d51U, 15) * 0x1b873593U;
  }
};

}  // namespace kestrel

#endif  // KESTREL_SRC_STRING_HASH_H_
