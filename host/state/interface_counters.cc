// Counters of 32 bits are the lower half of the kernel's, as RFC 8343 lets them wrap.
#include "state/interface_counters.h"

#include <net/if.h>

#include <cstdint>

#include "state/sysfs_value.h"
#include "text/escape.h"

namespace nexa::state {
namespace {

struct Counter {
  const char* leaf;
  const char* file;
  bool is_long;  // counter64
  bool is_of_all_packets;
};

constexpr Counter kCounters[] = {
    {"in-octets", "rx_bytes", true, false},          {"in-unicast-pkts", "rx_packets", true, true},
    {"in-multicast-pkts", "multicast", true, false}, {"in-discards", "rx_dropped", false, false},
    {"in-errors", "rx_errors", false, false},        {"out-octets", "tx_bytes", true, false},
    {"out-unicast-pkts", "tx_packets", true, true},  {"out-discards", "tx_dropped", false, false},
    {"out-errors", "tx_errors", false, false},
};

}  // namespace

void append_counters(const std::string& folder, unsigned flags, const InterfaceSchema& schema,
                     std::string& xml) {
  const bool is_unicast_only = (flags & (IFF_BROADCAST | IFF_MULTICAST)) == 0;
  for (const Counter& counter : kCounters) {
    if (counter.is_of_all_packets && !is_unicast_only) continue;
    if (!schema.has_statistic(counter.leaf)) continue;
    const auto value = read_number(folder + "/statistics/" + counter.file);
    if (!value) continue;
    const std::uint64_t shown = counter.is_long ? *value : *value & 0xFFFFFFFFU;
    text::append_xml_leaf(counter.leaf, std::to_string(shown), xml);
  }
}

}  // namespace nexa::state
