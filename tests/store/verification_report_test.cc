// The line of a report, both ways.
#include "store/verification_report.h"

#include <gtest/gtest.h>

namespace verification_report_test {

using nexa::store::VerificationReport;
using Kind = VerificationReport::Kind;

void expect_line(Kind kind, std::uint64_t number, const std::string& text,
                 const std::string& line) {
  EXPECT_EQ((VerificationReport{kind, number, text}.line()), line);
  const auto report = VerificationReport::of_line(line);
  ASSERT_TRUE(report) << line;
  EXPECT_EQ(report->kind, kind) << line;
  EXPECT_EQ(report->number, number) << line;
  EXPECT_EQ(report->text, text) << line;
}

TEST(VerificationReport, HasOneLineForEachKind) {
  expect_line(Kind::kValid, 17, "", "commit 17: valid");
  expect_line(Kind::kValid, 0, "", "commit 0: valid");
  expect_line(Kind::kViolation, 17, "/m:top/leaf: must \"../other\"",
              "commit 17: /m:top/leaf: must \"../other\"");
  expect_line(Kind::kUnjudged, 3, "died of signal 11",
              "commit 3: cannot be judged: died of signal 11");
  expect_line(Kind::kUnreadable, 0, "nexa.db: damaged", "cannot be read: nexa.db: damaged");
}

TEST(VerificationReport, StaysOneLineWhateverTheTextHolds) {
  EXPECT_EQ((VerificationReport{Kind::kViolation, 1, "a\nb\x1b[0m"}.line()), "commit 1: a b [0m");
  EXPECT_EQ((VerificationReport{Kind::kViolation, 1, "a\x7f~\x1f"}.line()), "commit 1: a ~ ");
}

TEST(VerificationReport, OtherLinesAreNone) {
  for (const char* line :
       {"", "valid", "commit", "commit : valid", "commit x: valid", "commit 1 valid",
        "commit 99999999999999999999: valid", "nexa: cannot open"}) {
    EXPECT_FALSE(VerificationReport::of_line(line)) << line;
  }
}

}  // namespace verification_report_test
