// Three bytes are four characters of six bits each.
#include "text/base64.h"

#include <array>
#include <cstdint>

namespace nexa::text {
namespace {

constexpr std::string_view kAlphabet =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::int8_t kNoCharacter = -1;

constexpr std::array<std::int8_t, 256> make_values() {
  std::array<std::int8_t, 256> values{};
  for (std::int8_t& value : values) value = kNoCharacter;
  for (std::size_t i = 0; i < kAlphabet.size(); ++i) {
    values[static_cast<unsigned char>(kAlphabet[i])] = static_cast<std::int8_t>(i);
  }
  return values;
}

constexpr std::array<std::int8_t, 256> kValues = make_values();

bool is_blank(char character) {
  return character == ' ' || character == '\n' || character == '\r' || character == '\t';
}

}  // namespace

void append_base64(std::string_view bytes, std::string& out) {
  out.reserve(out.size() + (bytes.size() + 2) / 3 * 4);
  for (std::size_t at = 0; at < bytes.size(); at += 3) {
    std::uint32_t group = 0;
    const std::size_t count = bytes.size() - at < 3 ? bytes.size() - at : 3;
    for (std::size_t i = 0; i < 3; ++i) {
      group = group << 8U | (i < count ? static_cast<unsigned char>(bytes[at + i]) : 0U);
    }
    for (std::size_t i = 0; i < 4; ++i) {
      out.push_back(i <= count ? kAlphabet[group >> (18 - 6 * i) & 0x3FU] : '=');
    }
  }
}

bool append_decoded_base64(std::string_view text, std::string& out) {
  std::uint32_t group = 0;
  unsigned bits = 0;
  std::size_t characters = 0;
  std::size_t padding = 0;
  for (const char character : text) {
    if (is_blank(character)) continue;
    ++characters;
    if (character == '=') {
      ++padding;
      continue;
    }
    const std::int8_t value = kValues[static_cast<unsigned char>(character)];
    if (value == kNoCharacter || padding > 0) return false;
    group = group << 6U | static_cast<std::uint32_t>(value);
    bits += 6;
    if (bits < 8) continue;
    bits -= 8;
    out.push_back(static_cast<char>(group >> bits & 0xFFU));
  }
  return characters % 4 == 0 && padding <= 2 && bits == 2 * padding;
}

}  // namespace nexa::text
