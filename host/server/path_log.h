// Which leaves did a round report? Paths in the order of the round, in a few bytes each: a path
// shares most of its text with the one before it.
#ifndef HOST_SERVER_PATH_LOG_H_
#define HOST_SERVER_PATH_LOG_H_

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "gnmi.pb.h"

namespace nexa::server {

class PathLog {
 public:
  // A number that stands for the path's elements and keys, whatever the order of the keys.
  static std::uint64_t number_of(const gnmi::Path& path);

  void add(const gnmi::Path& path);

  // The numbers of all paths, in ascending order.
  std::vector<std::uint64_t> sorted_numbers() const;

  // Gives each path of this log that `later` does not have.
  void for_each_missing(const PathLog& later,
                        const std::function<void(gnmi::Path& path)>& missing) const;

  std::size_t size() const { return numbers_.size(); }

 private:
  std::vector<std::uint64_t> numbers_;
  std::string text_;  // for each path: bytes shared with the one before, bytes that follow, those
  std::string last_;
};

}  // namespace nexa::server

#endif  // HOST_SERVER_PATH_LOG_H_
