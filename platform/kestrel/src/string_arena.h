// Keeps strings at fixed addresses, ended by NUL, until the arena goes. Does not look for
// duplicates; that is the string table's job.
#ifndef KESTREL_SRC_STRING_ARENA_H_
#define KESTREL_SRC_STRING_ARENA_H_

#include <algorithm>
#include <cstddef>
#include <memory>
#include <string_view>
#include <vector>

namespace kestrel {

class StringArena {
 public:
  // A copy of `text`, ended by NUL.
  char* store(std::string_view text) {
    const std::size_t size = text.size() + 1;
    if (size > left_) grow(size);
    char* const copy = next_;
    *std::copy(text.begin(), text.end(), copy) = '\0';
    next_ += size;
    left_ -= size;
    return copy;
  }

 private:
  static constexpr std::size_t kBlockSize = 65536;

  void grow(std::size_t size) {
    const std::size_t block_size = std::max(size, kBlockSize);
    blocks_.push_back(std::make_unique<char[]>(block_size));
    next_ = blocks_.back().get();
    left_ = block_size;
  }

  std::vector<std::unique_ptr<char[]>> blocks_;
  char* next_ = nullptr;
  std::size_t left_ = 0;
};

}  // namespace kestrel

#endif  // KESTREL_SRC_STRING_ARENA_H_
