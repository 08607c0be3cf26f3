// Which leaves did a round report? Paths in the order of the round, in a few bytes each: a path
// shares most of its text with the one before it.
#ifndef HOST_TELEMETRY_PATH_LOG_H_
#define HOST_TELEMETRY_PATH_LOG_H_

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "gnmi.pb.h"

namespace nexa::telemetry {

// Takes next to no memory while it is empty: most subscriptions follow commits and have no rounds.
class PathLog {
 public:
  PathLog() = default;
  PathLog(const PathLog& other);
  PathLog(PathLog&&) noexcept = default;
  PathLog& operator=(const PathLog& other);
  PathLog& operator=(PathLog&&) noexcept = default;
  ~PathLog() = default;

  // A number that stands for the path's elements and keys, whatever the order of the keys.
  static std::uint64_t number_of(const gnmi::Path& path);

  // A path in the form that the log keeps, with its number: for who needs both.
  struct Encoded {
    std::string text;
    std::uint64_t number = 0;
  };
  static Encoded encode(const gnmi::Path& path);

  void add(Encoded path);

  // The same with a number that stands for its value; for all paths of a log or for none.
  void add(Encoded path, std::uint64_t value);

  // The values by the numbers of their paths; empty where none were given.
  std::unordered_map<std::uint64_t, std::uint64_t> values() const;

  // The numbers of all paths, in ascending order.
  std::vector<std::uint64_t> sorted_numbers() const;

  // Gives each path of this log that `later` does not have.
  void for_each_missing(const PathLog& later,
                        const std::function<void(gnmi::Path& path)>& missing) const;

  std::size_t size() const { return kept().numbers.size(); }

 private:
  struct Kept {
    std::vector<std::uint64_t> numbers;
    std::vector<std::uint64_t> values;
    std::string text;  // for each path: bytes shared with the one before, bytes that follow, those
    std::string last;
  };

  const Kept& kept() const;

  std::unique_ptr<Kept> kept_;  // null: empty
};

}  // namespace nexa::telemetry

#endif  // HOST_TELEMETRY_PATH_LOG_H_
