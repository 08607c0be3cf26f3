// Days are counted by <chrono>, which has the proleptic Gregorian calendar and no time_t.
#include "text/utc_time.h"

#include <array>
#include <chrono>
#include <cstdio>

namespace nexa::text {
namespace {

// Without the "Z".
std::string date_and_time(std::chrono::sys_seconds time) {
  const auto day = std::chrono::floor<std::chrono::days>(time);
  const std::chrono::year_month_day date(day);
  const std::chrono::hh_mm_ss clock(time - day);
  const int year = static_cast<int>(date.year());
  if (!date.ok() || year < 0 || year > 9999) return {};
  std::array<char, 64> text{};
  std::snprintf(text.data(), text.size(), "%04d-%02u-%02uT%02d:%02d:%02d", year,
                static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                static_cast<int>(clock.hours().count()), static_cast<int>(clock.minutes().count()),
                static_cast<int>(clock.seconds().count()));
  return text.data();
}

// Of what has a year of four digits; <chrono> counts years in 16 bits.
constexpr std::int64_t kFirst = -62'167'219'200;   // 0000-01-01T00:00:00Z
constexpr std::int64_t kLast = 253'402'300'799;    // 9999-12-31T23:59:59Z
constexpr std::int64_t kInSecond = 1'000'000'000;  // nanoseconds

}  // namespace

std::string utc_time(std::int64_t seconds) {
  if (seconds < kFirst || seconds > kLast) return {};
  return date_and_time(std::chrono::sys_seconds(std::chrono::seconds(seconds))) + "Z";
}

std::string utc_time_ns(std::int64_t nanoseconds) {
  // Not by <chrono>, which compares both in nanoseconds: the first second of all begins before
  // them.
  std::int64_t seconds = nanoseconds / kInSecond;
  std::int64_t rest = nanoseconds % kInSecond;
  if (rest < 0) {
    --seconds;
    rest += kInSecond;
  }
  std::array<char, 16> fraction{};
  std::snprintf(fraction.data(), fraction.size(), ".%09dZ", static_cast<int>(rest));
  return date_and_time(std::chrono::sys_seconds(std::chrono::seconds(seconds))) + fraction.data();
}

}  // namespace nexa::text
