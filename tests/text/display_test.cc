// Texts of clients in messages, log lines and on terminals.
#include "text/display.h"

#include <gtest/gtest.h>

namespace {

using nexa::text::printable;
using nexa::text::printable_lines;
using nexa::text::quoted;

TEST(Printable, LeavesTextAsItIs) {
  EXPECT_EQ(printable(""), "");
  EXPECT_EQ(printable("a \"b\" \\ c"), "a \"b\" \\ c");
  EXPECT_EQ(printable("Zürich €"), "Zürich €");
  EXPECT_EQ(printable("\xF0\x9F\x98\x80"), "\xF0\x9F\x98\x80");
}

TEST(Printable, EscapesControlCharacters) {
  EXPECT_EQ(printable("a\nb\r\t\x1b[0m\x7f"), "a\\nb\\r\\t\\x1B[0m\\x7F");
  EXPECT_EQ(printable(std::string_view("a\0b", 3)), "a\\x00b");
  EXPECT_EQ(printable("\xC2\x85"), "\\xC2\\x85");
  EXPECT_EQ(printable("\xC2\xA0"), "\xC2\xA0");
}

TEST(Printable, EscapesWhatChangesTheDirectionOfWriting) {
  EXPECT_EQ(printable("\u202Eevil"), "\\xE2\\x80\\xAEevil");
  EXPECT_EQ(printable("\u2066\u2069"), "\\xE2\\x81\\xA6\\xE2\\x81\\xA9");
  EXPECT_EQ(printable("\u2028"), "\\xE2\\x80\\xA8");
  EXPECT_EQ(printable("\u061C"), "\\xD8\\x9C");
  EXPECT_EQ(printable("\u2027\u202F"), "\u2027\u202F");
}

TEST(Printable, EscapesWhatIsNotUtf8) {
  EXPECT_EQ(printable("\x80"), "\\x80");
  EXPECT_EQ(printable("\xC0\x80"), "\\xC0\\x80");
  EXPECT_EQ(printable("\xC3"), "\\xC3");
  EXPECT_EQ(printable("\xE2\x82"), "\\xE2\\x82");
  EXPECT_EQ(printable("\xE0\x80\x80"), "\\xE0\\x80\\x80");
  EXPECT_EQ(printable("\xED\xA0\x80"), "\\xED\\xA0\\x80");
  EXPECT_EQ(printable("\xF0\x80\x80\x80"), "\\xF0\\x80\\x80\\x80");
  EXPECT_EQ(printable("\xF4\x90\x80\x80"), "\\xF4\\x90\\x80\\x80");
  EXPECT_EQ(printable("\xF5\x80\x80\x80"), "\\xF5\\x80\\x80\\x80");
  EXPECT_EQ(printable("\xC3("), "\\xC3(");
}

TEST(Printable, EscapesOnce) {
  const std::string once = printable("a\nb\x1b\xFF\\");
  EXPECT_EQ(printable(once), once);
}

TEST(Printable, CutsBetweenCharacters) {
  EXPECT_EQ(printable("abcdef", 6), "abcdef");
  EXPECT_EQ(printable("abcdef", 5), "abcde...");
  EXPECT_EQ(printable("ab€", 5), "ab€");
  EXPECT_EQ(printable("ab€f", 4), "ab...");
  EXPECT_EQ(printable("abc", 0), "...");
}

TEST(PrintableLines, KeepsLinesAndTabs) {
  EXPECT_EQ(printable_lines("<a>\n\t<b>\r</b>\x1b[2J"), "<a>\n\t<b>\\r</b>\\x1B[2J");
}

TEST(Quoted, EscapesQuotesAndBackslashes) {
  EXPECT_EQ(quoted("a\"b\\c\n"), "\"a\\\"b\\\\c\\n\"");
  EXPECT_EQ(quoted("abc", 2), "\"ab...\"");
  EXPECT_EQ(quoted(""), "\"\"");
}

}  // namespace
