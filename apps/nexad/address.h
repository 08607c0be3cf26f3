// Network addresses as people write them: "127.0.0.1:9339", "[::1]:9339", "localhost:0", ":9339".
#ifndef APPS_NEXAD_ADDRESS_H_
#define APPS_NEXAD_ADDRESS_H_

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace nexad {

struct Address {
  std::string host;  // without brackets; empty: every address of the machine
  std::uint16_t port = 0;

  // As it is written, IPv6 in brackets.
  std::string text() const;
};

// nullopt when the text is no address. "*" is the same as no host. Resolves no name.
std::optional<Address> parse_address(std::string_view text);

// Whether only this machine can reach it: 127.0.0.0/8, ::1 or "localhost".
bool is_loopback(const Address& address);

}  // namespace nexad

#endif  // APPS_NEXAD_ADDRESS_H_
