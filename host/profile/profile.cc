// Names and encodings of the profiles. ASCII is not reported: a Get of configuration may ask for
// it, a subscription may not.
#include "profile/profile.h"

namespace nexa::profile {

std::optional<Profile> profile_of(std::string_view name) {
  if (name == kFullName) return Profile::kFull;
  if (name == kDeviceName) return Profile::kDevice;
  return std::nullopt;
}

const std::vector<gnmi::Encoding>& reported_encodings(Profile profile) {
  static const std::vector<gnmi::Encoding> full = {gnmi::JSON, gnmi::JSON_IETF, gnmi::PROTO};
  static const std::vector<gnmi::Encoding> device = {gnmi::JSON, gnmi::JSON_IETF};
  return profile == Profile::kFull ? full : device;
}

}  // namespace nexa::profile
