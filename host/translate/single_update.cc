// Check, resolve, translate: in the order in which a server does it.
#include "translate/single_update.h"

#include <iterator>
#include <string>
#include <utility>

#include "profile/request_check.h"
#include "translate/path_string.h"

namespace nexa::translate {
namespace {

const char* name_of(Operation operation) {
  return operation == Operation::kUpdate ? "update" : "replace";
}

grpc::Status in_operation(const grpc::Status& status, Operation operation, const gnmi::Path& prefix,
                          const gnmi::Path& path) {
  const gnmi::Path joined = model::join_paths(prefix, path);
  return {status.error_code(), std::string(name_of(operation)) + " of " +
                                   format_path_string(joined) + ": " + status.error_message()};
}

}  // namespace

Translation translate_update(const model::Resolver& resolver, Translator& translator,
                             const gnmi::Path& prefix, const gnmi::Update& update,
                             Operation operation, bool explain) {
  Translation result;
  const nexa::RequestType type = operation == Operation::kUpdate ? nexa::UPDATE : nexa::REPLACE;
  result.status = profile::check_update(profile::Profile::kDevice, type, prefix, update).status;
  if (!result.status.ok()) return result;
  std::vector<std::string> notes;
  const auto target =
      resolver.resolve(prefix, update.path(), model::Purpose::kWrite, explain ? &notes : nullptr);
  result.status = target.ok() ? profile::check_value_kind(profile::Profile::kDevice,
                                                          resolver.mode(), update.val())
                              : target.failure().status();
  if (result.status.ok()) result = translator.translate(target.value(), update.val(), explain);
  notes.insert(notes.end(), std::make_move_iterator(result.notes.begin()),
               std::make_move_iterator(result.notes.end()));
  result.notes = std::move(notes);
  if (!result.status.ok()) {
    result.status = in_operation(result.status, operation, prefix, update.path());
  }
  return result;
}

}  // namespace nexa::translate
