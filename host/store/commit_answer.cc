// The codes are those that gNMI clients tell apart: who can mend it, and whether to try again.
#include "store/commit_answer.h"

namespace nexa::store {

using grpc::StatusCode;

grpc::StatusCode code_of(LogResult::Code code) {
  switch (code) {
    case LogResult::Code::kDone:
      return StatusCode::OK;
    case LogResult::Code::kFull:
      return StatusCode::RESOURCE_EXHAUSTED;
    case LogResult::Code::kUnavailable:
    case LogResult::Code::kUnknown:
      return StatusCode::UNAVAILABLE;
    case LogResult::Code::kFailed:
      break;
  }
  return StatusCode::INTERNAL;
}

std::string words_of(const Violation& violation) {
  return violation.path.empty() ? violation.rule : violation.path + ": " + violation.rule;
}

void report(const Violation& violation, int edit, CommitResult& result) {
  const bool is_constraint = violation.kind == Violation::Kind::kConstraint;
  result.path = violation.path;
  result.rule = violation.rule;
  result.edit = edit;
  result.status = {is_constraint ? StatusCode::FAILED_PRECONDITION : StatusCode::INVALID_ARGUMENT,
                   words_of(violation)};
}

}  // namespace nexa::store
