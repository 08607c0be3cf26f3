// gNMI path strings: "/module:name/list[key=value]/leaf" to a gnmi::Path and back (gNMI path
// conventions, section "path strings"). Knows no schema: names and values are taken as they stand.
#ifndef HOST_TRANSLATE_PATH_STRING_H_
#define HOST_TRANSLATE_PATH_STRING_H_

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "gnmi.pb.h"

namespace nexa::translate {

// What is wrong with a path string, and the byte where it was noticed.
struct PathStringError {
  std::size_t offset = 0;
  std::string message;

  // "message at byte N".
  std::string text() const;
};

// Parses a path string into the elements of a path; nullopt on failure, with `error` filled.
//   - "/" is the empty path; the leading slash may be missing, an empty element is refused.
//   - "origin:/a/b" sets the path's origin.
//   - In a key value "\" makes the next character literal; "]" and "\" themselves need it. A "/"
//   inside
//     brackets is literal.
std::optional<gnmi::Path> parse_path_string(std::string_view text, PathStringError* error);

// The path string of a path's elements, keys in byte order of their names; "/" for the empty path.
// Parsing it again gives the same elements. The origin is not written.
std::string format_path_string(const gnmi::Path& path);

// Appends "[key=value]" to `out`, the value escaped.
void append_key_predicate(std::string_view key, std::string_view value, std::string& out);

}  // namespace nexa::translate

#endif  // HOST_TRANSLATE_PATH_STRING_H_
