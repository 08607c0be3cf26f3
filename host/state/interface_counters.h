// The statistics of one interface: which counter of Linux is which leaf of a model.
#ifndef HOST_STATE_INTERFACE_COUNTERS_H_
#define HOST_STATE_INTERFACE_COUNTERS_H_

#include <cstdint>
#include <string>

#include "state/schema_writer.h"

namespace nexa::state {

enum class CounterModel : std::uint8_t {
  kIetf,        // RFC 8343, container "statistics"
  kOpenConfig,  // openconfig-interfaces, container "counters"
};

// Writes the leaves of the container that is open, as far as the schema has them and the machine
// gives them, without discontinuity-time; whether any was written. `folder` is the interface's
// folder in sysfs, `flags` its IFF_ flags.
//
//   in-octets          rx_bytes              out-octets    tx_bytes
//   in-multicast-pkts  multicast             out-discards  tx_dropped
//   in-discards        rx_dropped            out-errors    tx_errors
//   in-errors          rx_errors
//   in-unicast-pkts    rx_packets            out-unicast-pkts  tx_packets
//
// The last two only for interfaces that can neither multicast nor broadcast: Linux does not count
// the kinds of packets apart, so that elsewhere no number is right. in-broadcast-pkts,
// in-unknown-protos, out-broadcast-pkts and out-multicast-pkts have no counter at all. OpenConfig
// has these as well:
//
//   in-pkts            rx_packets            out-pkts      tx_packets
//   in-fcs-errors      rx_crc_errors         carrier-transitions  carrier_changes
bool write_counters(const std::string& folder, unsigned flags, CounterModel model,
                    SchemaWriter& writer);

}  // namespace nexa::state

#endif  // HOST_STATE_INTERFACE_COUNTERS_H_
