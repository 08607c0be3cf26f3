// The public face: the value as JSON, then payload and conversion.
#include "translate/translate.h"

#include <mutex>
#include <string_view>

#include "text/display.h"
#include "translate/conversion.h"
#include "translate/payload.h"
#include "translate/typed_value.h"

namespace nexa::translate {
namespace {

constexpr char kUpdateWithoutValue[] = "the update has no value";

}  // namespace

struct Translator::State {
  State(nexa::ServiceKestrelNamespaceMapperImpl& used_mapper, const model::Schema& schema,
        Mode used_mode)
      : mapper(used_mapper), mode(used_mode), names(schema.names()) {}

  grpc::Status convert(const model::Target& target, std::string_view json, bool strict,
                       std::vector<std::string>* notes, std::string& xml);
  grpc::Status convert_root(const model::Target& target, Payload& payload, Conversion& conversion);

  // The library's node cache and the mapper's maps have no lock of their own.
  std::mutex mutex;
  nexa::ServiceKestrelNamespaceMapperImpl& mapper;
  const Mode mode;
  const SchemaNames& names;
  kestrel::ValueChecker values;
};

Translator::Translator(nexa::ServiceKestrelNamespaceMapperImpl& mapper, const model::Schema& schema,
                       Mode mode)
    : state_(std::make_unique<State>(mapper, schema, mode)) {}
Translator::~Translator() = default;

// The members of the root are the values of top-level nodes; what does not belong to the origin is
// not the origin's to set.
grpc::Status Translator::State::convert_root(const model::Target& target, Payload& payload,
                                             Conversion& conversion) {
  grpc::Status status = payload.read_tree();
  if (!status.ok()) return status;
  for (const std::uint32_t member : payload.members(payload.root)) {
    PathStep top;
    top.node = payload.readings[member].node;
    if (!names.in_scope(top.node, target.scope)) {
      return {grpc::StatusCode::INVALID_ARGUMENT,
              "member " + text::quoted(names.qualified(top.node)) + " does not belong to origin " +
                  text::quoted(target.scope.origin)};
    }
    if (payload.readings[member].role == Role::kNone) continue;
    status = conversion.add({&top}, payload, member);
    if (!status.ok()) return status;
  }
  return grpc::Status::OK;
}

grpc::Status Translator::State::convert(const model::Target& target, std::string_view json,
                                        bool strict, std::vector<std::string>* notes,
                                        std::string& xml) {
  Payload payload(names, values, strict, notes);
  grpc::Status status = payload.scan(json);
  if (!status.ok()) return status;
  Conversion conversion(mapper, names, notes);
  if (target.is_root()) {
    status = convert_root(target, payload, conversion);
    return status.ok() ? conversion.finish(xml) : status;
  }
  const NodeChain path = target.chain();
  if (const PathKey* key = target.named_key()) {
    status = payload.read_key(*key);
    if (status.ok()) status = conversion.add_path(path, path.size() - 1);
  } else {
    status = payload.read_value(target.last());
    if (status.ok()) status = conversion.add(path, payload, payload.root);
  }
  return status.ok() ? conversion.finish(xml) : status;
}

Translation Translator::translate(const model::Target& target, const gnmi::TypedValue& value,
                                  bool explain) {
  Translation result;
  const std::lock_guard<std::mutex> lock(state_->mutex);
  std::string storage;
  std::string_view json;
  const model::ValueKind kind =
      target.is_root() ? model::ValueKind::kOther : model::value_kind(target.last().schema);
  result.status = value_as_json(value, kind, storage, json);
  if (!result.status.ok()) return result;
  if (json.data() == nullptr) {
    result.status = {grpc::StatusCode::INVALID_ARGUMENT, kUpdateWithoutValue};
    return result;
  }
  // What RFC 7951 asks of a text does not bind the token that a scalar was made into.
  const bool strict = state_->mode == Mode::kStrict && is_json(value);
  result.status =
      state_->convert(target, json, strict, explain ? &result.notes : nullptr, result.xml);
  if (!result.status.ok()) result.xml.clear();
  return result;
}

}  // namespace nexa::translate
