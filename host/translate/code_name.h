// What a status code is called where people read it.
#ifndef HOST_TRANSLATE_CODE_NAME_H_
#define HOST_TRANSLATE_CODE_NAME_H_

#include <grpcpp/support/status.h>

namespace nexa::translate {

// The name of a status code as gRPC documents it, "INVALID_ARGUMENT" for 3; "UNKNOWN" for what is
// no code.
const char* code_name(grpc::StatusCode code);

}  // namespace nexa::translate

#endif  // HOST_TRANSLATE_CODE_NAME_H_
