// The value of an update as JSON text. gNMI carries JSON as bytes, and plain scalars as fields of
// their own.
#ifndef HOST_TRANSLATE_TYPED_VALUE_H_
#define HOST_TRANSLATE_TYPED_VALUE_H_

#include <grpcpp/support/status.h>

#include <string>
#include <string_view>

#include "gnmi.pb.h"
#include "model/value_kind.h"

namespace nexa::translate {

// Whether the value is JSON itself.
bool is_json(const gnmi::TypedValue& value);

// Sets `json` to the JSON text of `value`, which must outlive it as must `storage`; null data when
// the message has no value. A scalar becomes the token that a leaf of the kind takes: bytes base64,
// true of an empty leaf [null], numbers their digits; whether its type takes the token is for
// whoever reads it. INVALID_ARGUMENT for a scalar that has no token, UNIMPLEMENTED for values of
// encodings that carry neither JSON nor scalars.
grpc::Status value_as_json(const gnmi::TypedValue& value, model::ValueKind kind,
                           std::string& storage, std::string_view& json);

}  // namespace nexa::translate

#endif  // HOST_TRANSLATE_TYPED_VALUE_H_
