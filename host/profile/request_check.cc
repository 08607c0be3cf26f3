// The order of the checks is the order of the server: options first, then paths as the request
// lists them. Four refusals are the host's own, for what the library's checks cannot see: numbers
// that an enumeration does not have, paths in the old string form, updates without a value, and the
// operation that came with version 0.10.
#include "profile/request_check.h"

#include <google/protobuf/descriptor.h>
#include <google/protobuf/repeated_field.h>

#include <string>
#include <utility>

#include "model/target.h"

namespace nexa::profile {
namespace {

constexpr char kElementList[] =
    "Path field \"element\" is deprecated and not supported, use \"elem\"";
constexpr char kNoValue[] = "No value field provided";
constexpr char kUnionReplace[] = "Operation union_replace not supported";

std::string indexed(const char* field, int index) {
  return std::string(field) + "[" + std::to_string(index) + "]";
}

// Messages carry any number for an enumeration; the library would take some of these for a value
// that they are not.
template <typename Enum>
grpc::Status check_number(const std::string& field, Enum number) {
  const google::protobuf::EnumDescriptor* const type = google::protobuf::GetEnumDescriptor<Enum>();
  if (type->FindValueByNumber(number) != nullptr) return grpc::Status::OK;
  std::string text = field + ": " + std::to_string(number) + " is none of ";
  for (int index = 0; index < type->value_count(); ++index) {
    text.append(index == 0 ? "" : ", ").append(type->value(index)->name());
  }
  return {grpc::StatusCode::INVALID_ARGUMENT, text};
}

grpc::Status check_numbers(const gnmi::SubscriptionList& list) {
  grpc::Status status = check_number("subscribe.mode", list.mode());
  if (status.ok()) status = check_number("subscribe.encoding", list.encoding());
  for (int index = 0; status.ok() && index < list.subscription_size(); ++index) {
    const auto mode = list.subscription(index).mode();
    if (gnmi::SubscriptionMode_IsValid(mode)) continue;
    status = check_number(indexed("subscribe.subscription", index) + ".mode", mode);
  }
  return status;
}

// A marking of 0 asks for the treatment that every packet gets: it is the same as none, and clients
// send it without being told to.
bool asks_for_no_marking(const gnmi::SubscriptionList& list) {
  return list.has_qos() && list.qos().marking() == 0;
}

// Taken as it stands, a path in the old form would be the empty path: the whole tree.
grpc::Status check_form(const gnmi::Path& path) {
  static const google::protobuf::FieldDescriptor* const element =
      gnmi::Path::descriptor()->FindFieldByName("element");
  if (path.GetReflection()->FieldSize(path, element) == 0) return grpc::Status::OK;
  return {grpc::StatusCode::UNIMPLEMENTED, kElementList};
}

// The entry of a leaf-list is named by the key ".", which is no identifier: the library's check
// does not see it, and its value is checked like any other.
grpc::Status take_entry_values(RequestType type, gnmi::Path& path) {
  for (gnmi::PathElem& element : *path.mutable_elem()) {
    const auto value = element.key().find(".");
    if (value == element.key().end()) continue;
    grpc::Status status = ServiceRpcMsgHelpers::validate_value(type, value->second);
    if (!status.ok()) return status;
    element.mutable_key()->erase(".");
  }
  return grpc::Status::OK;
}

grpc::Status check_path(RequestType type, const gnmi::Path& prefix, const gnmi::Path& path) {
  grpc::Status status = check_form(path);
  if (!status.ok()) return status;
  gnmi::Path joined = model::join_paths(prefix, path);
  status = ServiceRpcMsgHelpers::check_0_element_path(type, joined);
  if (!status.ok()) return status;
  status = take_entry_values(type, joined);
  if (!status.ok()) return status;
  return ServiceRpcMsgHelpers::validate_Path(type, std::move(joined));
}

// Scalar values carry no encoding of their own and pass.
grpc::Status check_value(const gnmi::Update& update) {
  switch (update.val().value_case()) {
    case gnmi::TypedValue::VALUE_NOT_SET:
      return {grpc::StatusCode::INVALID_ARGUMENT, kNoValue};
    case gnmi::TypedValue::kJsonVal:
      return ServiceRpcMsgHelpers::validate_Encoding(gnmi::JSON);
    case gnmi::TypedValue::kJsonIetfVal:
      return ServiceRpcMsgHelpers::validate_Encoding(gnmi::JSON_IETF);
    case gnmi::TypedValue::kAsciiVal:
      return ServiceRpcMsgHelpers::validate_Encoding(gnmi::ASCII);
    case gnmi::TypedValue::kProtoBytes:
    case gnmi::TypedValue::kAnyVal:
      return ServiceRpcMsgHelpers::validate_Encoding(gnmi::PROTO);
    case gnmi::TypedValue::kStringVal:
    case gnmi::TypedValue::kIntVal:
    case gnmi::TypedValue::kUintVal:
    case gnmi::TypedValue::kBoolVal:
    case gnmi::TypedValue::kBytesVal:
    case gnmi::TypedValue::kFloatVal:
    case gnmi::TypedValue::kDoubleVal:
    case gnmi::TypedValue::kDecimalVal:
    case gnmi::TypedValue::kLeaflistVal:
      return grpc::Status::OK;
  }
  return grpc::Status::OK;
}

RequestVerdict check_updates(RequestType type, const char* field, const gnmi::Path& prefix,
                             const google::protobuf::RepeatedPtrField<gnmi::Update>& updates) {
  for (int index = 0; index < updates.size(); ++index) {
    RequestVerdict verdict = check_update(type, prefix, updates.Get(index));
    if (verdict.ok()) continue;
    verdict.place = indexed(field, index) + (verdict.place.empty() ? "" : "." + verdict.place);
    return verdict;
  }
  return {};
}

RequestVerdict refused_by(const Notification& notification) {
  RequestVerdict verdict;
  ServiceRpcMsgHelpers::build_status(notification, verdict.status);
  return verdict;
}

}  // namespace

RequestVerdict check_update(RequestType type, const gnmi::Path& prefix,
                            const gnmi::Update& update) {
  // The library's check takes its message by value; it looks at the path alone.
  gnmi::Update path_only;
  if (update.has_path()) *path_only.mutable_path() = update.path();
  grpc::Status status = ServiceRpcMsgHelpers::validate_path(std::move(path_only));
  if (!status.ok()) return {status, {}};
  status = check_path(type, prefix, update.path());
  if (!status.ok()) return {status, "path"};
  status = check_value(update);
  if (!status.ok()) return {status, "val"};
  return {};
}

RequestVerdict check_get(gnmi::GetRequest& request) {
  grpc::Status status = check_number("type", request.type());
  if (status.ok()) status = check_number("encoding", request.encoding());
  if (status.ok()) status = ServiceRpcMsgHelpers::validate_DataType(request.type());
  if (status.ok()) status = ServiceRpcMsgHelpers::validate_Encoding(request.encoding());
  if (status.ok()) status = ServiceRpcMsgHelpers::validate_ModelData(&request);
  if (!status.ok()) return {status, {}};
  status = check_form(request.prefix());
  if (!status.ok()) return {status, "prefix"};
  for (int index = 0; index < request.path_size(); ++index) {
    status = check_path(GET, request.prefix(), request.path(index));
    if (!status.ok()) return {status, indexed("path", index)};
  }
  return {};
}

RequestVerdict check_set(const gnmi::SetRequest& request) {
  if (request.union_replace_size() > 0) {
    return {{grpc::StatusCode::UNIMPLEMENTED, kUnionReplace}, "union_replace[0]"};
  }
  grpc::Status status = check_form(request.prefix());
  if (!status.ok()) return {status, "prefix"};
  for (int index = 0; index < request.delete__size(); ++index) {
    status = check_path(DELETE, request.prefix(), request.delete_(index));
    if (!status.ok()) return {status, indexed("delete", index)};
  }
  RequestVerdict verdict = check_updates(REPLACE, "replace", request.prefix(), request.replace());
  if (!verdict.ok()) return verdict;
  return check_updates(UPDATE, "update", request.prefix(), request.update());
}

RequestVerdict check_subscribe(const gnmi::SubscribeRequest& request) {
  if (asks_for_no_marking(request.subscribe())) {
    gnmi::SubscribeRequest without = request;
    without.mutable_subscribe()->clear_qos();
    return check_subscribe(without);
  }
  Notification notification;
  const gnmi::SubscriptionList& list = request.subscribe();
  if (!ServiceRpcMsgHelpers::validate_subscribe(request, &notification)) {
    return refused_by(notification);
  }
  grpc::Status status = check_numbers(list);
  if (!status.ok()) return {status, {}};
  const bool accepted = ServiceRpcMsgHelpers::validate_slist(list, &notification) &&
                        ServiceRpcMsgHelpers::validate_subscriptions(list, &notification) &&
                        ServiceRpcMsgHelpers::validate_encoding(list, &notification);
  if (!accepted) return refused_by(notification);
  status = check_form(list.prefix());
  if (!status.ok()) return {status, "subscribe.prefix"};
  for (int index = 0; index < list.subscription_size(); ++index) {
    status = check_path(SUBSCRIBE, list.prefix(), list.subscription(index).path());
    if (!status.ok()) return {status, indexed("subscribe.subscription", index) + ".path"};
  }
  return {};
}

}  // namespace nexa::profile
