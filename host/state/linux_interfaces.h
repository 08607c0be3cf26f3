// The network interfaces of this Linux machine as ietf-interfaces (RFC 8343): oper-status,
// phys-address, if-index, speed, statistics.
#ifndef HOST_STATE_LINUX_INTERFACES_H_
#define HOST_STATE_LINUX_INTERFACES_H_

#include <memory>
#include <string>

#include "state/interface_events.h"
#include "state/state_provider.h"

namespace nexa::state {

// `sysfs` is the folder that has class/net; another one serves tests. "proc/stat" beside it tells
// when the machine started (discontinuity-time). interface_counters.h has the table of statistics.
// The identities of types and the features (if-mib for if-index and admin-status) come from the
// loaded schema. Left out are values whose node or identity is not loaded, values that cannot be
// read, and interfaces whose name a YANG string cannot hold.
// `events` tells of changes; null: nobody does.
std::unique_ptr<StateProvider> make_linux_interfaces(
    std::string sysfs = "/sys", std::shared_ptr<InterfaceEvents> events = nullptr);

}  // namespace nexa::state

#endif  // HOST_STATE_LINUX_INTERFACES_H_
