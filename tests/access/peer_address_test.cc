// Addresses of peers in the forms that gRPC and sockets give them.
#include "access/peer_address.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>

namespace {

using namespace nexa::access;

TEST(ParsePeer, ReadsBothFamilies) {
  for (const char* text : {"ipv4:127.0.0.1:40000", "ipv6:[::ffff:127.0.0.1]:40000",
                           "ipv6:%5B::ffff:7f00:1%5D:40000"}) {
    const auto peer = parse_peer(text);
    ASSERT_TRUE(peer) << text;
    EXPECT_EQ(peer->port, 40000) << text;
    EXPECT_EQ(peer->key(), parse_peer("ipv4:127.0.0.1:40000")->key()) << text;
  }
  EXPECT_EQ(parse_peer("ipv6:%5Bfe80::1%25eth0%5D:1")->key(),
            parse_peer("ipv6:[fe80::1]:1")->key());
  EXPECT_NE(parse_peer("ipv4:127.0.0.1:1")->key(), parse_peer("ipv4:127.0.0.1:2")->key());
}

TEST(ParsePeer, RefusesOthers) {
  for (const char* text :
       {"", "unix:/tmp/socket", "ipv4:", "ipv4:127.0.0.1", "ipv4:127.0.0.1:", "ipv4:127.0.0.1:x",
        "ipv4:127.0.0.1:65536", "ipv4:127.0.0:1", "ipv6:::1:1", "ipv6:[::1:1", "ipv6:[::g]:1"}) {
    EXPECT_FALSE(parse_peer(text)) << text;
  }
}

TEST(PeerAddress, HasANetworkOfOneAddressOrOf64Bits) {
  const auto network = [](const char* text) { return parse_peer(text)->network(); };
  EXPECT_EQ(network("ipv4:192.0.2.1:1"), network("ipv4:192.0.2.1:2"));
  EXPECT_NE(network("ipv4:192.0.2.1:1"), network("ipv4:192.0.2.2:1"));
  EXPECT_EQ(network("ipv6:[2001:db8::1]:1"), network("ipv6:[2001:db8::ffff:1]:1"));
  EXPECT_NE(network("ipv6:[2001:db8::1]:1"), network("ipv6:[2001:db8:0:1::1]:1"));
}

TEST(PeerOf, IsWhatGrpcWrites) {
  sockaddr_storage storage{};
  auto& four = reinterpret_cast<sockaddr_in&>(storage);
  four.sin_family = AF_INET;
  four.sin_port = htons(7);
  inet_pton(AF_INET, "192.0.2.1", &four.sin_addr);
  EXPECT_EQ(peer_of(storage)->key(), parse_peer("ipv4:192.0.2.1:7")->key());
  auto& six = reinterpret_cast<sockaddr_in6&>(storage);
  six.sin6_family = AF_INET6;
  inet_pton(AF_INET6, "::ffff:192.0.2.1", &six.sin6_addr);
  EXPECT_EQ(peer_of(storage)->key(), parse_peer("ipv4:192.0.2.1:7")->key());
  storage.ss_family = AF_UNIX;
  EXPECT_FALSE(peer_of(storage));
}

}  // namespace
