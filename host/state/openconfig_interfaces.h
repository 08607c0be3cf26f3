// The network interfaces of this Linux machine as openconfig-interfaces, with their addresses as
// openconfig-if-ip.
#ifndef HOST_STATE_OPENCONFIG_INTERFACES_H_
#define HOST_STATE_OPENCONFIG_INTERFACES_H_

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "state/interface_addresses.h"
#include "state/interface_events.h"
#include "state/state_provider.h"

namespace nexa::state {

// What stands for the machine.
struct InterfaceSources {
  std::string sysfs = "/sys";  // the folder that has class/net
  std::function<std::vector<InterfaceAddress>()> addresses = read_addresses;
  std::shared_ptr<InterfaceEvents> events;  // null: nobody tells of changes
};

// Fills of each interface name, type, mtu, ifindex, admin-status, oper-status, last-change and
// counters (interface_counters.h has the table), and of subinterface 0 the addresses. last-change
// is there once the status changed while it was looked at: the kernel keeps no such time. Left out
// are values whose node is not loaded or does not hold them, such as an mtu above 65535.
std::unique_ptr<StateProvider> make_openconfig_interfaces(InterfaceSources sources);

}  // namespace nexa::state

#endif  // HOST_STATE_OPENCONFIG_INTERFACES_H_
