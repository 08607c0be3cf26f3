// Top-level nodes come with their choices looked through, so one of another module than the one
// that is asked was added to a choice.
#include "store/schema_support.h"

#include <string>
#include <unordered_set>
#include <utility>
#include <vector>

#include "store/tree.h"
#include "store/validation/level_plans.h"

namespace nexa::store {
namespace {

std::string added_default() {
  std::uint32_t at = 0;
  while (const lys_module* const module = ly_ctx_get_module_iter(kestrel::context(), &at)) {
    if (module->implemented == 0 || module->compiled == nullptr) continue;
    const lysc_node* node = nullptr;
    while ((node = lys_getnext(node, nullptr, module->compiled, 0)) != nullptr) {
      if (node->module == module || (node->flags & LYS_CONFIG_R) != 0 || !comes_by_itself(node)) {
        continue;
      }
      return std::string("module ") + node->module->name + " adds \"" + node->name +
             "\", which has a default, to a choice at the top level of module " + module->name +
             ": libyang cannot complete it; take the default or the augment out";
    }
  }
  return {};
}

// All nodes of the schema, and its lists with a `unique`.
class Uniques {
 public:
  Uniques() {
    std::uint32_t at = 0;
    while (const lys_module* const module = ly_ctx_get_module_iter(kestrel::context(), &at)) {
      if (module->implemented != 0 && module->compiled != nullptr) {
        collect(nullptr, module->compiled);
      }
    }
  }

  std::string fault() const {
    for (const lysc_node* const list : lists_) {
      const auto* const uniques = reinterpret_cast<const lysc_node_list*>(list)->uniques;
      LY_ARRAY_COUNT_TYPE i = 0;
      LY_ARRAY_FOR(uniques, i) {
        LY_ARRAY_COUNT_TYPE j = 0;
        LY_ARRAY_FOR(uniques[i], j) {
          if (stands_below(&uniques[i][j]->node, list)) continue;
          return std::string("module ") + list->module->name + ": a unique of list \"" +
                 list->name +
                 "\" names a leaf that a deviation took out; take that deviation out, "
                 "or let it delete the unique as well";
        }
      }
    }
    return {};
  }

 private:
  void collect(const lysc_node* parent, const lysc_module* module) {
    const lysc_node* node = nullptr;
    while ((node = lys_getnext(node, parent, module, 0)) != nullptr) {
      nodes_.insert(node);
      if (node->nodetype == LYS_LIST) {
        if (reinterpret_cast<const lysc_node_list*>(node)->uniques != nullptr) {
          lists_.push_back(node);
        }
      }
      if ((node->nodetype & (LYS_CONTAINER | LYS_LIST)) != 0) collect(node, nullptr);
    }
  }

  // The leaf may be freed memory: it is looked at only when it is known to be a node.
  bool stands_below(const lysc_node* leaf, const lysc_node* list) const {
    if (nodes_.count(leaf) == 0) return false;
    while (leaf != nullptr && leaf != list) leaf = lysc_data_parent(leaf);
    return leaf != nullptr;
  }

  std::unordered_set<const lysc_node*> nodes_;
  std::vector<const lysc_node*> lists_;
};

}  // namespace

text::Done check_schema() {
  std::string fault = added_default();
  if (fault.empty()) fault = Uniques().fault();
  if (!fault.empty()) return text::unusable("", std::move(fault));
  return {};
}

}  // namespace nexa::store
