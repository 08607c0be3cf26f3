// A rule begins with the path of a node or with a name of a rule, so the two fixed beginnings are
// never part of one.
#include "store/verification_report.h"

#include <charconv>

namespace nexa::store {
namespace {

constexpr std::string_view kCommit = "commit ";
constexpr std::string_view kColon = ": ";
constexpr std::string_view kValidText = "valid";
constexpr std::string_view kCannotBeJudged = "cannot be judged: ";
constexpr std::string_view kCannotBeRead = "cannot be read: ";

bool take(std::string_view beginning, std::string_view& text) {
  if (!text.starts_with(beginning)) return false;
  text.remove_prefix(beginning.size());
  return true;
}

// Texts come from models and disks; a report is one line whatever they hold.
std::string one_line(std::string_view text) {
  std::string line(text);
  for (char& c : line) {
    if (static_cast<unsigned char>(c) < 0x20 || c == 0x7f) c = ' ';
  }
  return line;
}

}  // namespace

std::string VerificationReport::line() const {
  if (kind == Kind::kUnreadable) return std::string(kCannotBeRead) + one_line(text);
  std::string line(kCommit);
  line.append(std::to_string(number)).append(kColon);
  if (kind == Kind::kValid) return line.append(kValidText);
  if (kind == Kind::kUnjudged) line.append(kCannotBeJudged);
  return line.append(one_line(text));
}

std::optional<VerificationReport> VerificationReport::of_line(std::string_view line) {
  VerificationReport report;
  if (take(kCannotBeRead, line)) {
    report.text = line;
    return report;
  }
  if (!take(kCommit, line)) return std::nullopt;
  const auto [rest, fault] = std::from_chars(line.data(), line.data() + line.size(), report.number);
  if (fault != std::errc()) return std::nullopt;
  line.remove_prefix(static_cast<std::size_t>(rest - line.data()));
  if (!take(kColon, line)) return std::nullopt;
  if (line == kValidText) {
    report.kind = Kind::kValid;
    return report;
  }
  report.kind = take(kCannotBeJudged, line) ? Kind::kUnjudged : Kind::kViolation;
  report.text = line;
  return report;
}

}  // namespace nexa::store
