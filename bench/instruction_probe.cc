// One conversion of one kind, for an instruction counter around it:
//   instruction_probe floor|libyang|nexa ENTRIES
// Everything before measured_region() is set-up. The first conversion warms caches and lazy
// bindings; the counter sees the second.
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "support/workload.h"

namespace {

std::size_t convert(const char* kind, const std::string& json, const gnmi::Path& path,
                    std::shared_ptr<nexa::Rfc7951MapperToken>& token,
                    nexa::ServiceKestrelNamespaceMapperImpl* mapper) {
  if (std::strcmp(kind, "floor") == 0) return nexa_bench::convert_floor(json);
  if (std::strcmp(kind, "libyang") == 0) return nexa_bench::convert_libyang(json);
  return nexa_bench::convert_nexa(json, path, token, mapper);
}

}  // namespace

extern "C" __attribute__((noinline, visibility("default"))) std::size_t measured_region(
    const char* kind, const std::string* json, const gnmi::Path* path,
    std::shared_ptr<nexa::Rfc7951MapperToken>* token,
    nexa::ServiceKestrelNamespaceMapperImpl* mapper) {
  return convert(kind, *json, *path, *token, mapper);
}

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fprintf(stderr, "usage: instruction_probe floor|libyang|nexa ENTRIES\n");
    return 2;
  }
  auto* mapper = nexa_bench::openconfig_mapper();
  if (mapper == nullptr) return 77;
  const int entries = std::atoi(argv[2]);
  const std::string json = nexa_bench::interfaces_payload(entries);
  const gnmi::Path path = nexa_bench::interfaces_path();
  auto token = mapper->newToken();
  if (convert(argv[1], json, path, token, mapper) == 0) return 1;
  const std::size_t bytes = measured_region(argv[1], &json, &path, &token, mapper);
  std::printf("%s: %d leaves, %zu bytes of XML\n", argv[1], entries * nexa_bench::kLeavesPerEntry,
              bytes);
  return bytes == 0 ? 1 : 0;
}
