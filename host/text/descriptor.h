// The owner of a file descriptor.
#ifndef HOST_TEXT_DESCRIPTOR_H_
#define HOST_TEXT_DESCRIPTOR_H_

#include <utility>

namespace nexa::text {

// Closes its descriptor when it ends, and leaves errno as it was, so that a failure before that can
// still be reported. Safe between fork(2) and _exit(2).
class Descriptor {
 public:
  Descriptor() = default;
  explicit Descriptor(int fd) noexcept : fd_(fd) {}  // negative: none
  Descriptor(Descriptor&& other) noexcept : fd_(other.release()) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    if (this != &other) {
      close();
      fd_ = other.release();
    }
    return *this;
  }
  ~Descriptor() { close(); }

  int get() const { return fd_; }  // negative: none
  bool is_open() const { return fd_ >= 0; }
  int release() noexcept { return std::exchange(fd_, -1); }
  void close() noexcept;

 private:
  int fd_ = -1;
};

}  // namespace nexa::text

#endif  // HOST_TEXT_DESCRIPTOR_H_
