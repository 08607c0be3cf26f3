// Loads YANG modules into the process-wide schema that kestrel/kestrel.h shows.
#ifndef KESTREL_LOADER_H_
#define KESTREL_LOADER_H_

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "kestrel/kestrel.h"

struct ly_ctx;

namespace kestrel {

struct LoadOptions {
  // Folders searched for modules and for what these import, in order; not recursive.
  std::vector<std::string> search_dirs;
  // Names of the modules to implement; empty: every module of the search folders.
  std::vector<std::string> modules;
  // Enabled features by module name. A module that is not named has all its features enabled.
  std::map<std::string, std::vector<std::string>> features;
  // Called after each module with the number done, the number of all, and the module's name.
  std::function<void(std::size_t done, std::size_t total, std::string_view module)> progress;
};

// Why a schema could not be loaded: the first problem, and where it stands.
struct LoadError {
  std::string file;        // the module's file, or the folder or name that was asked for
  std::uint32_t line = 0;  // 0 when the problem has no line
  std::string message;

  // "file:line: message", without the parts that are not known.
  KESTREL_EXPORT std::string text() const;
};

// Replaces the process-wide schema by the modules that `options` names; nullopt on success. On
// failure the schema in place stays as it was. Records handed out earlier stay valid for the
// process. Not thread-safe: load before anything reads the schema.
KESTREL_EXPORT std::optional<LoadError> load(const LoadOptions& options);

// The libyang context behind the loaded schema, null before the first load; owned by this library.
KESTREL_EXPORT const struct ly_ctx* context();

// Number of data nodes in the loaded schema, meta-data nodes not counted.
KESTREL_EXPORT std::size_t node_count();

}  // namespace kestrel

#endif  // KESTREL_LOADER_H_
