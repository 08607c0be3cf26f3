// The configuration is stored twice: as images with the effects of the commits, which is what a
// start serves, and as XML with the differences of the commits. Libyang judges the second.
#include "store/verification.h"

#include <new>
#include <optional>

#include "store/image/image_comparison.h"
#include "store/image/schema_order.h"
#include "store/judge.h"
#include "store/log/commit_log.h"
#include "store/stored_state.h"

namespace nexa::store {
namespace {

using ReportKind = VerificationReport::Kind;

constexpr char kTwoWays[] = ": the image and the XML in the log have different configurations here";
constexpr char kOtherDefaults[] = ": what is served is not what validation makes of it here";
constexpr char kOutOfMemory[] = "out of memory";
// A server that commits much may drop what was to be read next.
constexpr int kMostTries = 3;

// The newest configuration, in the ways that the log has it.
struct Stored {
  StoredState configured;
  std::optional<StoredState> served;  // none without an image under the loaded schema
};

text::Result<Stored> read_states(const CommitLog& log) {
  text::Result<StoredState> configured = configured_state(log, log.head());
  if (!configured.ok()) return std::move(configured).failure();
  text::Result<std::optional<StoredState>> served = newest_image_state(log);
  if (!served.ok()) return std::move(served).failure();
  return Stored{std::move(configured).value(), std::move(served).value()};
}

VerificationReport judge(const Stored& stored, std::uint64_t number) {
  VerificationReport report;
  report.number = number;
  report.kind = ReportKind::kViolation;
  const ImagePtr& given = stored.configured.image;
  if (stored.served) {
    if (auto path = first_difference(*stored.served->image, *given, Compared::kConfigured)) {
      report.text = *path + kTwoWays;
      return report;
    }
  }
  // What the commits may have believed wrongly is not believed here.
  Judge judge(Validator::By::kLibyangAlone);
  const Judge::Verdict verdict = judge.judge_whole(given, nullptr, *given, Judge::Place::kHere);
  switch (verdict.kind) {
    case Judge::Verdict::Kind::kValid:
      break;
    case Judge::Verdict::Kind::kInvalid:
      report.text = verdict.violation->failure().line();
      return report;
    case Judge::Verdict::Kind::kDied:
    case Judge::Verdict::Kind::kFailed:
      report.kind = ReportKind::kUnjudged;
      report.text = verdict.text.empty() ? kOutOfMemory : verdict.text;
      return report;
  }
  if (stored.served) {
    if (auto path = first_difference(*stored.served->image, *verdict.image, Compared::kAll)) {
      report.text = *path + kOtherDefaults;
      return report;
    }
  }
  report.kind = ReportKind::kValid;
  return report;
}

}  // namespace

VerificationReport verify_directory(const std::string& directory) {
  number_schema();
  LogOptions place;
  place.directory = directory;
  place.read_only = true;
  VerificationReport report;
  try {
    std::uint64_t before = 0;
    for (int tries = 1;; ++tries) {
      // Verifies every row.
      const text::Result<std::unique_ptr<CommitLog>> opened = CommitLog::open(place);
      if (!opened.ok()) {
        report.text = opened.failure().line();
        return report;
      }
      const CommitLog& log = *opened.value();
      const std::uint64_t number = log.head();
      const text::Result<Stored> stored = read_states(log);
      if (stored.ok()) return judge(stored.value(), number);
      report.text = stored.failure().line();
      if (tries == kMostTries || (tries > 1 && number == before)) return report;
      before = number;
    }
  } catch (const std::bad_alloc&) {
    report.text = kOutOfMemory;
    return report;
  }
}

}  // namespace nexa::store
