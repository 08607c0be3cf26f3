// The statistics of one interface: which counter of Linux is which leaf of RFC 8343.
#ifndef HOST_STATE_INTERFACE_COUNTERS_H_
#define HOST_STATE_INTERFACE_COUNTERS_H_

#include <string>

#include "state/interface_schema.h"

namespace nexa::state {

// Appends the leaves of container "statistics" that the schema has and the machine gives, without
// discontinuity-time. `folder` is the interface's folder in sysfs, `flags` its IFF_ flags.
//
//   in-octets          rx_bytes              out-octets    tx_bytes
//   in-multicast-pkts  multicast             out-discards  tx_dropped
//   in-discards        rx_dropped            out-errors    tx_errors
//   in-errors          rx_errors
//   in-unicast-pkts    rx_packets            out-unicast-pkts  tx_packets
//
// The last two only for interfaces that can neither multicast nor broadcast: Linux does not count
// the kinds of packets apart, so that elsewhere no number is right. in-broadcast-pkts,
// in-unknown-protos, out-broadcast-pkts and out-multicast-pkts have no counter at all.
void append_counters(const std::string& folder, unsigned flags, const InterfaceSchema& schema,
                     std::string& xml);

}  // namespace nexa::state

#endif  // HOST_STATE_INTERFACE_COUNTERS_H_
