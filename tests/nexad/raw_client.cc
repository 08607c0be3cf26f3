// Blocking sockets with a time limit on each wait.
#include "raw_client.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <utility>

namespace nexad_test {

RawClient::RawClient(const nexad::Address& address) {
  const bool six = address.host.find(':') != std::string::npos;
  fd_ = socket(six ? AF_INET6 : AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in to{};
  to.sin_family = AF_INET;
  to.sin_port = htons(address.port);
  inet_pton(AF_INET, address.host.empty() ? "127.0.0.1" : address.host.c_str(), &to.sin_addr);
  sockaddr_in6 to6{};
  to6.sin6_family = AF_INET6;
  to6.sin6_port = htons(address.port);
  inet_pton(AF_INET6, address.host.c_str(), &to6.sin6_addr);
  const auto* name = six ? reinterpret_cast<sockaddr*>(&to6) : reinterpret_cast<sockaddr*>(&to);
  EXPECT_EQ(connect(fd_, name, six ? sizeof to6 : sizeof to), 0) << address.text();
}

RawClient::~RawClient() {
  if (fd_ >= 0) close(fd_);
}

RawClient::RawClient(RawClient&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}

void RawClient::send(std::string_view bytes) const {
  ::send(fd_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
}

bool RawClient::is_closed_within(std::chrono::milliseconds time) const {
  const auto end = std::chrono::steady_clock::now() + time;
  std::array<char, 4096> buffer{};
  while (true) {
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
        end - std::chrono::steady_clock::now());
    pollfd watched{fd_, POLLIN, 0};
    if (left.count() <= 0 || poll(&watched, 1, static_cast<int>(left.count())) <= 0) return false;
    if (recv(fd_, buffer.data(), buffer.size(), 0) <= 0) return true;
  }
}

}  // namespace nexad_test
