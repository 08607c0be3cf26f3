// inet_pton(3), around the forms that addresses have in a URI.
#include "access/peer_address.h"

#include <arpa/inet.h>
#include <netinet/in.h>

#include <algorithm>
#include <charconv>
#include <cstring>

namespace nexa::access {
namespace {

constexpr std::string_view kFour = "ipv4:";
constexpr std::string_view kSix = "ipv6:";
constexpr std::array<unsigned char, 12> kMapped{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xff, 0xff};
constexpr std::size_t kNetworkBytes = 8;

void set_four(const void* address, PeerAddress& peer) {
  std::copy(kMapped.begin(), kMapped.end(), peer.ip.begin());
  std::memcpy(peer.ip.data() + kMapped.size(), address, peer.ip.size() - kMapped.size());
}

bool is_four(const PeerAddress& peer) {
  return std::equal(kMapped.begin(), kMapped.end(), peer.ip.begin());
}

bool take_port(std::string_view& text, std::uint16_t& port) {
  const std::size_t colon = text.rfind(':');
  if (colon == std::string_view::npos) return false;
  const std::string_view digits = text.substr(colon + 1);
  const char* const end = digits.data() + digits.size();
  const auto [last, fault] = std::from_chars(digits.data(), end, port);
  if (fault != std::errc() || last != end) return false;
  text = text.substr(0, colon);
  return true;
}

bool take_brackets(std::string_view& text) {
  for (const auto& [open, close] : {std::pair<std::string_view, std::string_view>{"[", "]"},
                                    std::pair<std::string_view, std::string_view>{"%5B", "%5D"}}) {
    if (!text.starts_with(open) || !text.ends_with(close)) continue;
    text = text.substr(open.size(), text.size() - open.size() - close.size());
    text = text.substr(0, text.find('%'));  // the zone
    return true;
  }
  return false;
}

}  // namespace

std::string PeerAddress::network() const {
  const std::size_t size = is_four(*this) ? ip.size() : kNetworkBytes;
  return {reinterpret_cast<const char*>(ip.data()), size};
}

std::string PeerAddress::key() const {
  std::string text(reinterpret_cast<const char*>(ip.data()), ip.size());
  return text.append(reinterpret_cast<const char*>(&port), sizeof port);
}

std::optional<PeerAddress> parse_peer(std::string_view peer) {
  PeerAddress result;
  const bool four = peer.starts_with(kFour);
  if (!four && !peer.starts_with(kSix)) return std::nullopt;
  peer.remove_prefix(kFour.size());
  if (!take_port(peer, result.port) || (!four && !take_brackets(peer))) return std::nullopt;
  const std::string text(peer);
  in_addr address{};
  if (!four) {
    if (inet_pton(AF_INET6, text.c_str(), result.ip.data()) != 1) return std::nullopt;
  } else {
    if (inet_pton(AF_INET, text.c_str(), &address) != 1) return std::nullopt;
    set_four(&address, result);
  }
  return result;
}

std::optional<PeerAddress> peer_of(const sockaddr_storage& address) {
  PeerAddress result;
  if (address.ss_family == AF_INET) {
    const auto& four = reinterpret_cast<const sockaddr_in&>(address);
    set_four(&four.sin_addr, result);
    result.port = ntohs(four.sin_port);
    return result;
  }
  if (address.ss_family != AF_INET6) return std::nullopt;
  const auto& six = reinterpret_cast<const sockaddr_in6&>(address);
  std::memcpy(result.ip.data(), &six.sin6_addr, result.ip.size());
  result.port = ntohs(six.sin6_port);
  return result;
}

}  // namespace nexa::access
