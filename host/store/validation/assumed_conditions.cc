// Nodes are told by marks that their `priv` points to, so a node that libyang made meanwhile is not
// taken for one that it freed.
#include "store/validation/assumed_conditions.h"

#include <algorithm>

#include "store/validation/tree_walk.h"
#include "store/validation/violation_text.h"

namespace nexa::store {
namespace {

// What another case of the same change may have driven out: the node or what it stands in. A
// container that holds nothing does not keep its case. Null: nothing.
lyd_node* in_old_case(lyd_node* node) {
  for (; node != nullptr; node = lyd_parent(node)) {
    if (in_case(node->schema) && ((node->flags & LYD_NEW) == 0 || is_default(node))) return node;
  }
  return nullptr;
}

}  // namespace

AssumedConditions::AssumedConditions(const ConstraintIndex& index, const UnsureConditions& unsure,
                                     lyd_node* tree)
    : index_(index), unsure_(unsure) {
  mark(tree);
}

void AssumedConditions::mark(lyd_node* tree) {
  for (; tree != nullptr; tree = tree->next) {
    if (tree->schema == nullptr) continue;
    const NodeRules& rules = index_.rules(tree->schema);
    if (rules.conditional && (tree->flags & LYD_WHEN_TRUE) == 0) {
      tree->flags |= LYD_WHEN_TRUE;
      if (holds_given(tree)) note(tree, rules);
    }
    const bool is_unsure = rules.conditional && unsure_.any() &&
                           std::any_of(rules.own.begin(), rules.own.end(),
                                       [this](const Constraint* own) { return unsure_.has(*own); });
    if (is_unsure && holds_given(tree)) unsure_marks_.push_back(mark_of(tree));
    mark(lyd_child(tree));
  }
}

AssumedConditions::Mark* AssumedConditions::mark_of(lyd_node* node) {
  if (node->priv == nullptr) {
    marks_.push_back({node, false});
    node->priv = &marks_.back();
  }
  return static_cast<Mark*>(node->priv);
}

void AssumedConditions::note(lyd_node* node, const NodeRules& rules) {
  const auto when = std::find_if(rules.own.begin(), rules.own.end(), [](const Constraint* own) {
    return own->kind == Constraint::Kind::kWhen;
  });
  lyd_node* const old = in_old_case(node);
  if (when == rules.own.end() || old == node) return;
  given_.push_back(
      {mark_of(node), old != nullptr ? mark_of(old) : nullptr, path_of(node), (*when)->when});
}

// The node may be gone when its path is asked for. Neighbours share the way to their parent, which
// is most of a path, and those in the same entry the way to the entry.
std::string AssumedConditions::path_of(const lyd_node* node) {
  const lyd_node* const parent = lyd_parent(node);
  const bool has_predicate = (node->schema->nodetype & (LYS_LIST | LYS_LEAFLIST)) != 0;
  if (parent == nullptr || has_predicate) return instance_path(node);
  KnownPath& above = parent->schema->nodetype == LYS_LIST ? last_entry_ : last_container_;
  if (parent != above.node) above = {parent, path_of(parent)};
  const lys_module* const module = node->schema->module;
  std::string path = above.path + '/';
  if (module != parent->schema->module) path.append(module->name).push_back(':');
  return path.append(node->schema->name);
}

std::optional<Violation> AssumedConditions::find_lost(lyd_node* tree) {
  if (marks_.empty()) return std::nullopt;
  for (lyd_node* top = tree; top != nullptr; top = top->next) {
    each_node(top, [](lyd_node* node) {
      if (node->priv == nullptr) return;
      static_cast<Mark*>(node->priv)->is_left = true;
      node->priv = nullptr;
    });
  }
  for (const Given& given : given_) {
    if (!given.node->is_left && (given.old == nullptr || given.old->is_left)) {
      return when_violation(given.path, *given.when);
    }
  }
  return std::nullopt;
}

bool AssumedConditions::lost_unsure() const {
  return std::any_of(unsure_marks_.begin(), unsure_marks_.end(),
                     [](const Mark* mark) { return !mark->is_left; });
}

std::vector<lyd_node*> AssumedConditions::left() const {
  std::vector<lyd_node*> nodes;
  for (const Given& given : given_) {
    if (given.node->is_left) nodes.push_back(given.node->node);
  }
  return nodes;
}

}  // namespace nexa::store
