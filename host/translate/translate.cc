// The public face: request checks in their order, then path, payload and conversion.
#include "translate/translate.h"

#include <mutex>

#include "nexa/nexa_srv_rpc_msg_helpers.h"
#include "translate/conversion.h"
#include "translate/path_string.h"
#include "translate/payload.h"
#include "translate/request_path.h"
#include "translate/typed_value.h"

namespace nexa::host {
namespace {

using Helpers = nexa::ServiceRpcMsgHelpers;

constexpr char kUpdateWithoutValue[] = "the update has no value";

const char* name_of(Operation operation) {
  return operation == Operation::kUpdate ? "update" : "replace";
}

nexa::RequestType type_of(Operation operation) {
  return operation == Operation::kUpdate ? nexa::UPDATE : nexa::REPLACE;
}

gnmi::Path joined(const gnmi::Path& prefix, const gnmi::Path& path) {
  gnmi::Path whole = prefix;
  whole.mutable_elem()->MergeFrom(path.elem());
  return whole;
}

// The path as the library's checks take it: the entry of a leaf-list is named by the key ".", which
// is no identifier. Its value is checked like any other.
grpc::Status validate(nexa::RequestType type, const gnmi::Path& path) {
  gnmi::Path checked = path;
  for (gnmi::PathElem& element : *checked.mutable_elem()) {
    const auto value = element.key().find(".");
    if (value == element.key().end()) continue;
    grpc::Status status = Helpers::validate_value(type, value->second);
    if (!status.ok()) return status;
    element.mutable_key()->erase(".");
  }
  return Helpers::validate_Path(type, checked);
}

grpc::Status in_request(const grpc::Status& status, Operation operation, const gnmi::Path& path) {
  std::string text = std::string(name_of(operation)) + " of " + format_path_string(path) + ": ";
  return {status.error_code(), text + status.error_message()};
}

}  // namespace

struct Translator::State {
  State(nexa::ServiceKestrelNamespaceMapperImpl& used_mapper, Mode used_mode)
      : mapper(used_mapper), mode(used_mode) {}

  grpc::Status check(const gnmi::Update& update, const gnmi::Path& whole, Operation operation,
                     std::string& storage, std::string_view& json) const;
  grpc::Status convert(const gnmi::Path& prefix, const gnmi::Update& update, std::string_view json,
                       std::vector<std::string>* notes, std::string& xml);

  // The library's node cache and the mapper's maps have no lock of their own.
  std::mutex mutex;
  nexa::ServiceKestrelNamespaceMapperImpl& mapper;
  const Mode mode;
  SchemaNames names;
  kestrel::ValueChecker values;
};

Translator::Translator(nexa::ServiceKestrelNamespaceMapperImpl& mapper, Mode mode)
    : state_(std::make_unique<State>(mapper, mode)) {}
Translator::~Translator() = default;

Mode Translator::mode() const { return state_->mode; }

grpc::Status Translator::State::check(const gnmi::Update& update, const gnmi::Path& whole,
                                      Operation operation, std::string& storage,
                                      std::string_view& json) const {
  const nexa::RequestType type = type_of(operation);
  grpc::Status status = Helpers::validate_path(update);
  if (!status.ok()) return status;
  status = Helpers::check_0_element_path(type, whole);
  if (!status.ok()) return status;
  status = validate(type, whole);
  if (!status.ok()) return status;
  return value_as_json(update.val(), mode == Mode::kStrict, storage, json);
}

grpc::Status Translator::State::convert(const gnmi::Path& prefix, const gnmi::Update& update,
                                        std::string_view json, std::vector<std::string>* notes,
                                        std::string& xml) {
  RequestPath path;
  grpc::Status status = resolve_path(prefix, update.path(), names, values, path, notes);
  if (!status.ok()) return status;
  Payload payload(names, values, mode == Mode::kStrict, notes);
  status = payload.scan(json);
  if (!status.ok()) return status;
  Conversion conversion(mapper, names, notes);
  if (path.steps.empty()) {
    status = payload.read_tree();
    if (!status.ok()) return status;
    for (const std::uint32_t member : payload.members(payload.root)) {
      RequestPath top;
      top.steps.emplace_back().node = payload.readings[member].node;
      if (payload.readings[member].role == Role::kNone) continue;
      status = conversion.add(top, payload, member);
      if (!status.ok()) return status;
    }
    return conversion.finish(xml);
  }
  if (const PathKey* key = path.named_key()) {
    status = payload.read_key(*key);
    if (!status.ok()) return status;
    status = conversion.add_path(path, path.steps.size() - 1);
    return status.ok() ? conversion.finish(xml) : status;
  }
  status = payload.read_value(path);
  if (!status.ok()) return status;
  status = conversion.add(path, payload, payload.root);
  return status.ok() ? conversion.finish(xml) : status;
}

Translation Translator::translate(const gnmi::Path& prefix, const gnmi::Update& update,
                                  Operation operation, bool explain) {
  Translation result;
  const gnmi::Path whole = joined(prefix, update.path());
  const std::lock_guard<std::mutex> lock(state_->mutex);
  std::string storage;
  std::string_view json;
  // The texts of the library's checks are part of the interface to clients: they stay as they are.
  result.status = state_->check(update, whole, operation, storage, json);
  if (!result.status.ok()) return result;
  if (json.data() == nullptr) {
    result.status =
        in_request({grpc::StatusCode::INVALID_ARGUMENT, kUpdateWithoutValue}, operation, whole);
    return result;
  }
  result.status =
      state_->convert(prefix, update, json, explain ? &result.notes : nullptr, result.xml);
  if (result.status.ok()) return result;
  result.xml.clear();
  result.status = in_request(result.status, operation, whole);
  return result;
}

}  // namespace nexa::host
