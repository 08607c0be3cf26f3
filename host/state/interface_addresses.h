// The IP addresses of this machine's interfaces.
#ifndef HOST_STATE_INTERFACE_ADDRESSES_H_
#define HOST_STATE_INTERFACE_ADDRESSES_H_

#include <string>
#include <vector>

namespace nexa::state {

struct InterfaceAddress {
  std::string interface;
  bool is_ipv6 = false;
  std::string ip;  // without zone, as inet_ntop(3) writes it
  unsigned prefix_length = 0;
};

// In the order of the kernel; an address that an interface has twice is there once. Empty when the
// kernel does not tell. Any thread.
std::vector<InterfaceAddress> read_addresses();

}  // namespace nexa::state

#endif  // HOST_STATE_INTERFACE_ADDRESSES_H_
