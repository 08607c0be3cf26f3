// Is a request's path well-formed, and are its wildcards allowed for the kind of request? Judges
// the text alone (gNMI path conventions; identifiers as in RFC 7950 section 6.2) and knows no
// schema: whether a name exists is decided elsewhere. The public operations take their arguments by
// value; the work is done on views, so that a path with many keys costs no copies.
#include <grpc/support/log.h>

#include <string>
#include <string_view>
#include <utility>

#include "nexa/nexa_srv_rpc_msg_helpers.h"
#include "nexa_srv_rpc_msg_helpers/messages.h"

namespace nexa {
namespace {

constexpr std::string_view kWildcard = "*";
constexpr std::string_view kRecursiveWildcard = "...";

// The host process may set a locale; what an identifier is must not follow it.
constexpr char to_lower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}
constexpr bool is_letter(char c) { return to_lower(c) >= 'a' && to_lower(c) <= 'z'; }
constexpr bool is_digit(char c) { return c >= '0' && c <= '9'; }

constexpr bool may_start_identifier(char c) { return is_letter(c) || c == '_'; }
constexpr bool may_continue_identifier(char c) {
  return is_letter(c) || is_digit(c) || c == '-' || c == '.' || c == '_';
}

constexpr bool is_any_wildcard(std::string_view text) {
  return text == kWildcard || text == kRecursiveWildcard;
}

constexpr bool is_update_or_replace(RequestType type) { return type == UPDATE || type == REPLACE; }

constexpr bool begins_with_xml(std::string_view text) {
  return text.size() >= 3 && to_lower(text[0]) == 'x' && to_lower(text[1]) == 'm' &&
         to_lower(text[2]) == 'l';
}

grpc::Status invalid_argument(std::string message) {
  return {grpc::StatusCode::INVALID_ARGUMENT, std::move(message)};
}

grpc::Status log_and_refuse(grpc::StatusCode code, std::string message) {
  gpr_log(GPR_ERROR, "%s", message.c_str());
  return {code, std::move(message)};
}

constexpr char kValidateYangIdentifier[] = "validate_yang_identifier";

grpc::Status refuse_xml(std::string_view view) {
  const std::string identifier(view);
  gpr_log(GPR_ERROR, "in %s at line %d nodeid %s is NOT Valid", kValidateYangIdentifier, __LINE__,
          identifier.c_str());
  return invalid_argument(kInvalidElementName + identifier + kCannotStartWithXml);
}

grpc::Status refuse_character(std::string_view view, char c) {
  const std::string identifier(view);
  gpr_log(GPR_ERROR, "in %s at line %d nodeid %s char %c is NOT Valid", kValidateYangIdentifier,
          __LINE__, identifier.c_str(), c);
  return invalid_argument(kInvalidElementName + identifier + kCharacter + c + kIsInvalid);
}

grpc::Status check_identifier(std::string_view identifier) {
  if (begins_with_xml(identifier)) return refuse_xml(identifier);
  if (identifier.empty()) return grpc::Status::OK;
  if (!may_start_identifier(identifier.front())) {
    return refuse_character(identifier, identifier.front());
  }
  for (const char c : identifier.substr(1)) {
    if (!may_continue_identifier(c)) return refuse_character(identifier, c);
  }
  return grpc::Status::OK;
}

grpc::Status check_element_name(RequestType type, std::string_view name) {
  if (is_any_wildcard(name)) {
    if (!is_update_or_replace(type)) return grpc::Status::OK;
    return log_and_refuse(grpc::StatusCode::UNIMPLEMENTED, kWildcardNotImplemented);
  }
  const std::size_t colon = name.find(':');
  if (colon == std::string_view::npos) return check_identifier(name);
  grpc::Status status = check_identifier(name.substr(0, colon));
  if (!status.ok()) return status;
  return check_identifier(name.substr(colon + 1));
}

grpc::Status check_key(RequestType type, std::string_view key) {
  if (key.find('*') != std::string_view::npos || key == kRecursiveWildcard) {
    return log_and_refuse(grpc::StatusCode::INVALID_ARGUMENT, kInvalidKeyName + std::string(key));
  }
  return check_element_name(type, key);
}

grpc::Status check_set_value(std::string_view value) {
  if (value == kWildcard) {
    return log_and_refuse(grpc::StatusCode::UNIMPLEMENTED,
                          kInvalidKeyValue + std::string(value) + kWildcardNotForSet);
  }
  if (value == kRecursiveWildcard) {
    return log_and_refuse(grpc::StatusCode::INVALID_ARGUMENT,
                          kInvalidSetKeyValue + std::string(value));
  }
  return grpc::Status::OK;
}

grpc::Status check_get_value(std::string_view value) {
  if (value != kRecursiveWildcard) return grpc::Status::OK;
  return log_and_refuse(grpc::StatusCode::INVALID_ARGUMENT, kInvalidKeyValue + std::string(value));
}

grpc::Status check_value(RequestType type, std::string_view value) {
  if (value.size() >= 2 && value.find('*') != std::string_view::npos) {
    return log_and_refuse(grpc::StatusCode::INVALID_ARGUMENT,
                          kRegexStyleWildcard + std::string(value));
  }
  switch (type) {
    case UPDATE:
    case REPLACE:
      return check_set_value(value);
    case GET:
      return check_get_value(value);
    case SUBSCRIBE:
    case DELETE:
      break;
  }
  gpr_log(GPR_INFO, "This function is called with the wrong transaction type %d",
          static_cast<int>(type));
  return grpc::Status::OK;
}

grpc::Status check_keys(RequestType type, const gnmi::PathElem& element) {
  for (const auto& [key, value] : element.key()) {
    grpc::Status status = check_key(type, key);
    if (!status.ok()) {
      gpr_log(GPR_ERROR, "ele.name.key %s is invalid", key.c_str());
      return status;
    }
    status = check_value(type, value);
    if (!status.ok()) {
      gpr_log(GPR_ERROR, "ele.name.key_val %s is invalid", value.c_str());
      return status;
    }
  }
  return grpc::Status::OK;
}

}  // namespace

grpc::Status ServiceRpcMsgHelpers::validate_yang_identifier(std::string identifier) {
  return check_identifier(identifier);
}

bool ServiceRpcMsgHelpers::starts_with_xml(std::string text) { return begins_with_xml(text); }

bool ServiceRpcMsgHelpers::is_recursive_wild_card(std::string text) {
  return text == kRecursiveWildcard;
}

grpc::Status ServiceRpcMsgHelpers::validate_element_name(RequestType type, std::string name) {
  return check_element_name(type, name);
}

grpc::Status ServiceRpcMsgHelpers::validate_key(RequestType type, std::string key) {
  return check_key(type, key);
}

grpc::Status ServiceRpcMsgHelpers::validate_value(RequestType type, std::string value) {
  return check_value(type, value);
}

grpc::Status ServiceRpcMsgHelpers::validate_Path(RequestType type, gnmi::Path path) {
  gpr_log(GPR_DEBUG, "validate_Path --> enter");
  for (const gnmi::PathElem& element : path.elem()) {
    grpc::Status status = check_element_name(type, element.name());
    if (!status.ok()) {
      gpr_log(GPR_ERROR, "ele.name = %s is invalid", element.name().c_str());
      return status;
    }
    status = check_keys(type, element);
    if (!status.ok()) return status;
  }
  gpr_log(GPR_DEBUG, "validate_Path --> EXIT");
  return grpc::Status::OK;
}

grpc::Status ServiceRpcMsgHelpers::check_0_element_path(RequestType type, gnmi::Path path) {
  gpr_log(GPR_DEBUG, "Number of elements: %d", path.elem_size());
  // A REPLACE of the empty path replaces the whole tree and is meant to pass.
  if (path.elem_size() != 0 || (type != GET && type != UPDATE)) return grpc::Status::OK;
  return log_and_refuse(grpc::StatusCode::INVALID_ARGUMENT, kEmptyPath);
}

int ServiceRpcMsgHelpers::num_wildcards_in_path(gnmi::Path path) {
  int count = 0;
  for (const gnmi::PathElem& element : path.elem()) {
    if (element.name() == kRecursiveWildcard) return -1;
    if (element.name() == kWildcard) ++count;
    for (const auto& [key, value] : element.key()) {
      if (value == kWildcard) ++count;
    }
  }
  return count;
}

grpc::Status ServiceRpcMsgHelpers::validate_path(gnmi::Update update) {
  if (update.has_path()) return grpc::Status::OK;
  return log_and_refuse(grpc::StatusCode::INVALID_ARGUMENT, kNoPathField);
}

}  // namespace nexa
