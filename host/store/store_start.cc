// The log's checksums held, so what does not fit here does not fit the schema.
#include "store/store_start.h"

#include "store/commit_answer.h"
#include "store/image/image_import.h"
#include "store/image/image_text.h"
#include "store/image/image_xml.h"
#include "store/log/log_rows.h"
#include "store/log/schema_stamp.h"
#include "store/validation/child_judgement.h"
#include "store/workspace.h"

namespace nexa::store {
namespace {

constexpr char kLoadOld[] = "; load the modules that it was written with";

std::string misfit(const std::string& file, const std::string& what,
                   const std::string& difference) {
  std::string text = file + ": the stored configuration does not fit the schema: " + what;
  if (!difference.empty()) text.append(" (").append(difference).append(")");
  return text + kLoadOld;
}

// What is configured, with defaults as far as libyang completes them without a verdict; without
// any where it dies of the conditions of some.
ImagePtr completed(const ImagePtr& configured) {
  const ChildOutcome outcome = run_in_child([&configured] {
    lyd_node* tree = tree_of_image(*configured, true).release();
    lyd_new_implicit_all(&tree, kestrel::context(), LYD_IMPLICIT_NO_STATE, nullptr);
    const TreePtr owner(lyd_first_sibling(tree));
    return difference_text(*configured, *judged_image(owner.get(), *configured));
  });
  ImagePtr image = configured;
  std::string error;
  const bool is_done = outcome.kind == ChildOutcome::Kind::kDone;
  return is_done && apply_text(outcome.result, image, error) ? image : configured;
}

bool write_base(CommitLog& log, const StartState& start, std::string& error) {
  if (!log.writable()) return true;
  LogSnapshot snapshot;
  snapshot.number = log.head();
  snapshot.config = configuration_xml(*start.image);
  snapshot.image = image_text(*start.image);
  snapshot.schema_hash = loaded_schema_hash();
  snapshot.judged = start.judged;
  const LogResult written = log.write_snapshot(snapshot, LogLimits());
  if (!written.ok()) error = written.text;
  return written.ok();
}

}  // namespace

void judge_configured(const ImagePtr& configured, Judge& judge, StartState& start) {
  using Kind = Judge::Verdict::Kind;
  // The defaults alone were judged when the judge was made, where that can do no harm.
  const auto place = configured->children().empty() ? Judge::Place::kHere : Judge::Place::kChild;
  const Judge::Verdict verdict =
      judge.judge_whole(configured, configured.get(), *configured, place);
  judge.take_back();
  if (verdict.kind == Kind::kValid) {
    start.image = verdict.image;
    start.judged = true;
    return;
  }
  start.image = completed(configured);
  start.violation = verdict.violation             ? words_of(*verdict.violation)
                    : verdict.kind == Kind::kDied ? "it cannot be judged: " + verdict.text
                                                  : "it cannot be judged: out of memory";
}

bool start_state(CommitLog& log, const std::string& file, Judge& judge, StartState& start,
                 std::vector<std::string>& notes, std::string& error) {
  const std::string stamp = schema_stamp();
  const std::string before = log.schema();
  const bool is_new = before.empty();
  const std::string difference =
      is_new || before == stamp ? std::string() : stamp_difference(before, stamp);
  StoredState state;
  std::string problem;
  if (difference.empty() && newest_image_state(log, state, problem)) {
    start.image = state.image;
    start.judged = state.judged;
  } else {
    if (!problem.empty()) notes.push_back(file + ": " + problem + "; the XML is read instead");
    problem.clear();
    state = StoredState();
    if (!configured_state(log, log.head(), state, problem)) {
      error = misfit(file, problem, difference);
      return false;
    }
    judge_configured(state.image, judge, start);
    if (!difference.empty()) {
      notes.push_back("the schema changed: " + difference +
                      (start.violation.empty() ? "; the stored configuration fits it" : ""));
    }
    // Validation must not have dropped what was configured, such as a node whose when is new.
    if (start.violation.empty() &&
        configuration_xml(*start.image) != configuration_xml(*state.image)) {
      start.violation = "a when statement removes configured nodes";
      start.image = completed(state.image);
      start.judged = false;
    }
    if (!write_base(log, start, error)) return false;
  }
  notes.push_back("configuration " + std::to_string(log.head()) + " from " + file + ", " +
                  std::to_string(state.replayed) + " commits replayed");
  if (!start.violation.empty()) {
    notes.push_back(file + ": the stored configuration breaks a rule: " + start.violation +
                    "; the next change has to mend it");
  }
  if (before == stamp || !log.writable()) return true;
  const LogResult stored = log.set_schema(stamp);
  if (!stored.ok()) error = stored.text;
  return stored.ok();
}

}  // namespace nexa::store
