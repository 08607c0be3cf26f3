// Whether the server takes a request at all: the library's checks in the order in which the server
// runs them, before any path is resolved. Knows no schema. The tool and the server give the same
// verdict because both ask here.
#ifndef HOST_TRANSLATE_REQUEST_CHECK_H_
#define HOST_TRANSLATE_REQUEST_CHECK_H_

#include <grpcpp/support/status.h>

#include <string>

#include "gnmi.pb.h"
#include "nexa/nexa_srv_rpc_msg_helpers.h"

namespace nexa::profile {

struct RequestVerdict {
  grpc::Status status;
  // The field that was refused, such as "update[1].path"; empty for a pass, and where the message
  // names the option itself.
  std::string place;

  bool ok() const { return status.ok(); }
};

// The first refusal, in the order of the checks; any thread. Only options and path texts are
// judged.
RequestVerdict check_get(gnmi::GetRequest& request);
RequestVerdict check_set(const gnmi::SetRequest& request);

// The part of check_set() for one update: `type` is UPDATE or REPLACE. The place is "path", "val"
// or empty, for the update itself.
RequestVerdict check_update(RequestType type, const gnmi::Path& prefix, const gnmi::Update& update);

// The first message of a Subscribe stream. Later ones are for ServiceRpcMsgHelpers::validate_poll.
RequestVerdict check_subscribe(const gnmi::SubscribeRequest& request);

}  // namespace nexa::profile

#endif  // HOST_TRANSLATE_REQUEST_CHECK_H_
