// An extension that asks for other behaviour than the request alone (a commit that rolls itself
// back, data of the past, fewer levels) must not be passed over in silence: the client would get
// something else than it asked for.
#include "profile/extension_check.h"

#include <string>

#include "profile/messages.h"

namespace nexa::profile {
namespace {

const char* text_of(gnmi_ext::Extension::ExtCase extension) {
  switch (extension) {
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

// What the full profile serves of the extensions that have a refusal above, call by call. The
// device profile serves none of them.
bool is_served(Profile profile, Rpc rpc, gnmi_ext::Extension::ExtCase extension) {
  if (profile == Profile::kDevice) return false;
  switch (extension) {
    case gnmi_ext::Extension::kCommit:
      return rpc == Rpc::kSet;
    case gnmi_ext::Extension::kDepth:
      return rpc == Rpc::kGet || rpc == Rpc::kSubscribe;
    case gnmi_ext::Extension::kHistory:
    case gnmi_ext::Extension::kConfigSubscription:
      return rpc == Rpc::kSubscribe;
    default:
      return false;
  }
}

}  // namespace

RequestVerdict check_extensions(
    Profile profile, Rpc rpc,
    const google::protobuf::RepeatedPtrField<gnmi_ext::Extension>& extensions) {
  for (int index = 0; index < extensions.size(); ++index) {
    const gnmi_ext::Extension::ExtCase extension = extensions.Get(index).ext_case();
    const char* const text = text_of(extension);
    if (text == nullptr || is_served(profile, rpc, extension)) continue;
    return {{grpc::StatusCode::UNIMPLEMENTED, text}, "extension[" + std::to_string(index) + "]"};
  }
  return {};
}

}  // namespace nexa::profile
