// Lines out of what a pipe gives piece by piece, none longer than a bound.
#ifndef HOST_FEED_LINE_SPLITTER_H_
#define HOST_FEED_LINE_SPLITTER_H_

#include <cstddef>
#include <string>
#include <string_view>

namespace nexa::feed {

class LineSplitter {
 public:
  explicit LineSplitter(std::size_t bound) : bound_(bound) {}

  // Calls `take(line, is_whole)` for each line that ends in `piece`, without its end; of a line
  // longer than the bound the beginning, and false.
  template <typename Take>
  void add(std::string_view piece, const Take& take) {
    while (!piece.empty()) {
      const std::size_t end = piece.find('\n');
      const std::string_view part = piece.substr(0, end);
      const std::size_t room = bound_ - line_.size();
      is_cut_ = is_cut_ || part.size() > room;
      line_.append(part.substr(0, room));
      if (end == std::string_view::npos) return;
      finish(take);
      piece.remove_prefix(end + 1);
    }
  }

  // The same for a last line without an end.
  template <typename Take>
  void finish(const Take& take) {
    if (!line_.empty() && line_.back() == '\r') line_.pop_back();
    if (!line_.empty()) take(std::string_view(line_), !is_cut_);
    line_.clear();
    is_cut_ = false;
  }

 private:
  const std::size_t bound_;
  std::string line_;
  bool is_cut_ = false;
};

}  // namespace nexa::feed

#endif  // HOST_FEED_LINE_SPLITTER_H_
