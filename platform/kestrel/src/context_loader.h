// Loads modules into a libyang context: which text, which features, which modules count. The only
// part of the loader that drives libyang.
#ifndef KESTREL_SRC_CONTEXT_LOADER_H_
#define KESTREL_SRC_CONTEXT_LOADER_H_

#include <libyang/libyang.h>

#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "kestrel/loader.h"
#include "libyang_log.h"
#include "module_index.h"
#include "module_texts.h"

namespace kestrel {

struct ContextDeleter {
  void operator()(ly_ctx* context) const { ly_ctx_destroy(context); }
};
using Context = std::unique_ptr<ly_ctx, ContextDeleter>;

class ContextLoader {
 public:
  explicit ContextLoader(const LoadOptions& options) : options_(options) {}

  // Loads and compiles everything. After an error the context is of no use.
  std::optional<LoadError> load();

  // The modules of the schema, in the order in which they were met: all that are implemented, less
  // those of libyang's own that nobody asked for. Valid after a successful load().
  std::vector<const lys_module*> modules() const;

  Context take_context();

 private:
  using FeatureNames = std::vector<const char*>;  // ended by null, as libyang takes them

  std::optional<LoadError> open_folders();
  std::optional<LoadError> open_context();
  std::optional<LoadError> load_modules();
  std::optional<LoadError> load_module(const std::string& name);
  std::optional<LoadError> implement_definitions();
  std::optional<LoadError> compile();
  std::optional<LoadError> apply_features(bool& changed);
  LoadError failure(const std::string& fallback_file) const;

  FeatureNames features_of(std::string_view module) const;
  void find_used_modules();

  static LY_ERR provide(const char* module, const char* revision, const char* submodule,
                        const char* submodule_revision, void* loader, LYS_INFORMAT* format,
                        const char** text, ly_module_imp_data_free_clb* release);
  const LoadOptions& options_;
  LibyangLog log_;
  ModuleIndex index_;
  ModuleTexts texts_{index_};
  Context context_;
  std::vector<std::string> names_;
  std::set<const lys_module*> used_;        // asked for by name, and what these import
  std::set<const lys_module*> configured_;  // have the features that the options name
};

}  // namespace kestrel

#endif  // KESTREL_SRC_CONTEXT_LOADER_H_
