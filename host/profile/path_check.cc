// The full profile serves some paths that the library's checks refuse. These parts of a path are
// taken away before the library looks at the rest, so that both profiles refuse the rest alike.
#include "profile/path_check.h"

#include <google/protobuf/descriptor.h>

#include <string>
#include <utility>

#include "model/target.h"
#include "profile/messages.h"

namespace nexa::profile {
namespace {

constexpr char kAnyValue[] = "*";
constexpr char kPlainValue[] = "value";

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

// Only "*" alone is a wildcard (gNMI path conventions); an entry whose key has an asterisk among
// other characters is one that a payload can make, so a path must reach it.
void take_literal_values(gnmi::Path& path) {
  for (gnmi::PathElem& element : *path.mutable_elem()) {
    for (auto& [name, value] : *element.mutable_key()) {
      if (value != kAnyValue) value = kPlainValue;
    }
  }
}

}  // namespace

// Taken as it stands, a path in the old form alone would be the empty path: the whole tree. Clients
// that write both forms, for servers of every age, mean the same by them.
grpc::Status check_form(const gnmi::Path& path) {
  static const google::protobuf::FieldDescriptor* const element =
      gnmi::Path::descriptor()->FindFieldByName("element");
  if (path.elem_size() != 0 || path.GetReflection()->FieldSize(path, element) == 0) {
    return grpc::Status::OK;
  }
  return {grpc::StatusCode::UNIMPLEMENTED, kElementList};
}

grpc::Status check_path(Profile profile, RequestType type, const gnmi::Path& prefix,
                        const gnmi::Path& path) {
  grpc::Status status = check_form(path);
  if (!status.ok()) return status;
  gnmi::Path joined = model::join_paths(prefix, path);
  if (profile == Profile::kFull) {
    take_literal_values(joined);
  } else {
    status = ServiceRpcMsgHelpers::check_0_element_path(type, joined);
    if (!status.ok()) return status;
  }
  status = take_entry_values(type, joined);
  if (!status.ok()) return status;
  return ServiceRpcMsgHelpers::validate_Path(type, std::move(joined));
}

}  // namespace nexa::profile
