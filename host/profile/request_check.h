// Whether the server takes a request at all: the checks in the order in which the server runs them,
// before any path is resolved. Knows no schema. The tool and the server give the same verdict
// because both ask here. Where both profiles refuse, they refuse with one text: the library's.
#ifndef HOST_PROFILE_REQUEST_CHECK_H_
#define HOST_PROFILE_REQUEST_CHECK_H_

#include <grpcpp/support/status.h>

#include <string>

#include "gnmi.pb.h"
#include "model/schema_names.h"
#include "nexa/nexa_srv_rpc_msg_helpers.h"
#include "profile/profile.h"

namespace nexa::profile {

struct RequestVerdict {
  grpc::Status status;
  // The field that was refused, such as "update[1].path"; empty for a pass, and where the message
  // names the option itself.
  std::string place;

  bool ok() const { return status.ok(); }
};

// The first refusal, in the order of the checks; any thread. Only options, path texts and
// extensions are judged.
RequestVerdict check_capabilities(Profile profile, const gnmi::CapabilityRequest& request);
RequestVerdict check_get(Profile profile, const gnmi::GetRequest& request);
RequestVerdict check_set(Profile profile, const gnmi::SetRequest& request);

// The part of check_set() for one update: `type` is UPDATE or REPLACE. The place is "path", "val"
// or empty, for the update itself.
RequestVerdict check_update(Profile profile, RequestType type, const gnmi::Path& prefix,
                            const gnmi::Update& update);

// Whether the value is of a kind that is served; asked once the path of its update is resolved. The
// device profile takes JSON, and what a tolerant reader can write as JSON without knowing the leaf.
grpc::Status check_value_kind(Profile profile, model::Mode mode, const gnmi::TypedValue& value);

// The code for a path of a Get or Subscribe that the schema does not have. The full profile says
// UNIMPLEMENTED (gNMI specification, section 3.3.4), and keeps NOT_FOUND for data that may come.
grpc::StatusCode code_for_reader(Profile profile, grpc::StatusCode unresolved);

// The first message of a Subscribe stream. The full profile takes every mode and option of a list
// but aliases; what they mean together is for whoever plans the subscriptions.
RequestVerdict check_subscribe(Profile profile, const gnmi::SubscribeRequest& request);

// A later message on the stream, whose list had this mode: in the full profile a poll where polls
// were asked for, nothing else.
RequestVerdict check_later_message(Profile profile, gnmi::SubscriptionList::Mode mode,
                                   const gnmi::SubscribeRequest& request);

}  // namespace nexa::profile

#endif  // HOST_PROFILE_REQUEST_CHECK_H_
