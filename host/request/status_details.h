// How is a refusal written so that it reaches the client? A status travels in HTTP/2 trailers, and
// most clients refuse trailers above 8 KiB: texts and details are kept below that.
#ifndef HOST_REQUEST_STATUS_DETAILS_H_
#define HOST_REQUEST_STATUS_DETAILS_H_

#include <grpcpp/support/status.h>

#include <string>

#include "gnmi.pb.h"

namespace nexa::request {

// A status whose details are a google.rpc.Status: the same code and text, and `blamed`, the path
// and the kind of the operation at fault, when it is not null. A path too long for a trailer is
// left out.
grpc::Status with_details(grpc::StatusCode code, const std::string& text,
                          const gnmi::UpdateResult* blamed);

// `status` with its text cut to what a trailer takes.
grpc::Status bounded(const grpc::Status& status);

}  // namespace nexa::request

#endif  // HOST_REQUEST_STATUS_DETAILS_H_
