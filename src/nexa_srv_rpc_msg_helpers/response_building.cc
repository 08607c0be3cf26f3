// What does the server put into its responses? Fills update results, notifications and timestamps,
// writes the xpath-style text of a path, and reads a subscription's verdict back. Knows no schema
// and no database beyond the database's empty document.
#include <grpc/support/log.h>

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>

#include "nexa/nexa_srv_rpc_msg_helpers.h"
#include "nexa_srv_rpc_msg_helpers/config_document.h"

namespace nexa {
namespace {

constexpr std::string_view kRecursiveWildcard = "...";
constexpr std::string_view kWildcard = "*";
constexpr std::string_view kDefaultKeySeparator = " and ";

void append_keys(const gnmi::PathElem& element, std::string_view separator, std::string& text) {
  bool any = false;
  for (const auto& [key, value] : element.key()) {
    if (value == kWildcard) continue;
    text.append(any ? separator : "[");
    any = true;
    gpr_log(GPR_DEBUG, "in %s at %d the KEY VALUE IS: '%s'", "build_path_str", __LINE__,
            value.c_str());
    text.append(key).append("='").append(value).append("'");
  }
  if (any) text.push_back(']');
}

}  // namespace

gnmi::UpdateResult* ServiceRpcMsgHelpers::build_UpdateResult(gnmi::SetResponse* response,
                                                             const gnmi::Path& path,
                                                             gnmi::UpdateResult_Operation op) {
  gnmi::UpdateResult* result = response->add_response();
  *result->mutable_path() = path;
  result->set_op(op);
  return result;
}

gnmi::Notification* ServiceRpcMsgHelpers::build_notification(gnmi::GetResponse* response,
                                                             const gnmi::Path* prefix) {
  gnmi::Notification* notification = response->add_notification();
  notification->set_timestamp(get_timestamp());
  if (prefix != nullptr) *notification->mutable_prefix() = *prefix;
  return notification;
}

std::int64_t ServiceRpcMsgHelpers::get_timestamp() {
  const auto since_epoch = std::chrono::system_clock::now().time_since_epoch();
  return std::chrono::duration_cast<std::chrono::nanoseconds>(since_epoch).count();
}

bool ServiceRpcMsgHelpers::xml_returned_is_empty(std::string xml) {
  // An ordering on purpose: an empty text counts as an empty document too.
  return xml.compare(kEmptyConfigDocument) <= 0;
}

std::string ServiceRpcMsgHelpers::build_path_str(const gnmi::Path& path,
                                                 const std::string* separator) {
  std::string text;
  if (path.elem_size() == 0) text = "/";
  const std::string_view between_keys =
      separator != nullptr ? std::string_view(*separator) : kDefaultKeySeparator;
  for (const gnmi::PathElem& element : path.elem()) {
    text.push_back('/');
    if (element.name() == kRecursiveWildcard) continue;
    text.append(element.name());
    append_keys(element, between_keys, text);
  }
  if (path.elem_size() != 0) {
    // A trailing "..." left up to two slashes behind.
    if (text.back() == '/') text.pop_back();
    if (!text.empty() && text.back() == '/') text.pop_back();
  }
  gpr_log(GPR_DEBUG, "XPATH from Path is %s", text.c_str());
  return text;
}

bool ServiceRpcMsgHelpers::build_status(const Notification& notification, grpc::Status& status) {
  if (&notification == &Notification::default_instance() || !notification.has_status()) {
    return false;
  }
  status = grpc::Status(static_cast<grpc::StatusCode>(notification.status().code()),
                        notification.status().message());
  return true;
}

}  // namespace nexa
