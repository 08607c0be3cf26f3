// Listening sockets for one address: IPv4, IPv6 or both.
#ifndef APPS_NEXAD_SOCKETS_H_
#define APPS_NEXAD_SOCKETS_H_

#include <cstdint>
#include <string>
#include <vector>

#include "address.h"
#include "text/descriptor.h"
#include "text/result.h"

namespace nexad {

using Socket = nexa::text::Descriptor;

struct ListeningSockets {
  std::vector<Socket> sockets;
  Address address;  // with the real port
};

// Sockets that listen, non-blocking, for every address that the host's name stands for; without a
// host one for both families, or for IPv4 where the machine has no IPv6. With port 0 they share a
// free one. At least one; a failure, with the address as its path, when one cannot be had.
nexa::text::Result<ListeningSockets> open_listening_sockets(const Address& address);

}  // namespace nexad

#endif  // APPS_NEXAD_SOCKETS_H_
