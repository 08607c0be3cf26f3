// Which bytes are a character, and which characters a YANG string can hold.
#include "text/utf8.h"

#include <gtest/gtest.h>

#include <string>

namespace utf8_test {

using nexa::text::decode_utf8;
using nexa::text::encode_utf8;
using nexa::text::is_yang_character;
using nexa::text::prefix_length;
using nexa::text::yang_text_fault;

std::string encoded(std::uint32_t code) {
  char bytes[4];
  return {bytes, encode_utf8(code, bytes)};
}

TEST(Utf8, EveryCharacterIsReadAsItWasWritten) {
  for (std::uint32_t code = 0; code <= 0x10FFFF; ++code) {
    if (code >= 0xD800 && code <= 0xDFFF) continue;
    const std::string bytes = encoded(code);
    std::uint32_t read = 0;
    ASSERT_EQ(decode_utf8(bytes.data(), bytes.data() + bytes.size(), read), bytes.size()) << code;
    ASSERT_EQ(read, code);
    // Without its last byte it is none.
    if (bytes.size() == 1) continue;
    ASSERT_EQ(decode_utf8(bytes.data(), bytes.data() + bytes.size() - 1, read), 0U) << code;
  }
}

// The shortest forms are 128 + 1,920 + 61,440 + 1,048,576 characters; every other sequence of up
// to three bytes begins with none.
TEST(Utf8, NoOtherBytesAreACharacter) {
  std::uint32_t ones = 0;
  std::uint32_t twos = 0;
  std::uint32_t threes = 0;
  for (std::uint32_t bits = 0; bits < 0x1000000; ++bits) {
    const char bytes[] = {static_cast<char>(bits >> 16U), static_cast<char>(bits >> 8U),
                          static_cast<char>(bits)};
    std::uint32_t code = 0;
    const std::size_t size = decode_utf8(bytes, bytes + sizeof bytes, code);
    ones += size == 1 ? 1 : 0;
    twos += size == 2 ? 1 : 0;
    threes += size == 3 ? 1 : 0;
  }
  EXPECT_EQ(ones, 128U << 16U);
  EXPECT_EQ(twos, 1920U << 8U);
  EXPECT_EQ(threes, 61440U);
}

TEST(YangCharacter, FollowsTheGrammar) {
  const auto in_grammar = [](std::uint32_t code) {
    // RFC 7950, section 14, range by range.
    if (code == 0x9 || code == 0xA || code == 0xD) return true;
    if ((code >= 0x20 && code <= 0xD7FF) || (code >= 0xE000 && code <= 0xFDCF)) return true;
    if (code >= 0xFDF0 && code <= 0xFFFD) return true;
    for (std::uint32_t plane = 1; plane <= 16; ++plane) {
      if (code >= plane * 0x10000 && code <= plane * 0x10000 + 0xFFFD) return true;
    }
    return false;
  };
  for (std::uint32_t code = 0; code <= 0x110000; ++code) {
    ASSERT_EQ(is_yang_character(code), in_grammar(code)) << code;
  }
}

TEST(YangText, SaysWhatIsWrong) {
  EXPECT_EQ(yang_text_fault(""), nullptr);
  EXPECT_EQ(yang_text_fault("a\tb\r\n\x7F €\U0001F600"), nullptr);
  EXPECT_STREQ(yang_text_fault("a\xFF"), "not UTF-8");
  EXPECT_STREQ(yang_text_fault("\xED\xA0\x80"), "not UTF-8");
  EXPECT_STREQ(yang_text_fault("a\x01"), "a character that no YANG string can hold");
  EXPECT_STREQ(yang_text_fault(std::string_view("\0", 1)),
               "a character that no YANG string can hold");
  EXPECT_STREQ(yang_text_fault(encoded(0xFDD0)), "a character that no YANG string can hold");
  EXPECT_STREQ(yang_text_fault(encoded(0xFFFF)), "a character that no YANG string can hold");
  EXPECT_STREQ(yang_text_fault(encoded(0x1FFFE)), "a character that no YANG string can hold");
}

TEST(PrefixLength, StaysWithinTheBound) {
  EXPECT_EQ(prefix_length("abc", 10), 3U);
  EXPECT_EQ(prefix_length("a\xC3\xA9", 2), 1U);
  EXPECT_EQ(prefix_length("\x80\x80\x80\x80\x80\x80", 4), 4U);
}

}  // namespace utf8_test
