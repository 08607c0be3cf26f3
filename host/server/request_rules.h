// What the gNMI specification asks of a request beyond the library's checks and its paths: which
// extensions may be passed over. And how messages name a place of a request.
#ifndef HOST_SERVER_REQUEST_RULES_H_
#define HOST_SERVER_REQUEST_RULES_H_

#include <grpcpp/support/status.h>

#include <string>

#include "gnmi.pb.h"

namespace nexa::server {

// UNIMPLEMENTED for a known extension that changes what the request means and that this server does
// not serve. Unknown ones are passed over.
grpc::Status check_extensions(
    const google::protobuf::RepeatedPtrField<gnmi_ext::Extension>& extensions);

// "field[index] /path: ", in front of what is wrong with it. `path` is the joined one.
std::string at_place(const std::string& place, const gnmi::Path& path);

// The path's string form, shortened to what a message takes.
std::string shown_path(const gnmi::Path& path);

}  // namespace nexa::server

#endif  // HOST_SERVER_REQUEST_RULES_H_
