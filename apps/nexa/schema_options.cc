// Progress goes to standard error, and only where somebody watches.
#include "schema_options.h"

#include <unistd.h>

#include <cstdio>
#include <string_view>

#include "feature_option.h"
#include "kestrel/loader.h"
#include "option_checks.h"
#include "status_output.h"

namespace nexa_tool {
namespace {

// With fewer modules it is over before anybody could read it.
constexpr std::size_t kManyModules = 20;

// Rewrites one line of the terminal; leaves it empty at the end.
class Progress {
 public:
  ~Progress() { clear(); }
  void clear() {
    if (shown_) std::fputs("\r\033[K", stderr);
    shown_ = false;
  }
  void show(std::size_t done, std::size_t total, std::string_view module) {
    if (total < kManyModules) return;
    shown_ = true;
    std::fprintf(stderr, "\r\033[KLoading YANG modules: %zu of %zu  %.*s", done, total,
                 static_cast<int>(module.size()), module.data());
    std::fflush(stderr);
  }

 private:
  bool shown_ = false;
};

}  // namespace

void SchemaOptions::add_to(CLI::App& command, bool required) {
  command
      .add_option("-p,--yang-dir,--searchpath", search_dirs,
                  "Folder of YANG modules; give it again for more, searched in order")
      ->required(required)
      ->check(existing_folder())
      ->type_name("DIR")
      ->expected(1)
      ->allow_extra_args(false)
      ->take_all();
  command
      .add_option("-m,--module", modules,
                  "Load only this module and what it imports; give it again for more. "
                  "Without it every module of the folders is loaded")
      ->type_name("NAME")
      ->expected(1)
      ->allow_extra_args(false)
      ->take_all();
  command.add_option("--feature", features, feature_option::kHelp)
      ->check(feature())
      ->type_name(feature_option::kForm)
      ->expected(1)
      ->allow_extra_args(false)
      ->take_all();
}

std::unique_ptr<nexa::ServiceKestrelNamespaceMapperImpl> SchemaOptions::load() const {
  kestrel::LoadOptions options;
  options.search_dirs = search_dirs;
  options.modules = modules;
  for (const std::string& text : features) feature_option::add(text, options.features);
  Progress progress;
  if (isatty(STDERR_FILENO) == 1) {
    options.progress = [&progress](std::size_t done, std::size_t total, std::string_view module) {
      progress.show(done, total, module);
    };
  }
  if (const auto error = kestrel::load(options)) {
    progress.clear();
    report_failure(nexa::text::unusable("", error->text()));
    return nullptr;
  }
  auto mapper = std::make_unique<nexa::ServiceKestrelNamespaceMapperImpl>();
  mapper->populate();
  return mapper;
}

}  // namespace nexa_tool
