// The schema half of a selection, for its data half.
#ifndef HOST_STORE_READING_SELECTION_SCHEMA_H_
#define HOST_STORE_READING_SELECTION_SCHEMA_H_

#include <grpcpp/support/status.h>

#include <vector>

#include "store/reading/selection_steps.h"

namespace nexa::host {

// Follows the steps through the schema. `last` receives the nodes that the last step
// means; null stands for the place above the top level. Key values are looked at with
// `check_values` only.
grpc::Status walk_schema(const std::vector<SelectionStep>& steps, StepTargets& targets,
                         bool check_values, std::vector<const lysc_node*>& last);

}  // namespace nexa::host

#endif  // HOST_STORE_READING_SELECTION_SCHEMA_H_
