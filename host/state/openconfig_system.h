// This Linux machine as openconfig-system: hostname, times, memory, processors.
#ifndef HOST_STATE_OPENCONFIG_SYSTEM_H_
#define HOST_STATE_OPENCONFIG_SYSTEM_H_

#include <memory>
#include <string>

#include "state/state_provider.h"

namespace nexa::state {

// `proc` is where procfs is; another folder serves tests. Fills /system/state/hostname, boot-time,
// current-datetime and up-time, /system/memory/state/physical, free, available and used (physical
// without available), and for ALL processors and each of them "instant" of total, user, kernel,
// nice, idle, wait, hardware-interrupt and software-interrupt, in percent of the time since an
// earlier reading, at least a second where there was one; "interval" says how long that was.
std::unique_ptr<StateProvider> make_openconfig_system(std::string proc = "/proc");

}  // namespace nexa::state

#endif  // HOST_STATE_OPENCONFIG_SYSTEM_H_
