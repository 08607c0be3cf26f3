// Splits at the last colon; a host with colons of its own stands in brackets.
#include "address.h"

#include <arpa/inet.h>
#include <netinet/in.h>

#include <charconv>

namespace nexad {
namespace {

bool is_host(std::string_view host) {
  for (const char c : host) {
    if (static_cast<unsigned char>(c) <= 0x20 || c == 0x7f || c == '[' || c == ']') return false;
  }
  return host.size() <= 255;
}

}  // namespace

std::string Address::text() const {
  const bool bracketed = host.find(':') != std::string::npos;
  return (bracketed ? "[" + host + "]" : host) + ":" + std::to_string(port);
}

std::optional<Address> parse_address(std::string_view text) {
  const auto colon = text.rfind(':');
  if (colon == std::string_view::npos) return std::nullopt;
  std::string_view host = text.substr(0, colon);
  const std::string_view port = text.substr(colon + 1);
  if (host.starts_with('[') && host.ends_with(']') && host.size() > 2) {
    host = host.substr(1, host.size() - 2);
    in6_addr parsed{};
    const std::string without_zone(host.substr(0, host.find('%')));
    if (inet_pton(AF_INET6, without_zone.c_str(), &parsed) != 1) return std::nullopt;
  } else if (host.find(':') != std::string_view::npos) {
    return std::nullopt;
  }
  if (host == "*") host = {};
  if (!is_host(host)) return std::nullopt;
  Address address{std::string(host), 0};
  const auto [end, fault] =
      std::from_chars(port.data(), port.data() + port.size(), address.port, 10);
  if (fault != std::errc() || end != port.data() + port.size()) return std::nullopt;
  return address;
}

bool is_loopback(const Address& address) {
  if (address.host == "localhost") return true;
  in_addr four{};
  if (inet_pton(AF_INET, address.host.c_str(), &four) == 1) {
    return (ntohl(four.s_addr) >> 24) == 127;
  }
  in6_addr six{};
  return inet_pton(AF_INET6, address.host.c_str(), &six) == 1 && IN6_IS_ADDR_LOOPBACK(&six);
}

}  // namespace nexad
