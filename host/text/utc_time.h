// A point in time as text (RFC 3339, UTC), for hooks, listings and state data. Years beyond 2038
// are dates like others, also where the C library's own time_t has 32 bits.
#ifndef HOST_TEXT_UTC_TIME_H_
#define HOST_TEXT_UTC_TIME_H_

#include <cstdint>
#include <string>

namespace nexa::text {

// "2026-11-21T10:00:00Z" of seconds since the Unix epoch, negative before it; empty where the year
// has no four digits.
std::string utc_time(std::int64_t seconds);

// The same of nanoseconds, with nine digits after the point.
std::string utc_time_ns(std::int64_t nanoseconds);

}  // namespace nexa::text

#endif  // HOST_TEXT_UTC_TIME_H_
