// What the benchmarks work on: the OpenConfig schema, an interfaces payload of any size, and the
// three ways to turn it into XML that are compared (the floor, libyang, the library).
#ifndef BENCH_SUPPORT_WORKLOAD_H_
#define BENCH_SUPPORT_WORKLOAD_H_

#include <memory>
#include <string>

#include "gnmi.pb.h"
#include "nexa/nexa_srv_kestrel_namespace_mapper_impl.h"

namespace nexa_bench {

inline constexpr int kLeavesPerEntry = 20;

// Loads OpenConfig (openconfig_folder()) and returns the populated mapper; null, with the reason on
// standard error, when the folder is absent. Loads once.
nexa::ServiceKestrelNamespaceMapperImpl* openconfig_mapper();

// The value of `interfaces`: `entries` interfaces with kLeavesPerEntry leaves each.
std::string interfaces_payload(int entries);

// "/oc-if:interfaces", the internal form.
gnmi::Path interfaces_path();

// Each returns the number of bytes of XML, 0 on failure.

// The least that any such converter must do: cJSON parse, straight walk to libxml2, dump, free.
std::size_t convert_floor(const std::string& json);
// libyang: parse without validation, print.
std::size_t convert_libyang(const std::string& json);
// The library: resolve the path, bind, convert with the strict converter, wrap, serialise.
std::size_t convert_nexa(const std::string& json, const gnmi::Path& path,
                         std::shared_ptr<nexa::Rfc7951MapperToken>& token,
                         nexa::ServiceKestrelNamespaceMapperImpl* mapper);

}  // namespace nexa_bench

#endif  // BENCH_SUPPORT_WORKLOAD_H_
