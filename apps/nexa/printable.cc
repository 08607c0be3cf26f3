// One character at a time: control characters are known by their code point, also those that take
// two bytes in UTF-8.
#include "printable.h"

#include <cstdint>

namespace nexa_tool {
namespace {

struct Character {
  std::size_t size = 0;  // 0: no UTF-8
  std::uint32_t code = 0;
};

Character first_character(std::string_view text) {
  const auto lead = static_cast<unsigned char>(text.front());
  if (lead < 0x80) return {1, lead};
  const std::size_t size = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
  if (lead < 0xC2 || lead > 0xF4 || text.size() < size) return {};
  std::uint32_t code = lead & (0xFFU >> (size + 1));
  for (std::size_t i = 1; i < size; ++i) {
    const auto next = static_cast<unsigned char>(text[i]);
    if ((next & 0xC0U) != 0x80U) return {};
    code = code << 6U | (next & 0x3FU);
  }
  constexpr std::uint32_t kLeast[] = {0, 0, 0x80, 0x800, 0x10000};
  const bool is_surrogate = code >= 0xD800 && code <= 0xDFFF;
  if (code < kLeast[size] || code > 0x10FFFF || is_surrogate) return {};
  return {size, code};
}

bool is_command(std::uint32_t code) {
  const bool is_control = code < 0x20 || (code >= 0x7F && code <= 0x9F);
  const bool changes_order = code == 0x200E || code == 0x200F ||
                             (code >= 0x2028 && code <= 0x202E) ||
                             (code >= 0x2066 && code <= 0x2069);
  return is_control || changes_order;
}

}  // namespace

std::string printable(std::string_view text, Lines lines) {
  std::string shown;
  while (!text.empty()) {
    const Character character = first_character(text);
    const std::size_t size = character.size == 0 ? 1 : character.size;
    const bool is_layout = character.code == '\n' || character.code == '\t';
    const bool is_kept = is_layout ? lines == Lines::kMany : !is_command(character.code);
    if (character.size != 0 && is_kept) {
      shown.append(text.substr(0, size));
    } else {
      shown.push_back('?');
    }
    text.remove_prefix(size);
  }
  return shown;
}

}  // namespace nexa_tool
