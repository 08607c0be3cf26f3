// What does a Set do? Checks and conversion of its operations into one transaction, and the answer
// to what came of it (gNMI specification, section 3.4).
#ifndef HOST_REQUEST_SET_REQUEST_H_
#define HOST_REQUEST_SET_REQUEST_H_

#include <grpcpp/support/status.h>

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "gnmi.pb.h"
#include "model/resolver.h"
#include "profile/profile.h"
#include "request/limits.h"
#include "store/config_store.h"
#include "translate/translate.h"

namespace nexa::request {

struct SetParts {
  const model::Resolver& resolver;
  translate::Translator& translator;
  std::size_t max_operations = kMostOperations;
  std::function<bool()> abandoned{};  // asked between operations; may be empty
  profile::Profile profile = profile::Profile::kFull;
};

std::size_t operation_count(const gnmi::SetRequest& request);

// The request's operations in the order in which they apply: deletes, replaces, updates;
// or its union_replaces, which stand alone. On a refusal `edits` is worth nothing. Any thread; the
// translation takes turns.
grpc::Status prepare_set(const SetParts& parts, const gnmi::SetRequest& request,
                         std::vector<store::Edit>& edits);

// The status of a commit that was refused: the operation at fault, its path and value, the rule.
grpc::Status refusal_of(const gnmi::SetRequest& request, const store::CommitResult& result);

// The answer to a Set that was applied.
void answer_set(const gnmi::SetRequest& request, gnmi::SetResponse& response);

// "delete", "replace", "update" or "union_replace" with its index, of the edit that prepare_set
// made.
std::string operation_name(const gnmi::SetRequest& request, std::size_t edit);

// The path of that operation, as the request wrote it.
const gnmi::Path& operation_path(const gnmi::SetRequest& request, std::size_t edit);

}  // namespace nexa::request

#endif  // HOST_REQUEST_SET_REQUEST_H_
