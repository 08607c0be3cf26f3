// One-line values of sysfs and procfs. A value that cannot be read or is no such value is not
// there.
#ifndef HOST_STATE_SYSFS_VALUE_H_
#define HOST_STATE_SYSFS_VALUE_H_

#include <cstdint>
#include <optional>
#include <string>

namespace nexa::state {

// The first line of a small file, without the line's end; nullopt when it cannot be read.
std::optional<std::string> read_line(const std::string& file);

// The line as a number without a sign: decimal, or hexadecimal after "0x".
std::optional<std::uint64_t> read_number(const std::string& file);

// The time of the machine's start out of `<proc>/stat`, in seconds since the Unix epoch.
std::optional<std::int64_t> read_boot_time(const std::string& proc);

}  // namespace nexa::state

#endif  // HOST_STATE_SYSFS_VALUE_H_
