// What does a client hear of a commit that failed?
#ifndef HOST_STORE_COMMIT_ANSWER_H_
#define HOST_STORE_COMMIT_ANSWER_H_

#include <grpcpp/support/status.h>

#include <string>

#include "store/config_store.h"
#include "store/log/log_types.h"
#include "store/validation/validation.h"

namespace nexa::store {

// The code for what the log answered.
grpc::StatusCode code_of(LogResult::Code code);

// Puts a violation, and the index of the edit at fault, into the result.
void report(const Violation& violation, int edit, CommitResult& result);

}  // namespace nexa::store

#endif  // HOST_STORE_COMMIT_ANSWER_H_
