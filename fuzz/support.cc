// The fuzzers' shared part: loading, failing, temporary folders.
#include "support.h"

#include <grpc/support/log.h>
#include <libyang/libyang.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>

#include "kestrel/loader.h"

namespace fuzz {

void fail(const char* what, const std::string& detail) {
  std::fprintf(stderr, "fuzz: %s: %s\n", what, detail.c_str());
  std::abort();
}

nexa::ServiceKestrelNamespaceMapperImpl& mapper(const char* folder) {
  static nexa::ServiceKestrelNamespaceMapperImpl instance;
  static const bool ready = [folder] {
    gpr_set_log_function([](gpr_log_func_args*) {});
    kestrel::LoadOptions options;
    options.search_dirs = {folder};
    if (const auto error = kestrel::load(options)) fail("the models do not load", error->text());
    ly_log_options(LY_LOSTORE_LAST);
    return instance.populate().ok();
  }();
  if (!ready) fail("no names of modules");
  return instance;
}

TemporaryFolder::TemporaryFolder() {
  // Memory rather than a disk, where there is such a folder.
  const char* const base = std::filesystem::is_directory("/dev/shm") ? "/dev/shm" : "/tmp";
  path_ = std::string(base) + "/nexa-fuzz-XXXXXX";
  if (mkdtemp(path_.data()) == nullptr) fail("no temporary folder", path_);
}

TemporaryFolder::~TemporaryFolder() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

}  // namespace fuzz
