// How libyang is driven. All text reaches it through the import function, so that the order of the
// folders decides and the file behind each message is known; libyang itself searches nowhere.
#include "context_loader.h"

#include <exception>

#include "date_and_time.h"
#include "error_site.h"
#include "inner_unions.h"

namespace kestrel {
namespace {

// EXPLICIT_COMPILE: modules refer to each other in circles of augments and leafrefs, so nothing is
// compiled before all are there. REF_IMPLEMENTED: what a must, when or default names is part of the
// schema too.
constexpr std::uint16_t kContextOptions = LY_CTX_REF_IMPLEMENTED | LY_CTX_EXPLICIT_COMPILE |
                                          LY_CTX_NO_YANGLIBRARY | LY_CTX_DISABLE_SEARCHDIRS |
                                          LY_CTX_DISABLE_SEARCHDIR_CWD | LY_CTX_ENABLE_IMP_FEATURES;

std::string_view view(const char* text) { return text == nullptr ? std::string_view() : text; }

bool only_defines(const lysp_module& module) {
  return module.data == nullptr && module.augments == nullptr && module.rpcs == nullptr &&
         module.notifs == nullptr && module.deviations == nullptr;
}

bool only_defines(const lysp_submodule& part) {
  return part.data == nullptr && part.augments == nullptr && part.rpcs == nullptr &&
         part.notifs == nullptr && part.deviations == nullptr;
}

// Whether a module has identities, types, groupings and the like, and nothing that stands in a
// tree.
bool only_defines(const lys_module& module) {
  if (!only_defines(*module.parsed)) return false;
  LY_ARRAY_COUNT_TYPE i = 0;
  LY_ARRAY_FOR(module.parsed->includes, i) {
    if (!only_defines(*module.parsed->includes[i].submodule)) return false;
  }
  return true;
}

}  // namespace

std::optional<LoadError> ContextLoader::load() {
  if (auto error = open_folders()) return error;
  if (auto error = open_context()) return error;
  if (auto error = load_modules()) return error;
  find_used_modules();
  if (auto error = implement_definitions()) return error;
  return compile();
}

std::optional<LoadError> ContextLoader::open_folders() {
  for (const std::string& folder : options_.search_dirs) {
    if (auto error = index_.add_folder(folder)) return error;
  }
  names_ = options_.modules;
  if (!names_.empty() || options_.search_dirs.empty()) return std::nullopt;
  if (index_.empty()) return LoadError{options_.search_dirs.front(), 0, "no YANG modules here"};
  return index_.module_names(names_);
}

std::optional<LoadError> ContextLoader::open_context() {
  ly_ctx* context = nullptr;
  if (ly_ctx_new(nullptr, kContextOptions, &context) != LY_SUCCESS) return failure("libyang");
  context_.reset(context);
  ly_ctx_set_module_imp_clb(context, &ContextLoader::provide, this);
  return std::nullopt;
}

std::optional<LoadError> ContextLoader::load_modules() {
  for (std::size_t i = 0; i < names_.size(); ++i) {
    if (auto error = load_module(names_[i])) return error;
    if (options_.progress) options_.progress(i + 1, names_.size(), names_[i]);
  }
  // The finished context outlives this object.
  ly_ctx_set_module_imp_clb(context_.get(), nullptr, nullptr);
  return std::nullopt;
}

std::optional<LoadError> ContextLoader::load_module(const std::string& name) {
  SourceFile* const file = index_.find(name, {});
  const bool is_built_in = ly_ctx_get_module_latest(context_.get(), name.c_str()) != nullptr;
  if (file == nullptr && !is_built_in) {
    return LoadError{name, 0, "no module of this name in the search folders"};
  }
  FeatureNames features = features_of(name);
  const lys_module* const module =
      ly_ctx_load_module(context_.get(), name.c_str(), nullptr, features.data());
  if (module == nullptr) {
    LoadError error = failure(file != nullptr ? file->path : name);
    // Noticed after the imports were read: libyang had the last of them in hand.
    const bool is_feature = error.message.ends_with("not found in module \"" + name + "\".");
    if (is_feature && file != nullptr && error.file != file->path) {
      error.file = file->path;
      error.line = 0;
    }
    return error;
  }
  used_.insert(module);
  if (options_.features.count(name) != 0) configured_.insert(module);
  return std::nullopt;
}

ContextLoader::FeatureNames ContextLoader::features_of(std::string_view module) const {
  const auto chosen = options_.features.find(std::string(module));
  if (chosen == options_.features.end()) return {"*", nullptr};
  FeatureNames names;
  for (const std::string& feature : chosen->second) names.push_back(feature.c_str());
  names.push_back(nullptr);
  return names;
}

void ContextLoader::find_used_modules() {
  std::vector<const lys_module*> open(used_.begin(), used_.end());
  const auto add_imports = [&](const lysp_import* imports) {
    LY_ARRAY_COUNT_TYPE i = 0;
    LY_ARRAY_FOR(imports, i) {
      if (used_.insert(imports[i].module).second) open.push_back(imports[i].module);
    }
  };
  while (!open.empty()) {
    const lysp_module& module = *open.back()->parsed;
    open.pop_back();
    add_imports(module.imports);
    LY_ARRAY_COUNT_TYPE i = 0;
    LY_ARRAY_FOR(module.includes, i) { add_imports(module.includes[i].submodule->imports); }
  }
}

// An identity can be a value only when its module is implemented, and for a module that holds
// nothing but definitions that adds nothing else to the schema.
std::optional<LoadError> ContextLoader::implement_definitions() {
  std::uint32_t i = 0;
  while (lys_module* const module = ly_ctx_get_module_iter(context_.get(), &i)) {
    if (module->implemented || used_.count(module) == 0 || !only_defines(*module)) continue;
    if (ly_ctx_get_module_implemented(context_.get(), module->name) != nullptr) continue;
    FeatureNames features = features_of(module->name);
    if (lys_set_implemented(module, features.data()) != LY_SUCCESS) return failure(module->name);
  }
  return std::nullopt;
}

std::optional<LoadError> ContextLoader::compile() {
  bool changed = false;
  if (auto error = apply_features(changed)) return error;
  // Compilation pulls in what expressions name, with all features; when the options name such a
  // module, its features are set and everything is compiled again.
  do {
    if (ly_ctx_compile(context_.get()) != LY_SUCCESS) return failure("libyang");
    if (auto error = apply_features(changed)) return error;
  } while (changed);
  complete_inner_unions(context_.get());
  widen_date_and_time(context_.get());
  return std::nullopt;
}

// For modules that others pulled in; those asked for by name have their features already.
std::optional<LoadError> ContextLoader::apply_features(bool& changed) {
  changed = false;
  for (const auto& [name, features] : options_.features) {
    lys_module* const module = ly_ctx_get_module_implemented(context_.get(), name.c_str());
    if (module == nullptr) {
      // A module that is only imported has no nodes for a feature to add.
      if (ly_ctx_get_module_latest(context_.get(), name.c_str()) != nullptr) continue;
      return LoadError{name, 0, "features are named for this module, which is not loaded"};
    }
    if (!configured_.insert(module).second) continue;
    FeatureNames names = features_of(name);
    if (lys_set_implemented(module, names.data()) != LY_SUCCESS) return failure(name);
    changed = true;
  }
  return std::nullopt;
}

std::vector<const lys_module*> ContextLoader::modules() const {
  std::vector<const lys_module*> result;
  std::uint32_t i = 0;
  while (const lys_module* const module = ly_ctx_get_module_iter(context_.get(), &i)) {
    if (module->implemented && used_.count(module) != 0) result.push_back(module);
  }
  return result;
}

Context ContextLoader::take_context() {
  ly_err_clean(context_.get(), nullptr);
  return std::move(context_);
}

LoadError ContextLoader::failure(const std::string& fallback_file) const {
  if (texts_.refused()) return *texts_.refused();
  return explain(log_.messages(), texts_.provided(), fallback_file);
}

// Called from C: no exception may leave.
LY_ERR ContextLoader::provide(const char* module, const char* revision, const char* submodule,
                              const char* /*submodule_revision*/, void* loader,
                              LYS_INFORMAT* format, const char** text,
                              ly_module_imp_data_free_clb* release) {
  auto* const self = static_cast<ContextLoader*>(loader);
  try {
    const ProvidedFile* const file = submodule != nullptr
                                         ? self->texts_.submodule(view(module), view(submodule))
                                         : self->texts_.module(view(module), view(revision));
    if (file == nullptr) return LY_ENOTFOUND;
    self->log_.set_file(file->file->path);
    *format = LYS_IN_YANG;
    *text = file->text().c_str();
    *release = nullptr;  // the loader keeps the text
    return LY_SUCCESS;
  } catch (const std::exception&) {
    return LY_EMEM;
  }
}

}  // namespace kestrel
