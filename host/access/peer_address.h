// From which address does somebody call? A peer as gRPC writes it, and as a socket has it.
#ifndef HOST_ACCESS_PEER_ADDRESS_H_
#define HOST_ACCESS_PEER_ADDRESS_H_

#include <sys/socket.h>

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace nexa::access {

// IPv4 as the IPv6 address that stands for it. The zone of a link's own address is not kept.
struct PeerAddress {
  std::array<unsigned char, 16> ip{};
  std::uint16_t port = 0;

  // What one peer has of its own: an IPv4 address, or the 64 bits of a network of IPv6, whose other
  // half a machine chooses as it likes. Bytes.
  std::string network() const;

  // Address and port. Bytes.
  std::string key() const;
};

// "ipv4:127.0.0.1:40000", "ipv6:[::1]:40000", with '[' and ']' also as "%5B" and "%5D"; nullopt for
// others, such as "unix:".
std::optional<PeerAddress> parse_peer(std::string_view peer);

// nullopt for other families than IPv4 and IPv6.
std::optional<PeerAddress> peer_of(const sockaddr_storage& address);

}  // namespace nexa::access

#endif  // HOST_ACCESS_PEER_ADDRESS_H_
