// Configurations of a router over the OpenConfig models, as RFC 7951 JSON: what a Set of a large
// network element carries. Numbers of units stand for size; a unit is what one customer of a
// provider edge router needs: a port with two VLANs and their addresses, a VRF with its protocols,
// its routing policy and a packet filter. Every reference of a unit ends inside the unit or in the
// first one, so that any range of units is valid over a configuration that holds unit 0.
#ifndef BENCH_SUPPORT_OPENCONFIG_PAYLOAD_H_
#define BENCH_SUPPORT_OPENCONFIG_PAYLOAD_H_

#include <cstddef>
#include <cstdint>
#include <string>

namespace nexa_bench {

// The folder of the OpenConfig modules, yang/openconfig in the one that the variable
// NEXA_PUBLISHED_MODELS names; empty when there is none.
std::string openconfig_folder();

inline constexpr char kNoOpenConfig[] =
    "no OpenConfig modules; NEXA_PUBLISHED_MODELS names the folder with yang/openconfig in it\n";

// What a payload holds. The keys of the entries depend on the numbers of the units alone, the
// values on the seed as well: two seeds give two configurations with the same keys.
struct PayloadUnits {
  std::uint32_t first = 0;
  std::uint32_t count = 1;
  std::uint32_t seed = 1;
};

// The number of units whose text is about `bytes` long; at least 1. The error is below one unit,
// some 15 kB.
std::uint32_t units_of(std::size_t bytes);

// The configuration as one JSON object of qualified top-level members. Unit 0 brings what a router
// has once: the system's settings, the default network-instance, the shared policy. Deterministic;
// any thread.
std::string openconfig_payload(const PayloadUnits& units);

// The whole configuration of about `bytes`.
std::string openconfig_payload(std::size_t bytes, std::uint32_t seed);

}  // namespace nexa_bench

#endif  // BENCH_SUPPORT_OPENCONFIG_PAYLOAD_H_
