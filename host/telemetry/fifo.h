// A queue that takes no memory of its own while it is empty: what thousands of waiting streams have
// in them. (std::deque keeps more than 500 bytes.)
#ifndef HOST_TELEMETRY_FIFO_H_
#define HOST_TELEMETRY_FIFO_H_

#include <cstddef>
#include <iterator>
#include <utility>
#include <vector>

namespace nexa::telemetry {

// References and iterators hold until the next change of the queue. No thread rule of its own.
template <typename T>
class Fifo {
 public:
  using Items = std::vector<T>;

  bool empty() const { return items_.empty(); }
  std::size_t size() const { return items_.size() - first_; }

  T& front() { return items_[first_]; }
  T& back() { return items_.back(); }

  T& push_back(T item) { return items_.emplace_back(std::move(item)); }

  // Costs, on the average, a constant.
  void pop_front() {
    ++first_;
    if (first_ == items_.size()) return clear();
    if (first_ * 2 <= items_.size()) {
      items_[first_ - 1] = T();
      return;
    }
    items_.erase(items_.begin(), at(first_));
    first_ = 0;
  }

  // Gives the memory back.
  void clear() {
    Items().swap(items_);
    first_ = 0;
  }

  typename Items::iterator begin() { return at(first_); }
  typename Items::iterator end() { return items_.end(); }
  std::reverse_iterator<typename Items::iterator> rbegin() { return items_.rbegin(); }
  std::reverse_iterator<typename Items::iterator> rend() {
    return std::reverse_iterator<typename Items::iterator>(begin());
  }

 private:
  typename Items::iterator at(std::size_t index) {
    return items_.begin() + static_cast<std::ptrdiff_t>(index);
  }

  Items items_;  // empty, or with one at `first_`
  std::size_t first_ = 0;
};

}  // namespace nexa::telemetry

#endif  // HOST_TELEMETRY_FIFO_H_
