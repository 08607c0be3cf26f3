// The value of an update as JSON text. gNMI carries JSON as bytes, and plain scalars as fields of
// their own.
#ifndef HOST_TRANSLATE_TYPED_VALUE_H_
#define HOST_TRANSLATE_TYPED_VALUE_H_

#include <grpcpp/support/status.h>

#include <string>
#include <string_view>

#include "gnmi.pb.h"

namespace nexa::translate {

// Sets `json` to the JSON text of `value`, which must outlive it as must `storage`; null data when
// the message has no value. With `json_only` a plain scalar is refused with the library's verdict
// on the encoding that it stands for.
grpc::Status value_as_json(const gnmi::TypedValue& value, bool json_only, std::string& storage,
                           std::string_view& json);

}  // namespace nexa::translate

#endif  // HOST_TRANSLATE_TYPED_VALUE_H_
