// Is a whole request one that the server serves? Get-side checks return their verdict;
// Subscribe-side checks write a refusal into the notification that goes back on the stream. Looks
// at options only: paths are judged in path_validation.cc, and nothing here knows a schema.
#include <grpc/support/log.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

#include "nexa/nexa_srv_rpc_msg_helpers.h"
#include "nexa_srv_rpc_msg_helpers/messages.h"

namespace nexa {
namespace {

grpc::Status log_and_refuse(grpc::StatusCode code, std::string message) {
  gpr_log(GPR_ERROR, "%s", message.c_str());
  return {code, std::move(message)};
}

// Replaces a verdict that stands there already; other fields of the notification stay.
bool refuse(Notification* notification, grpc::StatusCode code, std::string message) {
  google::rpc::Status* status = notification->mutable_status();
  status->set_code(static_cast<std::int32_t>(code));
  status->set_message(std::move(message));
  return false;
}

bool refuse(Notification* notification, std::string message) {
  return refuse(notification, grpc::StatusCode::INVALID_ARGUMENT, std::move(message));
}

// An option that is set and not served; an empty name means that there is none.
struct SetOption {
  std::string_view name;
  std::string shown;
};

// The order is part of the interface: only the first option that is set is reported.
SetOption first_list_option(const gnmi::SubscriptionList& list) {
  if (list.mode() != gnmi::SubscriptionList::STREAM) {
    return {"mode", list.mode() == gnmi::SubscriptionList::ONCE ? "ONCE" : "POLL"};
  }
  if (list.use_aliases()) return {"use_aliases", "true"};
  if (list.has_qos()) return {"qos", ""};
  if (list.allow_aggregation()) return {"allow_aggregation", "true"};
  if (list.use_models_size() > 0) return {"use_models", ""};
  if (list.updates_only()) return {"updates_only", "true"};
  return {};
}

SetOption first_subscription_option(const gnmi::Subscription& subscription) {
  if (subscription.mode() < gnmi::SAMPLE) {
    return {"mode", subscription.mode() == gnmi::ON_CHANGE ? "ON_CHANGE" : "TARGET_DEFINED"};
  }
  if (subscription.suppress_redundant()) return {"suppress_redundant", "true"};
  if (subscription.heartbeat_interval() != 0) {
    return {"heartbeat_interval", std::to_string(subscription.heartbeat_interval())};
  }
  return {};
}

}  // namespace

grpc::Status ServiceRpcMsgHelpers::validate_DataType(gnmi::GetRequest_DataType type) {
  if (type != gnmi::GetRequest::OPERATIONAL) return grpc::Status::OK;
  return log_and_refuse(grpc::StatusCode::UNIMPLEMENTED,
                        kRequestedDataType + gnmi::GetRequest::DataType_Name(type) + kNotSupported);
}

grpc::Status ServiceRpcMsgHelpers::validate_Encoding(gnmi::Encoding encoding) {
  if (encoding == gnmi::JSON || encoding == gnmi::JSON_IETF) return grpc::Status::OK;
  if (!gnmi::Encoding_IsValid(encoding)) {
    return log_and_refuse(grpc::StatusCode::INVALID_ARGUMENT, kEncodingNotValid);
  }
  return log_and_refuse(grpc::StatusCode::UNIMPLEMENTED,
                        kRequestedEncoding + gnmi::Encoding_Name(encoding) + kNotSupported);
}

grpc::Status ServiceRpcMsgHelpers::validate_ModelData(gnmi::GetRequest* request) {
  if (request->use_models_size() == 0) return grpc::Status::OK;
  return log_and_refuse(grpc::StatusCode::UNIMPLEMENTED, kModelDataNotSupported);
}

bool ServiceRpcMsgHelpers::validate_encoding(const gnmi::SubscriptionList& list,
                                             Notification* notification) {
  const grpc::Status verdict = validate_Encoding(list.encoding());
  if (verdict.ok()) return true;
  return refuse(notification, verdict.error_code(), verdict.error_message());
}

bool ServiceRpcMsgHelpers::validate_slist(const gnmi::SubscriptionList& list,
                                          Notification* notification) {
  const SetOption option = first_list_option(list);
  if (option.name.empty()) return true;
  std::string message = kUnsupportedList;
  message.append(option.name).append(kSelection);
  if (!option.shown.empty()) message.append(" [ ").append(option.shown).append(" ]");
  return refuse(notification, std::move(message));
}

bool ServiceRpcMsgHelpers::validate_subscriptions(const gnmi::SubscriptionList& list,
                                                  Notification* notification) {
  if (list.subscription_size() == 0) return refuse(notification, kEmptySubscriptionList);
  for (int index = 0; index < list.subscription_size(); ++index) {
    const SetOption option = first_subscription_option(list.subscription(index));
    if (option.name.empty()) continue;
    std::string message = kUnsupportedSubscription;
    message.append(option.name).append(kSelection).append(" [ ").append(option.shown);
    // Both brackets close at the end; clients match on it.
    message.append(" on sub index [ ").append(std::to_string(index)).append(" ]]");
    return refuse(notification, std::move(message));
  }
  return true;
}

bool ServiceRpcMsgHelpers::validate_subscribe(const gnmi::SubscribeRequest& request,
                                              Notification* notification) {
  if (request.has_subscribe()) return true;
  // A request with nothing set is reported as "Aliases" too.
  const char* method = request.has_poll() ? "Poll" : "Aliases";
  return refuse(notification, std::string(kUnsupportedMethod) + method + kOnInitialRequest);
}

bool ServiceRpcMsgHelpers::validate_poll(const gnmi::SubscribeRequest& /*request*/,
                                         Notification* notification) {
  return refuse(notification, kUnsupportedOnActiveStream);
}

}  // namespace nexa
