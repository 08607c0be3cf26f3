// getaddrinfo(3), socket(2), bind(2), listen(2).
#include "sockets.h"

#include <linux/tcp.h>
#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <memory>

namespace nexad {

using nexa::text::Result;
using nexa::text::unusable;

namespace {

constexpr int kBacklog = 512;

struct FreeAddresses {
  void operator()(addrinfo* list) const { freeaddrinfo(list); }
};
using AddressList = std::unique_ptr<addrinfo, FreeAddresses>;

Result<AddressList> resolve(const Address& address, int family) {
  addrinfo hints{};
  hints.ai_family = family;
  hints.ai_socktype = SOCK_STREAM;
  hints.ai_flags = AI_PASSIVE | AI_NUMERICSERV;
  addrinfo* list = nullptr;
  const std::string port = std::to_string(address.port);
  const int fault = getaddrinfo(address.host.empty() ? nullptr : address.host.c_str(), port.c_str(),
                                &hints, &list);
  if (fault != 0) return unusable(address.text(), gai_strerror(fault));
  return AddressList(list);
}

bool set_option(int fd, int level, int name, int value) {
  return setsockopt(fd, level, name, &value, sizeof value) == 0;
}

// Options here pass on to the connections that are accepted.
Socket open_one(const addrinfo& info, bool both_families) {
  Socket socket(::socket(info.ai_family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  if (socket.get() < 0) return {};
  const int fd = socket.get();
  if (!set_option(fd, SOL_SOCKET, SO_REUSEADDR, 1)) return {};
  if (!set_option(fd, IPPROTO_TCP, TCP_NODELAY, 1)) return {};
  if (info.ai_family == AF_INET6 &&
      !set_option(fd, IPPROTO_IPV6, IPV6_V6ONLY, both_families ? 0 : 1)) {
    return {};
  }
  if (bind(fd, info.ai_addr, info.ai_addrlen) != 0 || listen(fd, kBacklog) != 0) return {};
  return socket;
}

std::uint16_t port_of(int fd) {
  sockaddr_storage name{};
  socklen_t size = sizeof name;
  if (getsockname(fd, reinterpret_cast<sockaddr*>(&name), &size) != 0) return 0;
  // The port stands at the same place in both families.
  return ntohs(reinterpret_cast<const sockaddr_in*>(&name)->sin_port);
}

void set_port(addrinfo& info, std::uint16_t port) {
  reinterpret_cast<sockaddr_in*>(info.ai_addr)->sin_port = htons(port);
}

// After a failure errno says why.
Result<ListeningSockets> open_all(const Address& address, int family, bool both_families) {
  Result<AddressList> list = resolve(address, family);
  if (!list.ok()) return std::move(list).failure();
  ListeningSockets result;
  result.address = address;
  for (addrinfo* info = list.value().get(); info != nullptr; info = info->ai_next) {
    set_port(*info, result.address.port);
    Socket socket = open_one(*info, both_families);
    if (socket.get() < 0) {
      return unusable(result.address.text(), strerror(errno));
    }
    result.address.port = port_of(socket.get());
    result.sockets.push_back(std::move(socket));
  }
  return result;
}

}  // namespace

Result<ListeningSockets> open_listening_sockets(const Address& address) {
  if (!address.host.empty()) return open_all(address, AF_UNSPEC, false);
  errno = 0;
  Result<ListeningSockets> six = open_all(address, AF_INET6, true);
  if (six.ok() || errno == EADDRINUSE) return six;
  return open_all(address, AF_INET, false);
}

}  // namespace nexad
