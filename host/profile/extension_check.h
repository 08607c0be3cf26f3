// Which extensions of a request are served, which are passed over, which refuse it.
#ifndef HOST_PROFILE_EXTENSION_CHECK_H_
#define HOST_PROFILE_EXTENSION_CHECK_H_

#include <cstdint>

#include "profile/profile.h"
#include "profile/request_check.h"

namespace nexa::profile {

enum class Rpc : std::uint8_t { kCapabilities, kGet, kSet, kSubscribe };

// UNIMPLEMENTED for a known extension that changes what the request means and that this call does
// not serve; the place is its field. Unknown ones are passed over.
RequestVerdict check_extensions(
    Profile profile, Rpc rpc,
    const google::protobuf::RepeatedPtrField<gnmi_ext::Extension>& extensions);

}  // namespace nexa::profile

#endif  // HOST_PROFILE_EXTENSION_CHECK_H_
