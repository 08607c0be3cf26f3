// The order of the checks is the order of the server: options first, then paths as the request
// lists them, extensions last. Some refusals are the host's own, for what the library's checks
// cannot see: numbers that an enumeration does not have, paths in the old string form, updates
// without a value, the operation that came with version 0.10, extensions.
#include "profile/request_check.h"

#include <google/protobuf/descriptor.h>
#include <google/protobuf/repeated_field.h>

#include <algorithm>
#include <string>
#include <utility>

#include "model/target.h"
#include "profile/extension_check.h"
#include "profile/messages.h"
#include "profile/path_check.h"

namespace nexa::profile {
namespace {

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

RequestVerdict check_updates(Profile profile, RequestType type, const char* field,
                             const gnmi::Path& prefix,
                             const google::protobuf::RepeatedPtrField<gnmi::Update>& updates) {
  for (int index = 0; index < updates.size(); ++index) {
    RequestVerdict verdict = check_update(profile, type, prefix, updates.Get(index));
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

grpc::Status check_device_get(const gnmi::GetRequest& request) {
  grpc::Status status = ServiceRpcMsgHelpers::validate_DataType(request.type());
  if (status.ok()) status = ServiceRpcMsgHelpers::validate_Encoding(request.encoding());
  if (!status.ok()) return status;
  gnmi::GetRequest models;  // the library's check takes what it could change
  *models.mutable_use_models() = request.use_models();
  return ServiceRpcMsgHelpers::validate_ModelData(&models);
}

grpc::Status check_full_get(const gnmi::GetRequest& request) {
  if (request.encoding() == gnmi::PROTO) return grpc::Status::OK;
  if (request.encoding() != gnmi::ASCII) {
    return ServiceRpcMsgHelpers::validate_Encoding(request.encoding());
  }
  if (request.type() == gnmi::GetRequest::CONFIG) return grpc::Status::OK;
  return {grpc::StatusCode::UNIMPLEMENTED, kAsciiOfConfigOnly};
}

grpc::Status check_get_options(Profile profile, const gnmi::GetRequest& request) {
  grpc::Status status = check_number("type", request.type());
  if (status.ok()) status = check_number("encoding", request.encoding());
  if (!status.ok()) return status;
  return profile == Profile::kFull ? check_full_get(request) : check_device_get(request);
}

RequestVerdict check_union_replace(Profile profile, const gnmi::SetRequest& request) {
  if (request.union_replace_size() == 0) return {};
  if (profile == Profile::kDevice) {
    return {{grpc::StatusCode::UNIMPLEMENTED, kUnionReplace}, "union_replace[0]"};
  }
  if (request.delete__size() + request.replace_size() + request.update_size() > 0) {
    return {{grpc::StatusCode::INVALID_ARGUMENT, kUnionReplaceAlone}, "union_replace[0]"};
  }
  return {};
}

bool has_json_token(const gnmi::TypedValue& value) {
  return value.has_string_val() || value.has_int_val() || value.has_uint_val() ||
         value.has_bool_val();
}

// The options of a subscription list as the library's checks judge them.
RequestVerdict check_device_list(const gnmi::SubscribeRequest& request) {
  if (asks_for_no_marking(request.subscribe())) {
    gnmi::SubscribeRequest without = request;
    without.mutable_subscribe()->clear_qos();
    return check_device_list(without);
  }
  Notification notification;
  const gnmi::SubscriptionList& list = request.subscribe();
  const bool accepted = ServiceRpcMsgHelpers::validate_slist(list, &notification) &&
                        ServiceRpcMsgHelpers::validate_subscriptions(list, &notification) &&
                        ServiceRpcMsgHelpers::validate_encoding(list, &notification);
  return accepted ? RequestVerdict() : refused_by(notification);
}

// The library looks at a list that asks for nothing but what every profile refuses; what the rest
// of the list means is judged where the subscriptions are planned.
RequestVerdict check_full_list(const gnmi::SubscriptionList& list) {
  Notification notification;
  gnmi::SubscriptionList refusable;
  refusable.set_use_aliases(list.use_aliases());
  if (list.subscription_size() > 0) refusable.add_subscription()->set_mode(gnmi::SAMPLE);
  if (list.encoding() != gnmi::PROTO) refusable.set_encoding(list.encoding());
  const bool accepted = ServiceRpcMsgHelpers::validate_slist(refusable, &notification) &&
                        ServiceRpcMsgHelpers::validate_subscriptions(refusable, &notification) &&
                        ServiceRpcMsgHelpers::validate_encoding(refusable, &notification);
  return accepted ? RequestVerdict() : refused_by(notification);
}

}  // namespace

RequestVerdict check_update(Profile profile, RequestType type, const gnmi::Path& prefix,
                            const gnmi::Update& update) {
  // The library's check takes its message by value; it looks at the path alone.
  gnmi::Update path_only;
  if (update.has_path()) *path_only.mutable_path() = update.path();
  grpc::Status status = ServiceRpcMsgHelpers::validate_path(std::move(path_only));
  if (!status.ok()) return {status, {}};
  status = check_path(profile, type, prefix, update.path());
  if (!status.ok()) return {status, "path"};
  status = check_value(update);
  if (!status.ok()) return {status, "val"};
  return {};
}

// The device answers whatever extensions there are.
RequestVerdict check_capabilities(Profile profile, const gnmi::CapabilityRequest& request) {
  if (profile == Profile::kDevice) return {};
  return check_extensions(profile, Rpc::kCapabilities, request.extension());
}

// In the full profile a path is judged by its form alone.
RequestVerdict check_get(Profile profile, const gnmi::GetRequest& request) {
  grpc::Status status = check_get_options(profile, request);
  if (!status.ok()) return {status, {}};
  status = check_form(request.prefix());
  if (!status.ok()) return {status, "prefix"};
  for (int index = 0; index < request.path_size(); ++index) {
    if (profile == Profile::kFull && index > 0 &&
        model::has_same_form(request.path(index - 1), request.path(index)) &&
        check_form(request.path(index)).ok()) {
      continue;
    }
    status = check_path(profile, GET, request.prefix(), request.path(index));
    if (!status.ok()) return {status, indexed("path", index)};
  }
  return check_extensions(profile, Rpc::kGet, request.extension());
}

RequestVerdict check_set(Profile profile, const gnmi::SetRequest& request) {
  RequestVerdict verdict = check_union_replace(profile, request);
  if (!verdict.ok()) return verdict;
  const grpc::Status status = check_form(request.prefix());
  if (!status.ok()) return {status, "prefix"};
  for (int index = 0; index < request.delete__size(); ++index) {
    grpc::Status refusal = check_path(profile, DELETE, request.prefix(), request.delete_(index));
    if (!refusal.ok()) return {refusal, indexed("delete", index)};
  }
  verdict = check_updates(profile, REPLACE, "replace", request.prefix(), request.replace());
  if (verdict.ok()) {
    verdict =
        check_updates(profile, REPLACE, "union_replace", request.prefix(), request.union_replace());
  }
  if (verdict.ok()) {
    verdict = check_updates(profile, UPDATE, "update", request.prefix(), request.update());
  }
  return verdict.ok() ? check_extensions(profile, Rpc::kSet, request.extension()) : verdict;
}

grpc::Status check_value_kind(Profile profile, model::Mode mode, const gnmi::TypedValue& value) {
  const bool is_json = value.has_json_ietf_val() || value.has_json_val();
  if (profile == Profile::kFull || is_json) return grpc::Status::OK;
  if (value.has_bytes_val()) return ServiceRpcMsgHelpers::validate_Encoding(gnmi::BYTES);
  const auto& elements = value.leaflist_val().element();
  const bool has_token = value.has_leaflist_val()
                             ? std::all_of(elements.begin(), elements.end(), has_json_token)
                             : has_json_token(value);
  if (has_token && mode == model::Mode::kTolerant) return grpc::Status::OK;
  return ServiceRpcMsgHelpers::validate_Encoding(gnmi::PROTO);
}

grpc::StatusCode code_for_reader(Profile profile, grpc::StatusCode unresolved) {
  const bool is_unknown = unresolved == grpc::StatusCode::NOT_FOUND;
  return profile == Profile::kFull && is_unknown ? grpc::StatusCode::UNIMPLEMENTED : unresolved;
}

RequestVerdict check_subscribe(Profile profile, const gnmi::SubscribeRequest& request) {
  Notification notification;
  const gnmi::SubscriptionList& list = request.subscribe();
  if (!ServiceRpcMsgHelpers::validate_subscribe(request, &notification)) {
    return refused_by(notification);
  }
  grpc::Status status = check_numbers(list);
  if (!status.ok()) return {status, {}};
  RequestVerdict verdict =
      profile == Profile::kFull ? check_full_list(list) : check_device_list(request);
  if (!verdict.ok()) return verdict;
  status = check_form(list.prefix());
  if (!status.ok()) return {status, "subscribe.prefix"};
  for (int index = 0; index < list.subscription_size(); ++index) {
    status = check_path(profile, SUBSCRIBE, list.prefix(), list.subscription(index).path());
    if (!status.ok()) return {status, indexed("subscribe.subscription", index) + ".path"};
  }
  return check_extensions(profile, Rpc::kSubscribe, request.extension());
}

RequestVerdict check_later_message(Profile profile, gnmi::SubscriptionList::Mode mode,
                                   const gnmi::SubscribeRequest& request) {
  const bool is_poll = request.has_poll() && mode == gnmi::SubscriptionList::POLL;
  if (profile == Profile::kFull && is_poll) return {};
  Notification notification;
  ServiceRpcMsgHelpers::validate_poll(request, &notification);
  return refused_by(notification);
}

}  // namespace nexa::profile
