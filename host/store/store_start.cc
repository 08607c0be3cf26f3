// The log's checksums held, so what does not fit here does not fit the schema.
#include "store/store_start.h"

#include "store/image/image_import.h"
#include "store/image/image_text.h"
#include "store/image/image_xml.h"
#include "store/log/log_rows.h"
#include "store/log/schema_stamp.h"
#include "store/validation/child_judgement.h"
#include "store/workspace.h"

namespace nexa::store {
namespace {

constexpr char kNextCommit[] = "; the next commit brings it up to the loaded modules first";
constexpr char kLoadOld[] = "; load the modules that it was written with";

text::Failure misfit(const std::string& file, const text::Failure& what,
                     const std::string& difference) {
  std::string rule = "the stored configuration does not fit the schema: " + what.line();
  if (!difference.empty()) rule.append(" (").append(difference).append(")");
  return text::unusable(file, rule + kLoadOld);
}

// What is configured, with defaults as far as libyang completes them without a verdict; without
// any where it dies of the conditions of some.
ImagePtr completed(const ImagePtr& configured) {
  const ChildOutcome outcome = run_in_child([&configured] {
    lyd_node* tree = tree_of_image(*configured, true).release();
    lyd_new_implicit_all(&tree, kestrel::context(), LYD_IMPLICIT_NO_STATE, nullptr);
    const TreePtr owner(lyd_first_sibling(tree));
    return difference_text(
        *configured,
        *judged_image(owner.get(), *configured, [](const lysc_node* /*list*/) { return false; }));
  });
  ImagePtr image = configured;
  const bool is_done = outcome.kind == ChildOutcome::Kind::kDone;
  return is_done && apply_text(outcome.result, image).ok() ? image : configured;
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
  start.violation = verdict.violation             ? verdict.violation->failure().line()
                    : verdict.kind == Kind::kDied ? "it cannot be judged: " + verdict.text
                                                  : "it cannot be judged: out of memory";
}

text::Result<StartState> start_state(CommitLog& log, const std::string& file, Judge& judge,
                                     std::vector<std::string>& notes) {
  const std::string stamp = schema_stamp();
  const std::string before = log.schema();
  const bool is_new = before.empty();
  const std::string difference =
      is_new || before == stamp ? std::string() : stamp_difference(before, stamp);
  text::Result<std::optional<StoredState>> newest = std::nullopt;
  if (difference.empty()) newest = newest_image_state(log);
  StartState start;
  StoredState state;
  start.owes_base = !newest.ok() || !newest.value() || before != stamp;
  if (newest.ok() && newest.value()) {
    state = *std::move(newest).value();
    start.image = state.image;
    start.judged = state.judged;
  } else {
    if (!newest.ok()) {
      notes.push_back(file + ": " + newest.failure().line() + "; the XML is read instead");
    }
    text::Result<StoredState> configured = configured_state(log, log.head());
    if (!configured.ok()) return misfit(file, configured.failure(), difference);
    state = std::move(configured).value();
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
  }
  notes.push_back("configuration " + std::to_string(log.head()) + " from " + file + ", " +
                  std::to_string(state.replayed) + " commits replayed");
  if (!start.violation.empty()) {
    notes.push_back(file + ": the stored configuration breaks a rule: " + start.violation +
                    "; the next change has to mend it");
  }
  if (!start.owes_base || !log.writable()) return start;
  const LogResult written = write_base(log, *start.image, start.judged);
  start.owes_base = !written.ok();
  if (!written.ok()) notes.push_back(file + ": " + written.text + kNextCommit);
  return start;
}

LogSnapshot row_of(std::uint64_t number, const ImageInner& image, const std::string& schema_hash) {
  LogSnapshot row;
  row.number = number;
  row.config = configuration_xml(image);
  row.image = image_text(image);
  row.schema_hash = schema_hash;
  return row;
}

LogResult write_base(CommitLog& log, const ImageInner& image, bool judged) {
  // This opens a log again that could not be written before.
  if (LogResult stamped = log.set_schema(schema_stamp()); !stamped.ok()) return stamped;
  LogSnapshot row = row_of(log.head(), image, loaded_schema_hash());
  row.judged = judged;
  return log.write_snapshot(std::move(row), LogLimits());
}

}  // namespace nexa::store
