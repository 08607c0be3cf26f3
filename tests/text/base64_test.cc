// Bytes to text and back.
#include "text/base64.h"

#include <gtest/gtest.h>

namespace base64_test {

std::string encoded(std::string_view bytes) {
  std::string out;
  nexa::text::append_base64(bytes, out);
  return out;
}

std::string decoded(std::string_view text) {
  std::string out;
  return nexa::text::append_decoded_base64(text, out) ? out : "refused";
}

TEST(Base64, EveryLengthHasItsPadding) {
  EXPECT_EQ(encoded(""), "");
  EXPECT_EQ(encoded("f"), "Zg==");
  EXPECT_EQ(encoded("fo"), "Zm8=");
  EXPECT_EQ(encoded("foo"), "Zm9v");
  EXPECT_EQ(encoded("foob"), "Zm9vYg==");
}

TEST(Base64, EveryByteComesBack) {
  std::string all;
  for (int byte = 0; byte < 256; ++byte) all.push_back(static_cast<char>(byte));
  for (std::size_t length = 0; length <= all.size(); ++length) {
    EXPECT_EQ(decoded(encoded(all.substr(0, length))), all.substr(0, length));
  }
}

TEST(Base64, BlanksCountNothingAndOtherTextIsRefused) {
  EXPECT_EQ(decoded("Z g\n=\t=\r"), "f");
  for (const char* text :
       {"Zg=", "Zg", "Z", "Zg==Zg==", "=Zg=", "Zm9*", "Zg===", "====", "Zm9v="}) {
    EXPECT_EQ(decoded(text), "refused") << text;
  }
}

}  // namespace base64_test
