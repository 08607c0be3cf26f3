// Drivers answer some reads with an error: an interface that is down has no speed.
#include "state/sysfs_value.h"

#include <charconv>
#include <fstream>
#include <string_view>

namespace nexa::state {
namespace {

template <typename Number>
std::optional<Number> parse(std::string_view text, int base) {
  Number number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number, base);
  if (text.empty() || error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return number;
}

}  // namespace

std::optional<std::string> read_line(const std::string& file) {
  std::ifstream in(file, std::ios::binary);
  std::string line;
  if (!in || !std::getline(in, line)) return std::nullopt;
  return line;
}

std::optional<std::uint64_t> read_number(const std::string& file) {
  const std::optional<std::string> line = read_line(file);
  if (!line) return std::nullopt;
  const bool is_hex = line->compare(0, 2, "0x") == 0;
  return parse<std::uint64_t>(std::string_view(*line).substr(is_hex ? 2 : 0), is_hex ? 16 : 10);
}

std::optional<std::int64_t> read_boot_time(const std::string& proc) {
  constexpr std::string_view kName = "btime ";
  std::ifstream in(proc + "/stat", std::ios::binary);
  for (std::string line; std::getline(in, line);) {
    if (line.compare(0, kName.size(), kName) != 0) continue;
    return parse<std::int64_t>(std::string_view(line).substr(kName.size()), 10);
  }
  return std::nullopt;
}

}  // namespace nexa::state
