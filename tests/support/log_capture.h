// Collects what gpr_log emits, so that a test can assert severity, file and text of every line.
//
//   LogCapture log;                       // DEBUG and above
//   ...
//   EXPECT_EQ(log.take(), (Lines{{GPR_LOG_SEVERITY_ERROR, "unit.cc", "text"}}));
//
// One at a time; the previous log function does not come back, a silent one takes its place.
#ifndef TESTS_SUPPORT_LOG_CAPTURE_H_
#define TESTS_SUPPORT_LOG_CAPTURE_H_

#include <grpc/support/log.h>

#include <ostream>
#include <string>
#include <vector>

namespace nexa_test {

struct Line {
  gpr_log_severity severity;
  std::string file;
  std::string text;

  friend bool operator==(const Line& left, const Line& right) {
    return left.severity == right.severity && left.file == right.file && left.text == right.text;
  }
  friend std::ostream& operator<<(std::ostream& out, const Line& line) {
    return out << gpr_log_severity_string(line.severity) << " " << line.file << ": " << line.text;
  }
};

using Lines = std::vector<Line>;

class LogCapture {
 public:
  explicit LogCapture(gpr_log_severity least = GPR_LOG_SEVERITY_DEBUG);
  ~LogCapture();
  LogCapture(const LogCapture&) = delete;
  LogCapture& operator=(const LogCapture&) = delete;

  // Everything since the last call.
  Lines take();
  // Of everything since the last call, the lines of this severity.
  Lines take(gpr_log_severity severity);
  // Of everything since the last call, the texts only.
  std::vector<std::string> take_texts();

 private:
  Lines lines_;
};

// `text` with every run of digits after " at ", " at line " or "0x" replaced by '#': line numbers
// and addresses are no part of what a test asserts.
std::string mask_numbers(const std::string& text);

}  // namespace nexa_test

#endif  // TESTS_SUPPORT_LOG_CAPTURE_H_
