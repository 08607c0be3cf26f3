// What the fuzzers share: the modules of models/ loaded once, and a folder that is gone afterwards.
#ifndef FUZZ_SUPPORT_H_
#define FUZZ_SUPPORT_H_

#include <cstddef>
#include <cstdint>
#include <string>

#include "nexa/nexa_srv_kestrel_namespace_mapper_impl.h"

namespace fuzz {

// Stops the process: the input found a fault. `what` goes to standard error.
[[noreturn]] void fail(const char* what, const std::string& detail = {});

// The mapper over the modules of a folder, the example modules unless told; the first call loads
// them and silences libyang and gRPC.
nexa::ServiceKestrelNamespaceMapperImpl& mapper(const char* folder = NEXA_MODELS_DIR);

inline std::string text_of(const std::uint8_t* data, std::size_t size) {
  return {reinterpret_cast<const char*>(data), size};
}

// A folder of this process's own, removed when the process ends.
class TemporaryFolder {
 public:
  TemporaryFolder();
  ~TemporaryFolder();
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

}  // namespace fuzz

#endif  // FUZZ_SUPPORT_H_
