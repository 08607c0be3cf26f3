// A gNMI request read from a file in protobuf's text form or JSON form. Which of the two, and which
// request, is found out from the text itself.
#ifndef APPS_NEXA_REQUEST_FILE_H_
#define APPS_NEXA_REQUEST_FILE_H_

#include <string>
#include <variant>

#include "gnmi.pb.h"
#include "text/result.h"

namespace nexa_tool {

using AnyRequest = std::variant<gnmi::GetRequest, gnmi::SetRequest, gnmi::SubscribeRequest>;

// "get", "set" or "subscribe".
const char* type_name(const AnyRequest& request);

// Parses `text` as the request that `type` names, for an empty `type` as the only one whose fields
// fit. Fails, with one line for each request tried, where none fits or more than one does.
nexa::text::Result<AnyRequest> parse_request(const std::string& text, const std::string& type);

}  // namespace nexa_tool

#endif  // APPS_NEXA_REQUEST_FILE_H_
