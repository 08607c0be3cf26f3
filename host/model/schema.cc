// Both sides list the data nodes of a level in one order, so the search for each record's compiled
// node begins behind the one before it and ends at once.
#include "model/schema.h"

#include <libyang/libyang.h>

#include <cstring>
#include <vector>

#include "kestrel/loader.h"

namespace nexa::model {
namespace {

constexpr std::uint16_t kDataNodes =
    LYS_CONTAINER | LYS_LEAF | LYS_LEAFLIST | LYS_LIST | LYS_ANYXML | LYS_ANYDATA;

// The data nodes of a level, choices and cases looked through.
std::vector<const lysc_node*> level_of(const lysc_node* parent, const lysc_module* module) {
  std::vector<const lysc_node*> level;
  const lysc_node* node = nullptr;
  while ((node = lys_getnext(node, parent, module, 0)) != nullptr) {
    if ((node->nodetype & kDataNodes) != 0) level.push_back(node);
  }
  return level;
}

bool is_same(const kestrel_cs_node* record, const lysc_node* compiled) {
  return std::strcmp(local_name(record), compiled->name) == 0 &&
         std::strcmp(kestrel_hash2str(record->ns), compiled->module->ns) == 0;
}

// Calls `take` for each record, beginning with `first`, and its compiled node.
template <typename Take>
void match(kestrel_cs_node* first, const std::vector<const lysc_node*>& level, Take&& take) {
  std::size_t next = 0;
  for (kestrel_cs_node* record = first; record != nullptr; record = record->next) {
    if ((record->flags & KESTREL_FLAG_META_DATA) != 0) continue;
    for (std::size_t tried = 0; tried < level.size(); ++tried) {
      const lysc_node* const compiled = level[(next + tried) % level.size()];
      if (!is_same(record, compiled)) continue;
      take(record, compiled);
      next += tried + 1;
      break;
    }
  }
}

}  // namespace

Schema::Schema() {
  const ly_ctx* const context = kestrel::context();
  if (context == nullptr) return;
  KestrelNsEntry* list = nullptr;
  const int count = kestrel_get_nslist(&list);
  for (int index = 0; index < count; ++index) {
    const lys_module* const module = ly_ctx_get_module_implemented_ns(context, list[index].uri);
    if (module == nullptr || module->compiled == nullptr) continue;
    match(kestrel_find_cs_root(list[index].hash), level_of(nullptr, module->compiled),
          [this](kestrel_cs_node* record, const lysc_node* compiled) { pair(record, compiled); });
  }
}

// The depth of the recursion is that of the schema.
void Schema::pair(kestrel_cs_node* record, const lysc_node* compiled) {
  compiled_.emplace(record, compiled);
  records_.emplace(compiled, record);
  hints_.read(compiled);
  if (record->children == nullptr) return;
  match(record->children, level_of(compiled, nullptr),
        [this](kestrel_cs_node* below, const lysc_node* node) { pair(below, node); });
}

const lysc_node* Schema::compiled(const kestrel_cs_node* record) const {
  const auto found = compiled_.find(record);
  return found != compiled_.end() ? found->second : nullptr;
}

kestrel_cs_node* Schema::record(const lysc_node* compiled) const {
  const auto found = records_.find(compiled);
  return found != records_.end() ? found->second : nullptr;
}

}  // namespace nexa::model
