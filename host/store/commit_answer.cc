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

void report(const Violation& violation, int edit, CommitResult& result) {
  const text::Failure failure = violation.failure();
  result.status = {failure.code, failure.line()};
  result.edit = edit;
  result.path = failure.path;
  result.rule = failure.rule;
}

}  // namespace nexa::store
