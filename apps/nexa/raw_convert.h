// One Set update through the library's functions alone, as `nexa convert --raw` shows it.
#ifndef APPS_NEXA_RAW_CONVERT_H_
#define APPS_NEXA_RAW_CONVERT_H_

#include <grpcpp/support/status.h>

#include <string>

#include "gnmi.pb.h"
#include "nexa/nexa_srv_rpc_msg_helpers.h"

namespace nexa_tool {

// Which of the library's converters: the family that says why it refuses a value, or the single
// one.
enum class RawConverter { kStrict, kSimple };

// Converts the JSON_IETF text `value` of an update or replace at `path`, in module names, into the
// document `xml`, which a refusal leaves alone. Values come out as the library writes them, without
// what nexad does to keep each as it was sent. One thread at a time may use a mapper.
grpc::Status raw_convert(nexa::ServiceKestrelNamespaceMapperImpl& mapper, nexa::RequestType mode,
                         const gnmi::Path& path, const std::string& value, RawConverter converter,
                         std::string& xml);

}  // namespace nexa_tool

#endif  // APPS_NEXA_RAW_CONVERT_H_
