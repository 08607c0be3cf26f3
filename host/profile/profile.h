// Which contract does the server keep: gNMI as its specification has it, or the narrower one of the
// device whose request checks the library holds? Only this room asks; every other room takes what
// the checks let pass.
#ifndef HOST_PROFILE_PROFILE_H_
#define HOST_PROFILE_PROFILE_H_

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include "gnmi.pb.h"

namespace nexa::profile {

enum class Profile : std::uint8_t {
  kFull,    // gNMI 0.10
  kDevice,  // the verdicts of the library's request checks
};

inline constexpr char kFullName[] = "full";
inline constexpr char kDeviceName[] = "device";

// The profile of a name as flags write it; nothing for any other text.
std::optional<Profile> profile_of(std::string_view name);

// The encodings that both Get and Subscribe serve, as Capabilities reports them.
const std::vector<gnmi::Encoding>& reported_encodings(Profile profile);

}  // namespace nexa::profile

#endif  // HOST_PROFILE_PROFILE_H_
