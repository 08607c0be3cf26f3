// Texts of clients in messages and log lines.
#include "server/text_form.h"

#include <gtest/gtest.h>

namespace {

using nexa::host::prefix_length;
using nexa::host::printable;
using nexa::host::quoted;

constexpr std::size_t kNoBound = std::string::npos;

TEST(Printable, LeavesTextAsItIs) {
  EXPECT_EQ(printable("", kNoBound), "");
  EXPECT_EQ(printable("a \"b\" \\ c", kNoBound), "a \"b\" \\ c");
  EXPECT_EQ(printable("Zürich €", kNoBound), "Zürich €");
  EXPECT_EQ(printable("\xF0\x9F\x98\x80", kNoBound), "\xF0\x9F\x98\x80");
}

TEST(Printable, EscapesControlCharacters) {
  EXPECT_EQ(printable("a\nb\r\t\x1b[0m\x7f", kNoBound), "a\\x0Ab\\x0D\\x09\\x1B[0m\\x7F");
  EXPECT_EQ(printable(std::string_view("a\0b", 3), kNoBound), "a\\x00b");
  EXPECT_EQ(printable("\xC2\x85", kNoBound), "\\xC2\\x85");
  EXPECT_EQ(printable("\xC2\xA0", kNoBound), "\xC2\xA0");
}

TEST(Printable, EscapesWhatIsNotUtf8) {
  EXPECT_EQ(printable("\x80", kNoBound), "\\x80");
  EXPECT_EQ(printable("\xC0\x80", kNoBound), "\\xC0\\x80");
  EXPECT_EQ(printable("\xC3", kNoBound), "\\xC3");
  EXPECT_EQ(printable("\xE2\x82", kNoBound), "\\xE2\\x82");
  EXPECT_EQ(printable("\xE0\x80\x80", kNoBound), "\\xE0\\x80\\x80");
  EXPECT_EQ(printable("\xED\xA0\x80", kNoBound), "\\xED\\xA0\\x80");
  EXPECT_EQ(printable("\xF0\x80\x80\x80", kNoBound), "\\xF0\\x80\\x80\\x80");
  EXPECT_EQ(printable("\xF4\x90\x80\x80", kNoBound), "\\xF4\\x90\\x80\\x80");
  EXPECT_EQ(printable("\xF5\x80\x80\x80", kNoBound), "\\xF5\\x80\\x80\\x80");
  EXPECT_EQ(printable("\xC3(", kNoBound), "\\xC3(");
}

TEST(Printable, CutsBetweenCharacters) {
  EXPECT_EQ(printable("abcdef", 6), "abcdef");
  EXPECT_EQ(printable("abcdef", 5), "abcde...");
  EXPECT_EQ(printable("ab€", 5), "ab€");
  EXPECT_EQ(printable("ab€f", 4), "ab...");
  EXPECT_EQ(printable("abc", 0), "...");
}

TEST(Quoted, EscapesQuotesAndBackslashes) {
  EXPECT_EQ(quoted("a\"b\\c\n", kNoBound), "\"a\\\"b\\\\c\\x0A\"");
  EXPECT_EQ(quoted("abc", 2), "\"ab...\"");
}

TEST(PrefixLength, StaysWithinTheBound) {
  EXPECT_EQ(prefix_length("abc", 10), 3U);
  EXPECT_EQ(prefix_length("a\xC3\xA9", 2), 1U);
  EXPECT_EQ(prefix_length("\x80\x80\x80\x80\x80\x80", 4), 4U);
}

}  // namespace
