// Moves the decimal point of a number lexeme (RFC 8259 section 6), which the caller has scanned.
#include "translate/json_number.h"

namespace nexa::translate {
namespace {

constexpr long kMostDigits = 40;

// The exponent behind 'e', clamped: beyond the clamp every number is out of range or zero.
long exponent_of(std::string_view text) {
  bool negative = false;
  if (!text.empty() && (text.front() == '+' || text.front() == '-')) {
    negative = text.front() == '-';
    text.remove_prefix(1);
  }
  long value = 0;
  for (const char digit : text) {
    value = value * 10 + (digit - '0');
    if (value > 1000) value = 1000;
  }
  return negative ? -value : value;
}

}  // namespace

std::optional<std::string> without_exponent(std::string_view number) {
  const bool negative = !number.empty() && number.front() == '-';
  if (negative) number.remove_prefix(1);
  const std::size_t mark = number.find_first_of("eE");
  if (mark == std::string_view::npos) return std::string(negative ? "-" : "").append(number);
  long point = 0;  // digits in front of the decimal point
  std::string digits;
  bool behind_point = false;
  for (const char c : number.substr(0, mark)) {
    if (c == '.') {
      behind_point = true;
      continue;
    }
    if (!behind_point) ++point;
    digits += c;
  }
  point += exponent_of(number.substr(mark + 1));
  while (digits.size() > 1 && digits.front() == '0') {
    digits.erase(0, 1);
    --point;
  }
  while (!digits.empty() && digits.back() == '0') digits.pop_back();
  if (digits.empty()) return "0";
  const long size = static_cast<long>(digits.size());
  if (point > kMostDigits || size > kMostDigits || size - point > kMostDigits) return std::nullopt;
  if (point <= 0) {
    digits.insert(0, "0." + std::string(static_cast<std::size_t>(-point), '0'));
  } else if (point >= size) {
    digits.append(static_cast<std::size_t>(point - size), '0');
  } else {
    digits.insert(static_cast<std::size_t>(point), 1, '.');
  }
  return (negative ? "-" : "") + digits;
}

}  // namespace nexa::translate
