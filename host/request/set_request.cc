// Edits stand in the order of application, so the number of an edit tells its operation.
#include "request/set_request.h"

#include <optional>
#include <string_view>
#include <utility>

#include "nexa/nexa_srv_rpc_msg_helpers.h"
#include "profile/request_check.h"
#include "request/messages.h"
#include "request/request_rules.h"
#include "request/status_details.h"
#include "text/display.h"

namespace nexa::request {
namespace {

constexpr std::size_t kMostValueShown = 100;
constexpr char kEmptyDocument[] = "<config/>";

// One operation of the request.
struct OperationView {
  gnmi::UpdateResult::Operation kind = gnmi::UpdateResult::INVALID;
  int index = 0;
  const gnmi::Path* path = nullptr;
  const gnmi::Update* update = nullptr;  // null for a delete
};

OperationView operation_at(const gnmi::SetRequest& request, std::size_t edit) {
  int index = static_cast<int>(edit);
  if (index < request.delete__size()) {
    return {gnmi::UpdateResult::DELETE, index, &request.delete_(index), nullptr};
  }
  index -= request.delete__size();
  if (index < request.replace_size()) {
    const gnmi::Update& update = request.replace(index);
    return {gnmi::UpdateResult::REPLACE, index, &update.path(), &update};
  }
  index -= request.replace_size();
  if (index < request.update_size()) {
    const gnmi::Update& update = request.update(index);
    return {gnmi::UpdateResult::UPDATE, index, &update.path(), &update};
  }
  index -= request.update_size();
  const gnmi::Update& update = request.union_replace(index);
  return {gnmi::UpdateResult::UNION_REPLACE, index, &update.path(), &update};
}

const char* name_of(gnmi::UpdateResult::Operation kind) {
  switch (kind) {
    case gnmi::UpdateResult::DELETE:
      return "delete";
    case gnmi::UpdateResult::REPLACE:
      return "replace";
    case gnmi::UpdateResult::UNION_REPLACE:
      return "union_replace";
    default:
      return "update";
  }
}

std::string name_of(const OperationView& operation) {
  return std::string(name_of(operation.kind)) + "[" + std::to_string(operation.index) + "]";
}

// The value as a message shows it; empty for what is not text.
std::string_view value_text(const gnmi::TypedValue& value) {
  if (value.has_json_ietf_val()) return value.json_ietf_val();
  if (value.has_json_val()) return value.json_val();
  if (value.has_string_val()) return value.string_val();
  return {};
}

std::string shown_value(const OperationView& operation) {
  if (operation.update == nullptr) return {};
  const std::string_view text = value_text(operation.update->val());
  if (text.empty()) return {};
  return "value " + text::printable(text, kMostValueShown) + ": ";
}

grpc::Status refuse(const OperationView& operation, grpc::StatusCode code,
                    const std::string& text) {
  gnmi::UpdateResult blamed;
  *blamed.mutable_path() = *operation.path;
  blamed.set_op(operation.kind);
  return with_details(code, text, &blamed);
}

// The number of the edit that a place of the checks lies in, such as "update[1].path"; none when it
// is no operation's. A union_replace by itself stands for the kind of request, not for an
// operation.
std::optional<std::size_t> edit_of(const gnmi::SetRequest& request, std::string_view place) {
  const std::size_t count = operation_count(request);
  for (std::size_t edit = 0; edit < count; ++edit) {
    const OperationView operation = operation_at(request, edit);
    const std::string name = name_of(operation);
    if (place.substr(0, name.size()) != name) continue;
    const bool is_kind = operation.kind == gnmi::UpdateResult::UNION_REPLACE && place == name;
    return is_kind ? std::nullopt : std::optional<std::size_t>(edit);
  }
  return std::nullopt;
}

// The texts of the checks are fixed and name no operation; the details do.
grpc::Status refuse_checked(const gnmi::SetRequest& request,
                            const profile::RequestVerdict& verdict) {
  const grpc::StatusCode code = verdict.status.error_code();
  const std::optional<std::size_t> edit = edit_of(request, verdict.place);
  if (!edit) return with_details(code, verdict.status.error_message(), nullptr);
  return refuse(operation_at(request, *edit), code, verdict.status.error_message());
}

// `{}` or null with any white space.
bool is_empty_object(std::string_view json) {
  std::string text;
  for (const char character : json) {
    if (character == ' ' || character == '\t' || character == '\n' || character == '\r') continue;
    text.push_back(character);
    if (text.size() > 4) return false;
  }
  return text == "{}" || text == "null";
}

bool names_entry(const gnmi::Path& path) {
  return path.elem_size() > 0 && path.elem(path.elem_size() - 1).key_size() > 0;
}

grpc::Status add_delete(store::Edit& edit) {
  if (!edit.target.is_root()) {
    edit.kind = store::Edit::Kind::kDelete;
    return grpc::Status::OK;
  }
  // The root itself stays: all of its children go that belong to the origin.
  edit.kind = store::Edit::Kind::kReplace;
  edit.xml = kEmptyDocument;
  return grpc::Status::OK;
}

class Preparation {
 public:
  Preparation(const SetParts& parts, const gnmi::SetRequest& request)
      : parts_(parts), request_(request) {}

  grpc::Status add(const OperationView& operation, store::Edit& edit) const;

 private:
  grpc::Status add_value(const OperationView& operation, store::Edit& edit) const;

  const SetParts& parts_;
  const gnmi::SetRequest& request_;
};

// The text of every refusal begins with the operation and its path.
grpc::Status Preparation::add(const OperationView& operation, store::Edit& edit) const {
  const bool is_delete = operation.kind == gnmi::UpdateResult::DELETE;
  auto resolved =
      parts_.resolver.resolve(request_.prefix(), *operation.path,
                              is_delete ? model::Purpose::kDelete : model::Purpose::kWrite);
  grpc::Status status = resolved.ok() ? grpc::Status::OK : resolved.failure().status();
  if (status.ok()) {
    edit.target = std::move(resolved.value());
    status = is_delete ? add_delete(edit) : add_value(operation, edit);
  }
  if (status.ok()) return status;
  const gnmi::Path joined = model::join_paths(request_.prefix(), *operation.path);
  return refuse(operation, status.error_code(),
                name_of(operation) + " of " + shown_path(joined) + ": " +
                    text::printable(status.error_message()));
}

grpc::Status Preparation::add_value(const OperationView& operation, store::Edit& edit) const {
  const gnmi::TypedValue& value = operation.update->val();
  const bool is_json = value.has_json_ietf_val() || value.has_json_val();
  if (is_json && names_entry(edit.target.path) && is_empty_object(value_text(value))) {
    return {grpc::StatusCode::INVALID_ARGUMENT, shown_value(operation) + kEmptyEntry};
  }
  grpc::Status served = profile::check_value_kind(parts_.profile, parts_.resolver.mode(), value);
  if (!served.ok()) return served;
  translate::Translation translation = parts_.translator.translate(edit.target, value);
  if (!translation.status.ok()) return translation.status;
  edit.xml = std::move(translation.xml);
  if (operation.kind == gnmi::UpdateResult::REPLACE) {
    edit.kind = store::Edit::Kind::kReplace;
  } else if (operation.kind == gnmi::UpdateResult::UNION_REPLACE) {
    edit.kind = store::Edit::Kind::kUnion;  // the target tells which origin is replaced
  } else {
    edit.kind = store::Edit::Kind::kUpdate;
    edit.target = model::Target();  // the document says where it belongs
  }
  return grpc::Status::OK;
}

// Nothing stands beside the union that its values could be right without: what breaks a rule
// contradicts itself.
grpc::StatusCode code_of(const gnmi::SetRequest& request, const store::CommitResult& result) {
  const grpc::StatusCode code = result.status.error_code();
  const bool breaks_rule = code == grpc::StatusCode::FAILED_PRECONDITION && !result.rule.empty();
  return request.union_replace_size() > 0 && breaks_rule ? grpc::StatusCode::INVALID_ARGUMENT
                                                         : code;
}

}  // namespace

std::size_t operation_count(const gnmi::SetRequest& request) {
  return static_cast<std::size_t>(request.delete__size()) +
         static_cast<std::size_t>(request.replace_size()) +
         static_cast<std::size_t>(request.update_size()) +
         static_cast<std::size_t>(request.union_replace_size());
}

grpc::Status prepare_set(const SetParts& parts, const gnmi::SetRequest& request,
                         std::vector<store::Edit>& edits) {
  const std::size_t count = operation_count(request);
  if (count > parts.max_operations) {
    return {grpc::StatusCode::INVALID_ARGUMENT,
            std::to_string(count) + " operations in one request, at most " +
                std::to_string(parts.max_operations) + " are taken"};
  }
  const profile::RequestVerdict verdict = profile::check_set(parts.profile, request);
  if (!verdict.ok()) return refuse_checked(request, verdict);
  edits.resize(count);
  const Preparation preparation(parts, request);
  for (std::size_t index = 0; index < count; ++index) {
    if (parts.abandoned && parts.abandoned()) {
      return {grpc::StatusCode::CANCELLED, kCallCancelled};
    }
    grpc::Status status = preparation.add(operation_at(request, index), edits[index]);
    if (!status.ok()) return status;
  }
  return grpc::Status::OK;
}

grpc::Status refusal_of(const gnmi::SetRequest& request, const store::CommitResult& result) {
  const grpc::StatusCode code = code_of(request, result);
  const std::string& rule = result.rule.empty() ? result.status.error_message() : result.rule;
  const std::string place = result.path.empty()
                                ? std::string()
                                : " at " + text::printable(result.path, kMostValueShown * 3);
  if (result.edit < 0 || static_cast<std::size_t>(result.edit) >= operation_count(request)) {
    return with_details(code, text::printable(rule) + place, nullptr);
  }
  const OperationView operation = operation_at(request, static_cast<std::size_t>(result.edit));
  const gnmi::Path joined = model::join_paths(request.prefix(), *operation.path);
  return refuse(operation, code,
                name_of(operation) + " of " + shown_path(joined) + ": " + shown_value(operation) +
                    text::printable(rule) + place);
}

void answer_set(const gnmi::SetRequest& request, gnmi::SetResponse& response) {
  if (request.has_prefix()) *response.mutable_prefix() = request.prefix();
  const std::size_t count = operation_count(request);
  for (std::size_t index = 0; index < count; ++index) {
    const OperationView operation = operation_at(request, index);
    ServiceRpcMsgHelpers::build_UpdateResult(&response, *operation.path, operation.kind);
  }
  response.set_timestamp(ServiceRpcMsgHelpers::get_timestamp());
}

std::string operation_name(const gnmi::SetRequest& request, std::size_t edit) {
  return name_of(operation_at(request, edit));
}

const gnmi::Path& operation_path(const gnmi::SetRequest& request, std::size_t edit) {
  return *operation_at(request, edit).path;
}

}  // namespace nexa::request
