// libyang's print of what it parsed: the same for the same statements, wherever the files lie. Made
// once for each load.
#include "store/schema_content.h"

#include <map>
#include <mutex>

#include "store/image/schema_order.h"
#include "store/log/digest.h"
#include "store/log/schema_stamp.h"
#include "store/tree.h"

namespace nexa::store {
namespace {

struct FreeOutput {
  void operator()(ly_out* output) const { ly_out_free(output, nullptr, 0); }
};

// Prints with `print`, which gets an output, and adds the text.
template <typename Print>
bool add_text(Digest& digest, const Print& print) {
  char* text = nullptr;
  ly_out* made = nullptr;
  if (ly_out_new_memory(&text, 0, &made) != LY_SUCCESS) return false;
  const std::unique_ptr<ly_out, FreeOutput> output(made);
  const bool printed = print(output.get()) == LY_SUCCESS;
  const TextPtr owner(text);
  if (printed && text != nullptr) digest.add(std::string_view(text));
  return printed;
}

bool add_module(Digest& digest, const lys_module* module) {
  if (module->parsed == nullptr) return true;
  const auto print_module = [module](ly_out* output) {
    return lys_print_module(output, module, LYS_OUT_YANG, 0, 0);
  };
  if (!add_text(digest, print_module)) return false;
  LY_ARRAY_COUNT_TYPE i = 0;
  LY_ARRAY_FOR(module->parsed->includes, i) {
    const lysp_submodule* const submodule = module->parsed->includes[i].submodule;
    const auto print_submodule = [submodule](ly_out* output) {
      return lys_print_submodule(output, submodule, LYS_OUT_YANG, 0, 0);
    };
    if (submodule != nullptr && !add_text(digest, print_submodule)) return false;
  }
  return true;
}

std::string loaded_content() {
  // By name: the order of loading does not count.
  std::map<std::string, const lys_module*> modules;
  std::uint32_t index = 0;
  while (const lys_module* const module = ly_ctx_get_module_iter(kestrel::context(), &index)) {
    const std::string revision = module->revision != nullptr ? module->revision : "";
    modules.emplace(std::string(module->name) + "@" + revision, module);
  }
  Digest digest;
  digest.add(schema_stamp());
  for (const auto& [name, module] : modules) {
    digest.add(name);
    if (!add_module(digest, module)) return {};
  }
  return digest.finish();
}

}  // namespace

std::string schema_content_digest() {
  static std::mutex mutex;
  static std::string digest;
  static decltype(schema_generation()) generation{};
  const std::lock_guard<std::mutex> lock(mutex);
  number_schema();
  if (digest.empty() || generation != schema_generation()) {
    digest = loaded_content();
    generation = schema_generation();
  }
  return digest;
}

}  // namespace nexa::store
