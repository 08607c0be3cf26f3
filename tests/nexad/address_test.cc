// Addresses as people write them.
#include "address.h"

#include <gtest/gtest.h>

namespace {

using nexad::is_loopback;
using nexad::parse_address;

TEST(ParseAddress, TakesNamesAndBothFamilies) {
  EXPECT_EQ(parse_address("127.0.0.1:9339")->text(), "127.0.0.1:9339");
  EXPECT_EQ(parse_address("[::1]:0")->text(), "[::1]:0");
  EXPECT_EQ(parse_address("[::1]:0")->host, "::1");
  EXPECT_EQ(parse_address("localhost:65535")->port, 65535);
  EXPECT_EQ(parse_address("*:80")->text(), ":80");
  EXPECT_EQ(parse_address(":80")->host, "");
}

TEST(ParseAddress, RefusesEverythingElse) {
  for (const char* text : {"", "127.0.0.1", "127.0.0.1:", "127.0.0.1:x", "127.0.0.1:65536", "::1:9",
                           "[::1]", "[::1:9", "[x]:9", "a b:9", ":-1", ":+1", "[]:9", "a:9 "}) {
    EXPECT_FALSE(parse_address(text)) << text;
  }
}

TEST(IsLoopback, KnowsWhoCanReachAnAddress) {
  for (const char* text : {"127.0.0.1:1", "127.9.9.9:1", "[::1]:1", "localhost:1"}) {
    EXPECT_TRUE(is_loopback(*parse_address(text))) << text;
  }
  for (const char* text : {":1", "0.0.0.0:1", "[::]:1", "128.0.0.1:1", "example.net:1"}) {
    EXPECT_FALSE(is_loopback(*parse_address(text))) << text;
  }
}

}  // namespace
