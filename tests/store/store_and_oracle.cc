// A disagreement ends the case: what follows it would only repeat it.
#include "store/store_and_oracle.h"
#include "store/oracle_edits.h"
#include "store/validation/constraint_index.h"
#include "support/targets.h"

namespace nexa_test {

using nexa::store::CommitResult;
using Verdict = OracleAnswer::Verdict;

namespace {

constexpr std::uint64_t kMostCrashes = 10;

// Answers that say nothing about the configuration.
bool is_failure(const grpc::Status& status) {
  return !status.ok() && status.error_code() != grpc::StatusCode::INVALID_ARGUMENT &&
         status.error_code() != grpc::StatusCode::FAILED_PRECONDITION &&
         status.error_code() != grpc::StatusCode::NOT_FOUND;
}

std::string text_of(const CommitResult& result) {
  if (result.status.ok()) return "OK, commit " + std::to_string(result.number);
  return std::to_string(result.status.error_code()) + " " + result.status.error_message();
}

std::string first_difference(const std::string& one, const std::string& other) {
  std::size_t at = 0;
  while (at < one.size() && at < other.size() && one[at] == other[at]) ++at;
  const std::size_t from = at > 60 ? at - 60 : 0;
  return "\n  first difference:\n    store:  ..." + one.substr(from, 160) + "\n    oracle: ..." +
         other.substr(from, 160);
}

bool is_death(const grpc::Status& status) {
  return status.error_message().rfind("the configuration cannot be judged: died of signal ", 0) ==
         0;
}

}  // namespace

StoreAndOracle::StoreAndOracle(std::string directory, bool is_careful, bool may_crash,
                               CaseOutcome& outcome)
    : directory_(std::move(directory)),
      may_crash_(may_crash),
      has_hazard_(nexa::store::ConstraintIndex(kestrel::context()).is_risky()),
      oracle_(is_careful || may_crash),
      outcome_(outcome) {
  open();
  if (store_ == nullptr) return;
  commits_.push_back({0, normal_xml(store_xml()), normal_json(store_json()), store_xml()});
  const OracleAnswer answer = oracle_.judge({});
  if (answer.verdict == Verdict::kAccepted && commits_[0].json != normal_json(answer.json)) {
    fail("defaults at first",
         "store:  " + commits_[0].json + "\noracle: " + normal_json(answer.json));
  }
}

void StoreAndOracle::fail(const std::string& kind, const std::string& details) {
  if (!outcome_.kind.empty()) return;
  outcome_.kind = kind;
  outcome_.details = details;
}

void StoreAndOracle::open() {
  nexa::store::TreeStoreOptions options;
  options.directory = directory_;
  options.sync = false;
  options.commits_per_snapshot = 40;
  options.history_limit = 0;
  auto opened = nexa::store::open_tree_store(options);
  if (!opened.ok()) fail("start refused", opened.failure().line());
  store_ = std::move(opened).value();
}

std::string StoreAndOracle::store_xml() const { return without_config(store_->snapshot()->xml()); }

std::string StoreAndOracle::store_json() {
  nexa::store::Query query;
  query.encoding = gnmi::JSON_IETF;
  std::string text;
  const grpc::Status status = store_->snapshot()->read(
      query, nullptr,
      [&text](gnmi::Path& /*path*/, gnmi::TypedValue& value) { text += value.json_ietf_val(); });
  if (!status.ok()) fail("reading", status.error_message());
  return text.empty() ? "{}" : text;
}

void StoreAndOracle::adopt() { oracle_.keep(store_xml()); }

void StoreAndOracle::run(const StoreOperation& operation) {
  // Each of these may have taken seconds.
  if (store_ == nullptr || outcome_.crashes >= kMostCrashes) return;
  switch (operation.kind) {
    case StoreOperation::Kind::kSet:
      return set(operation.edits);
    case StoreOperation::Kind::kRestart:
      return restart();
    case StoreOperation::Kind::kRollback:
      return roll_back(operation.back);
  }
}

void StoreAndOracle::set(const std::vector<nexa::store::Edit>& edits) {
  const OracleAnswer answer = oracle_.judge(edits);
  // Of a case whose schema was made too small.
  if (answer.why == kNoSuchPath) return fail("no such path", answer.why);
  nexa::store::CommitRequest request;
  request.edits = edits;
  // Edits cross from process to process as paths.
  for (nexa::store::Edit& edit : request.edits) edit.target = target_of(edit.target.path);
  const std::string before = store_xml();
  const CommitResult result = store_->commit(request);
  const bool is_accepted = result.status.ok();
  ++outcome_.sets;
  ++(is_accepted ? outcome_.accepted : outcome_.refused);
  const std::string xml = store_xml();
  const std::string said = "oracle: " +
                           (answer.verdict == Verdict::kAccepted  ? "accepted"
                            : answer.verdict == Verdict::kCrashed ? "libyang died"
                                                                  : "refused, " + answer.why) +
                           "\nstore:  " + text_of(result) + "\nbefore: " + before +
                           "\nafter:  " + xml;
  if (!is_accepted && xml != before) {
    return fail("refused but changed", said);
  }
  // What the store judges may die where the oracle stopped earlier.
  const bool is_internal = result.status.error_code() == grpc::StatusCode::INTERNAL;
  if (answer.verdict == Verdict::kCrashed || (may_crash_ && is_internal)) {
    ++outcome_.crashes;
  } else if (has_hazard_ && is_internal && is_death(result.status)) {
    ++outcome_.hazards;
  } else if (is_failure(result.status)) {
    return fail("failure", said);
  } else if (answer.verdict == Verdict::kUncertain) {
    ++outcome_.uncertain;
  } else if (is_accepted != (answer.verdict == Verdict::kAccepted)) {
    return fail(is_accepted ? "wrongly accepted" : "wrongly refused", said);
  }
  if (!is_accepted) return;
  const Commit commit{result.number, normal_xml(xml), normal_json(store_json()), xml};
  if (answer.verdict == Verdict::kAccepted) {
    const std::string expected = normal_xml(answer.xml);
    if (commit.xml != expected) {
      return fail("other nodes", said + "\nstore:  " + xml + "\noracle: " + answer.xml +
                                     first_difference(commit.xml, expected));
    }
    const std::string expected_json = normal_json(answer.json);
    if (commit.json != expected_json && WholeOracle::lacks_a_default(answer.json)) {
      ++outcome_.uncertain;
    } else if (commit.json != expected_json) {
      return fail("other defaults", said + "\nstore:  " + commit.json +
                                        "\noracle: " + expected_json +
                                        first_difference(commit.json, expected_json));
    }
    oracle_.keep(answer.xml);
  } else {
    adopt();
  }
  if (result.number != commits_.back().number) commits_.push_back(commit);
}

void StoreAndOracle::restart() {
  ++outcome_.restarts;
  const std::string xml = store_xml();
  const std::string json = store_json();
  store_.reset();
  open();
  if (store_ == nullptr) return;
  if (store_xml() != xml) {
    return fail("other after a start", "before: " + xml + "\nafter:  " + store_xml());
  }
  const std::string again = store_json();
  if (again != json) {
    return fail("other defaults after a start", "before: " + json + "\nafter:  " + again);
  }
}

void StoreAndOracle::roll_back(std::uint64_t back) {
  ++outcome_.rollbacks;
  const Commit wanted = commits_[static_cast<std::size_t>(back % commits_.size())];
  const CommitResult result = store_->rollback(wanted.number, "tester", nullptr);
  const std::string said = "rollback to " + std::to_string(wanted.number) + ": " + text_of(result);
  if (!result.status.ok()) {
    // What was valid once is valid again under the same schema.
    oracle_.keep(wanted.text);
    const OracleAnswer answer = oracle_.judge({});
    adopt();
    if (answer.verdict == Verdict::kCrashed) {
      ++outcome_.crashes;
    } else if (answer.verdict == Verdict::kAccepted) {
      fail("rollback refused", said);
    }
    return;
  }
  const std::string xml = store_xml();
  const Commit commit{result.number, normal_xml(xml), normal_json(store_json()), xml};
  if (commit.xml != wanted.xml) {
    return fail("other nodes after a rollback",
                said + "\nwanted: " + wanted.xml + "\nstore:  " + commit.xml);
  }
  if (commit.json != wanted.json) {
    return fail("other defaults after a rollback",
                said + "\nwanted: " + wanted.json + "\nstore:  " + commit.json);
  }
  if (result.number != commits_.back().number) commits_.push_back(commit);
  adopt();
}

}  // namespace nexa_test
