// Whether the server takes a request at all: the library's checks in the order in which the server
// runs them, before any path is resolved. Knows no schema. The tool and the server give the same
// verdict because both ask here.
#ifndef HOST_TRANSLATE_REQUEST_CHECK_H_
#define HOST_TRANSLATE_REQUEST_CHECK_H_

#include <grpcpp/support/status.h>

#include <string>

#include "gnmi.pb.h"

namespace nexa::host {

struct RequestVerdict {
  grpc::Status status;
  // The field that was refused, such as "update[1].path"; empty for a pass, and where the message
  // names the option itself.
  std::string place;

  bool ok() const { return status.ok(); }
};

// `path` below `prefix`: the prefix's elements, then the path's; origin and target of whichever has
// one, the path's first (gNMI specification, section 2.4.1).
gnmi::Path join_paths(const gnmi::Path& prefix, const gnmi::Path& path);

// The first refusal, in the order of the checks; any thread. Only options and path texts are
// judged.
RequestVerdict check_get(gnmi::GetRequest& request);
RequestVerdict check_set(const gnmi::SetRequest& request);

// The first message of a Subscribe stream. Later ones are for ServiceRpcMsgHelpers::validate_poll.
RequestVerdict check_subscribe(const gnmi::SubscribeRequest& request);

}  // namespace nexa::host

#endif  // HOST_TRANSLATE_REQUEST_CHECK_H_
