// What a caller of the library owes it about a payload: the library asserts, passes over or keeps
// the last where these checks refuse.
#ifndef APPS_NEXA_RAW_PAYLOAD_H_
#define APPS_NEXA_RAW_PAYLOAD_H_

#include <cjson/cJSON.h>
#include <grpcpp/support/status.h>

#include <string>

#include "nexa/cjson_csnode.h"
#include "text/json_owner.h"

namespace nexa_tool {

// Reads a JSON text into `json`, or says where it is none. Before the walk.
grpc::Status read_payload(const std::string& text, nexa::text::JsonPtr& json);

// Refuses null, empty arrays and arrays in arrays. `place` is the value's path. Before the walk.
grpc::Status check_shape(const cJSON* value, const std::string& place);

// Refuses members without a schema node, members given twice, and values of another shape than
// their node has. After the walk.
grpc::Status check_bindings(const cJSON* value, const nexa::Json2cJsonCsnodeHash& bindings,
                            const std::string& place);

}  // namespace nexa_tool

#endif  // APPS_NEXA_RAW_PAYLOAD_H_
