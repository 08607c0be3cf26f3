// An extension that asks for other behaviour than the request alone (a commit that rolls itself
// back, data of the past, fewer levels) must not be passed over in silence: the client would get
// something else than it asked for.
#include "server/request_rules.h"

#include "server/messages.h"
#include "text/display.h"
#include "translate/path_string.h"

namespace nexa::server {
namespace {

constexpr std::size_t kMostPathShown = 300;

const char* refused_extension(const gnmi_ext::Extension& extension) {
  switch (extension.ext_case()) {
    case gnmi_ext::Extension::kCommit:
      return kCommitExtension;
    case gnmi_ext::Extension::kHistory:
      return kHistoryExtension;
    case gnmi_ext::Extension::kDepth:
      return kDepthExtension;
    case gnmi_ext::Extension::kConfigSubscription:
      return kConfigSubscriptionExtension;
    case gnmi_ext::Extension::kRegisteredExt:
    case gnmi_ext::Extension::kMasterArbitration:
    case gnmi_ext::Extension::EXT_NOT_SET:
      return nullptr;
  }
  return nullptr;
}

}  // namespace

grpc::Status check_extensions(
    const google::protobuf::RepeatedPtrField<gnmi_ext::Extension>& extensions) {
  for (const gnmi_ext::Extension& extension : extensions) {
    const char* text = refused_extension(extension);
    if (text != nullptr) return {grpc::StatusCode::UNIMPLEMENTED, text};
  }
  return grpc::Status::OK;
}

std::string shown_path(const gnmi::Path& path) {
  return text::printable(translate::format_path_string(path), kMostPathShown);
}

std::string at_place(const std::string& place, const gnmi::Path& path) {
  return place + " " + shown_path(path) + ": ";
}

}  // namespace nexa::server
