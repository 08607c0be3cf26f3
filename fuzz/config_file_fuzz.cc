// The server's TOML file: every value has its place, or an error that names file and line.
#include "config_file.h"

#include <sys/mman.h>
#include <unistd.h>

#include "support.h"

namespace {

// The parser reads a file; this one is in memory.
class MemoryFile {
 public:
  MemoryFile() : descriptor_(memfd_create("fuzz", MFD_CLOEXEC)) {
    if (descriptor_ < 0) fuzz::fail("no file in memory");
    path_ = "/proc/self/fd/" + std::to_string(descriptor_);
  }
  ~MemoryFile() { close(descriptor_); }
  MemoryFile(const MemoryFile&) = delete;
  MemoryFile& operator=(const MemoryFile&) = delete;

  void hold(const std::uint8_t* data, std::size_t size) const {
    if (ftruncate(descriptor_, 0) != 0) fuzz::fail("cannot be emptied");
    if (pwrite(descriptor_, data, size, 0) != static_cast<ssize_t>(size)) fuzz::fail("no room");
  }
  const std::string& path() const { return path_; }

 private:
  int descriptor_;
  std::string path_;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const MemoryFile file;
  file.hold(data, size);
  const auto values = nexad::read_config_file(file.path());
  if (!values.ok()) {
    const std::string error = values.failure().line();
    if (error.rfind(file.path() + ":", 0) != 0) fuzz::fail("no place", error);
    return 0;
  }
  for (const auto& [setting, value] : values.value()) {
    if (setting.empty() || value.origin.rfind(file.path() + ":", 0) != 0) {
      fuzz::fail("no origin", setting);
    }
  }
  return 0;
}
