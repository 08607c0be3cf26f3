// The network interfaces in the folder class/net of sysfs, and what every model says of them in the
// same way.
#ifndef HOST_STATE_SYSFS_INTERFACES_H_
#define HOST_STATE_SYSFS_INTERFACES_H_

#include <string>
#include <string_view>
#include <vector>

#include "state/interface_events.h"
#include "state/schema_writer.h"
#include "state/state_provider.h"

namespace nexa::state {

// The names of the interfaces below `net`, sorted; those alone that a YANG string can hold. The
// kernel allows any byte but blanks and slashes.
std::vector<std::string> interface_names(const std::string& net);

// Writes the leaf "type" with the identity of iana-if-type for the interface's hardware type.
// `types` is that module, or null.
void write_interface_type(const std::string& folder, const KestrelNsEntry* types,
                          SchemaWriter& writer);

// How a leaf of an interface changes: those in the container of this name are counters, all others
// change with events of `events`, if there are any.
Pace interface_pace(const kestrel_cs_node& leaf, std::string_view counters,
                    const InterfaceEvents* events);

}  // namespace nexa::state

#endif  // HOST_STATE_SYSFS_INTERFACES_H_
