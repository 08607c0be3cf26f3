// A TCP client that need not speak gRPC.
#ifndef TESTS_NEXAD_RAW_CLIENT_H_
#define TESTS_NEXAD_RAW_CLIENT_H_

#include <chrono>
#include <cstdint>
#include <string_view>

#include "address.h"

namespace nexad_test {

// One connection; it fails the test when it cannot be made.
class RawClient {
 public:
  explicit RawClient(const nexad::Address& address);
  ~RawClient();
  RawClient(RawClient&& other) noexcept;
  RawClient(const RawClient&) = delete;
  RawClient& operator=(const RawClient&) = delete;

  void send(std::string_view bytes) const;
  // Whether the server ends the connection within the time; what it sends meanwhile is dropped.
  bool is_closed_within(std::chrono::milliseconds time) const;

 private:
  int fd_ = -1;
};

}  // namespace nexad_test

#endif  // TESTS_NEXAD_RAW_CLIENT_H_
