// getifaddrs(3) asks the kernel over netlink, in the network namespace of the process.
#include "state/interface_addresses.h"

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <netinet/in.h>

#include <bit>
#include <cstdint>
#include <cstring>
#include <memory>
#include <set>
#include <utility>

namespace nexa::state {
namespace {

struct FreeAddresses {
  void operator()(ifaddrs* list) const { freeifaddrs(list); }
};

template <std::size_t kBytes>
unsigned count_bits(const unsigned char (&mask)[kBytes]) {
  unsigned bits = 0;
  for (const unsigned char byte : mask) bits += static_cast<unsigned>(std::popcount(byte));
  return bits;
}

// The address part of a socket address; `bytes` is filled. False for other families.
template <std::size_t kBytes>
bool copy_address(const sockaddr* from, unsigned char (&bytes)[kBytes]) {
  if (from == nullptr) return false;
  if constexpr (kBytes == sizeof(in_addr)) {
    sockaddr_in address;
    std::memcpy(&address, from, sizeof address);
    std::memcpy(bytes, &address.sin_addr, kBytes);
  } else {
    sockaddr_in6 address;
    std::memcpy(&address, from, sizeof address);
    std::memcpy(bytes, &address.sin6_addr, kBytes);
  }
  return true;
}

template <std::size_t kBytes>
bool read_one(const ifaddrs& from, int family, InterfaceAddress& address) {
  unsigned char bytes[kBytes];
  unsigned char mask[kBytes];
  char text[INET6_ADDRSTRLEN];
  if (!copy_address(from.ifa_addr, bytes) || !copy_address(from.ifa_netmask, mask)) return false;
  if (inet_ntop(family, bytes, text, sizeof text) == nullptr) return false;
  address.ip = text;
  address.prefix_length = count_bits(mask);
  return true;
}

}  // namespace

std::vector<InterfaceAddress> read_addresses() {
  ifaddrs* raw = nullptr;
  if (getifaddrs(&raw) != 0) return {};
  const std::unique_ptr<ifaddrs, FreeAddresses> list(raw);
  std::vector<InterfaceAddress> addresses;
  std::set<std::pair<std::string, std::string>> known;
  for (const ifaddrs* entry = list.get(); entry != nullptr; entry = entry->ifa_next) {
    if (entry->ifa_addr == nullptr) continue;
    InterfaceAddress address;
    address.interface = entry->ifa_name;
    // An address with a label of its own (eth0:1) belongs to the interface before the colon.
    if (const auto colon = address.interface.find(':'); colon != std::string::npos) {
      address.interface.resize(colon);
    }
    const int family = entry->ifa_addr->sa_family;
    address.is_ipv6 = family == AF_INET6;
    const bool is_read = family == AF_INET ? read_one<4>(*entry, family, address)
                         : address.is_ipv6 ? read_one<16>(*entry, family, address)
                                           : false;
    if (is_read && known.emplace(address.interface, address.ip).second) {
      addresses.push_back(std::move(address));
    }
  }
  return addresses;
}

}  // namespace nexa::state
