// One walk over the compiled schema. A context that was numbered shows it in its first node.
#include "store/image/schema_order.h"

#include <atomic>

namespace nexa::store {
namespace {

std::atomic<std::uint64_t> generation{0};

std::size_t number_children(const lysc_node* parent, const lysc_module* module, std::size_t last) {
  const lysc_node* child = nullptr;
  while ((child = lys_getnext(child, parent, module, 0)) != nullptr) {
    if ((child->nodetype & (LYS_RPC | LYS_ACTION | LYS_NOTIF)) != 0) continue;
    const_cast<lysc_node*>(child)->priv = reinterpret_cast<void*>(++last);  // NOLINT
  }
  child = nullptr;
  while ((child = lys_getnext(child, parent, module, 0)) != nullptr) {
    if ((child->nodetype & (LYS_CONTAINER | LYS_LIST)) != 0) {
      last = number_children(child, nullptr, last);
    }
  }
  return last;
}

}  // namespace

std::size_t number_schema() {
  static const ly_ctx* numbered = nullptr;
  static std::uint16_t changes = 0;
  static std::size_t count = 0;
  const ly_ctx* const context = kestrel::context();
  if (context == nullptr) return 0;
  std::uint32_t at = 0;
  const lysc_node* first = nullptr;
  while (const lys_module* const module = ly_ctx_get_module_iter(context, &at)) {
    if (module->implemented == 0 || module->compiled == nullptr) continue;
    first = lys_getnext(nullptr, nullptr, module->compiled, 0);
    if (first != nullptr) break;
  }
  const bool is_done = numbered == context && changes == ly_ctx_get_change_count(context) &&
                       (first == nullptr || schema_number(first) != 0);
  if (is_done) return count;
  count = 0;
  at = 0;
  while (const lys_module* const module = ly_ctx_get_module_iter(context, &at)) {
    if (module->implemented == 0 || module->compiled == nullptr) continue;
    count = number_children(nullptr, module->compiled, count);
  }
  numbered = context;
  changes = ly_ctx_get_change_count(context);
  generation.fetch_add(1, std::memory_order_release);
  return count;
}

std::uint64_t schema_generation() { return generation.load(std::memory_order_acquire); }

}  // namespace nexa::store
