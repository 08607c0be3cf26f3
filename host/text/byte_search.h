// Where in a text is the first byte that a printer must escape? Looks at eight bytes at a time.
#ifndef HOST_TEXT_BYTE_SEARCH_H_
#define HOST_TEXT_BYTE_SEARCH_H_

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace nexa::text {

// Control characters count as well with `kControls`.
template <bool kControls, char... kBytes>
struct ByteSearch {
  static bool is_hit(char byte) {
    return (kControls && static_cast<unsigned char>(byte) < 0x20) || ((byte == kBytes) || ...);
  }

  // The place of the first hit at or after `begin`; the size of the text when there is none.
  static std::size_t find(std::string_view text, std::size_t begin) {
    while (text.size() - begin >= sizeof(std::uint64_t)) {
      std::uint64_t word = 0;
      std::memcpy(&word, text.data() + begin, sizeof(word));
      if (has_hit(word)) break;
      begin += sizeof(word);
    }
    while (begin < text.size() && !is_hit(text[begin])) ++begin;
    return begin;
  }

 private:
  static constexpr std::uint64_t kOnes = 0x0101010101010101U;
  static constexpr std::uint64_t kHighs = 0x8080808080808080U;

  static constexpr std::uint64_t has_zero(std::uint64_t word) {
    return (word - kOnes) & ~word & kHighs;
  }
  static constexpr bool has_hit(std::uint64_t word) {
    std::uint64_t hits = kControls ? (word - kOnes * 0x20) & ~word & kHighs : 0;
    ((hits |= has_zero(word ^ (kOnes * static_cast<unsigned char>(kBytes)))), ...);
    return hits != 0;
  }
};

}  // namespace nexa::text

#endif  // HOST_TEXT_BYTE_SEARCH_H_
