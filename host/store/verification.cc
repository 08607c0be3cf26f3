// The configuration is stored twice: as images with the effects of the commits, which is what a
// start serves, and as XML with the differences of the commits. Libyang judges the second.
#include "store/verification.h"

#include <new>

#include "store/commit_answer.h"
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
  StoredState served;
  bool is_served = false;  // there is an image under the loaded schema
};

bool read_states(const CommitLog& log, Stored& stored, std::string& error) {
  stored = Stored();
  if (!configured_state(log, log.head(), stored.configured, error)) return false;
  stored.is_served = newest_image_state(log, stored.served, error);
  return stored.is_served || error.empty();
}

VerificationReport judge(const Stored& stored, std::uint64_t number) {
  VerificationReport report;
  report.number = number;
  report.kind = ReportKind::kViolation;
  const ImagePtr& given = stored.configured.image;
  if (stored.is_served) {
    if (auto path = first_difference(*stored.served.image, *given, Compared::kConfigured)) {
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
      report.text = words_of(*verdict.violation);
      return report;
    case Judge::Verdict::Kind::kDied:
    case Judge::Verdict::Kind::kFailed:
      report.kind = ReportKind::kUnjudged;
      report.text = verdict.text.empty() ? kOutOfMemory : verdict.text;
      return report;
  }
  if (stored.is_served) {
    if (auto path = first_difference(*stored.served.image, *verdict.image, Compared::kAll)) {
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
    Stored stored;
    std::uint64_t before = 0;
    for (int tries = 1;; ++tries) {
      // Verifies every row.
      const std::unique_ptr<CommitLog> log = CommitLog::open(place, report.text);
      if (log == nullptr) return report;
      const std::uint64_t number = log->head();
      report.text.clear();
      if (read_states(*log, stored, report.text)) return judge(stored, number);
      if (tries == kMostTries || (tries > 1 && number == before)) return report;
      before = number;
    }
  } catch (const std::bad_alloc&) {
    report.text = kOutOfMemory;
    return report;
  }
}

}  // namespace nexa::store
