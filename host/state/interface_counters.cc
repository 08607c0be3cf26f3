// The short counters of RFC 8343 are the lower half of the kernel's, as it lets them wrap; those of
// OpenConfig are long throughout.
#include "state/interface_counters.h"

#include <net/if.h>

#include "state/sysfs_value.h"

namespace nexa::state {
namespace {

enum class Size : std::uint8_t {
  kLong,   // counter64
  kShort,  // counter32 in RFC 8343
};

enum class Of : std::uint8_t { kBoth, kUnicastOnly, kOpenConfigOnly };

struct Counter {
  const char* leaf;
  const char* file;  // below the interface's folder
  Size size;
  Of of;
};

constexpr Counter kCounters[] = {
    {"in-octets", "/statistics/rx_bytes", Size::kLong, Of::kBoth},
    {"in-pkts", "/statistics/rx_packets", Size::kLong, Of::kOpenConfigOnly},
    {"in-unicast-pkts", "/statistics/rx_packets", Size::kLong, Of::kUnicastOnly},
    {"in-multicast-pkts", "/statistics/multicast", Size::kLong, Of::kBoth},
    {"in-discards", "/statistics/rx_dropped", Size::kShort, Of::kBoth},
    {"in-errors", "/statistics/rx_errors", Size::kShort, Of::kBoth},
    {"in-fcs-errors", "/statistics/rx_crc_errors", Size::kLong, Of::kOpenConfigOnly},
    {"out-octets", "/statistics/tx_bytes", Size::kLong, Of::kBoth},
    {"out-pkts", "/statistics/tx_packets", Size::kLong, Of::kOpenConfigOnly},
    {"out-unicast-pkts", "/statistics/tx_packets", Size::kLong, Of::kUnicastOnly},
    {"out-discards", "/statistics/tx_dropped", Size::kShort, Of::kBoth},
    {"out-errors", "/statistics/tx_errors", Size::kShort, Of::kBoth},
    {"carrier-transitions", "/carrier_changes", Size::kLong, Of::kOpenConfigOnly},
};

}  // namespace

bool write_counters(const std::string& folder, unsigned flags, CounterModel model,
                    SchemaWriter& writer) {
  const bool is_unicast_only = (flags & (IFF_BROADCAST | IFF_MULTICAST)) == 0;
  const bool is_ietf = model == CounterModel::kIetf;
  bool any = false;
  for (const Counter& counter : kCounters) {
    if (counter.of == Of::kUnicastOnly && !is_unicast_only) continue;
    if (counter.of == Of::kOpenConfigOnly && is_ietf) continue;
    if (!writer.has(counter.leaf)) continue;
    const auto value = read_number(folder + counter.file);
    if (!value) continue;
    const bool wraps = is_ietf && counter.size == Size::kShort;
    writer.leaf(counter.leaf, wraps ? *value & 0xFFFFFFFFU : *value);
    any = true;
  }
  return any;
}

}  // namespace nexa::state
