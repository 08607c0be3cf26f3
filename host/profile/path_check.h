// Is the text of a path one that the kind of request takes? Names, keys, wildcards; no schema.
#ifndef HOST_PROFILE_PATH_CHECK_H_
#define HOST_PROFILE_PATH_CHECK_H_

#include <grpcpp/support/status.h>

#include "gnmi.pb.h"
#include "nexa/nexa_srv_rpc_msg_helpers.h"
#include "profile/profile.h"

namespace nexa::profile {

// UNIMPLEMENTED for a path in the old string form.
grpc::Status check_form(const gnmi::Path& path);

// `path` below `prefix`: the library's verdict, as far as the profile keeps it.
grpc::Status check_path(Profile profile, RequestType type, const gnmi::Path& prefix,
                        const gnmi::Path& path);

}  // namespace nexa::profile

#endif  // HOST_PROFILE_PATH_CHECK_H_
