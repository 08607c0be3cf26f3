// Where is it? libyang names no instance for what is missing or doubled at a level: looks through
// the whole tree for the first such problem. Only after a refusal, so it may take its time.
#include "store/validation/change_check.h"
#include "store/validation/violation_text.h"

namespace nexa::store {
namespace {

bool has_data_of(const lyd_node* siblings, const lysc_node* branch) {
  const lysc_node* node = nullptr;
  while ((node = lys_getnext(node, branch, nullptr, 0)) != nullptr) {
    if (find_among(siblings, node) != nullptr) return true;
  }
  return false;
}

}  // namespace

std::optional<Violation> ChangeCheck::first_problem() {
  judges_whole_ = true;
  unknown_ = false;
  violation_.reset();
  const lys_module* module = nullptr;
  for (lyd_node* node = tree_; node != nullptr && !stopped(); node = node->next) {
    if (node->schema == nullptr) continue;
    if (owner_module(node->schema) != module) {
      module = owner_module(node->schema);
      search_level(nullptr, module);
    }
    each_node(node, [this](lyd_node* inner) {
      if (stopped() || inner->schema == nullptr) return;
      if (index_.rules(inner->schema).structured) search_level(inner, nullptr);
    });
  }
  return std::move(violation_);
}

void ChangeCheck::search_level(lyd_node* parent, const lys_module* module) {
  Level level;
  level.parent = parent;
  level.module = module;
  level.fresh = true;
  const lysc_node* const schema = parent != nullptr ? parent->schema : nullptr;
  const lysc_module* const compiled = parent == nullptr ? module->compiled : nullptr;
  const lysc_node* node = nullptr;
  while ((node = lys_getnext(node, schema, compiled, LYS_GETNEXT_WITHCHOICE)) != nullptr) {
    if (node->nodetype == LYS_CHOICE) search_choice(level, node);
    if (node->nodetype != LYS_LIST) continue;
    const auto* const list = reinterpret_cast<const lysc_node_list*>(node);
    if (list->uniques != nullptr) judge_unique(find_among(first_of(level), node), list);
  }
  if (!stopped()) judge_structure(level, schema, true);
}

void ChangeCheck::search_choice(Level& level, const lysc_node* choice) {
  const lysc_node* present = nullptr;
  const lysc_node* branch = lysc_node_child(choice);
  for (; branch != nullptr && !stopped(); branch = branch->next) {
    if (!has_data_of(first_of(level), branch)) continue;
    if (present != nullptr) {
      return fail(both_cases_violation(instance_path(level.parent), present->name, branch->name));
    }
    present = branch;
    for (const lysc_node* inner = lysc_node_child(branch); inner != nullptr; inner = inner->next) {
      if (inner->nodetype == LYS_CHOICE) search_choice(level, inner);
    }
  }
}

}  // namespace nexa::store
