// Lower case for ASCII only, and the XML trace.
#include "kitbase/utilities.h"

#include <gtest/gtest.h>
#include <rapidcheck.h>
#include <rapidcheck/gtest.h>

#include <string>

#include "support/log_capture.h"

namespace kitbase_utilities_test {

using kitbase::Utilities;
using nexa_test::Line;
using nexa_test::Lines;
using nexa_test::LogCapture;

constexpr char kFile[] = "platform/kitbase/src/utilities.cc";

const unsigned char* bytes(const char* text) {
  return reinterpret_cast<const unsigned char*>(text);
}

TEST(ToLower, LowersAsciiLetters) { EXPECT_EQ(Utilities::to_lower("Foo-BAR.9_z"), "foo-bar.9_z"); }

TEST(ToLower, KeepsTheEmptyText) { EXPECT_EQ(Utilities::to_lower(""), ""); }

TEST(ToLower, KeepsEveryOtherByte) {
  std::string text;
  for (int c = 0; c < 256; ++c) text.push_back(static_cast<char>(c));
  std::string expected = text;
  for (std::size_t c = 'A'; c <= 'Z'; ++c) expected[c] = static_cast<char>(c - 'A' + 'a');
  EXPECT_EQ(Utilities::to_lower(text), expected);
}

RC_GTEST_PROP(ToLower, IsItsOwnFixedPoint, (const std::string& text)) {
  const std::string lower = Utilities::to_lower(text);
  RC_ASSERT(lower.size() == text.size());
  RC_ASSERT(Utilities::to_lower(lower) == lower);
}

TEST(XmlLog, LogsTheDocumentAtDebugInOneLine) {
  LogCapture log;
  Utilities::xmlLog(bytes("<a>1</a>\n"), 9);
  EXPECT_EQ(log.take(), (Lines{{GPR_LOG_SEVERITY_DEBUG, kFile, "<a>1</a>\n"}}));
}

TEST(XmlLog, LogsNoMoreThanTheLength) {
  LogCapture log;
  Utilities::xmlLog(bytes("<a/><b/>"), 4);
  Utilities::xmlLog(bytes("<a/><b/>"), 1);
  EXPECT_EQ(log.take(),
            (Lines{{GPR_LOG_SEVERITY_DEBUG, kFile, "<a/>"}, {GPR_LOG_SEVERITY_DEBUG, kFile, "<"}}));
}

TEST(XmlLog, TakesPercentSignsAsText) {
  LogCapture log;
  Utilities::xmlLog(bytes("<a>%s%n</a>"), 11);
  EXPECT_EQ(log.take(), (Lines{{GPR_LOG_SEVERITY_DEBUG, kFile, "<a>%s%n</a>"}}));
}

TEST(XmlLog, IsSilentForNothing) {
  LogCapture log;
  Utilities::xmlLog(nullptr, 4);
  Utilities::xmlLog(bytes("<a/>"), 0);
  Utilities::xmlLog(bytes("<a/>"), -1);
  EXPECT_EQ(log.take(), Lines{});
}

TEST(XmlLog, IsSilentWhenDebugIsOff) {
  LogCapture log(GPR_LOG_SEVERITY_INFO);
  Utilities::xmlLog(bytes("<a/>"), 4);
  EXPECT_EQ(log.take(), Lines{});
}

}  // namespace kitbase_utilities_test
