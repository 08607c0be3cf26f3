// The function stands in a copy of libyang's leafref plugin, which the compiled types point to.
#include "store/validation/reference_targets.h"

#include <libyang/plugins_types.h>

#include <algorithm>
#include <functional>
#include <new>

#include "store/validation/tree_walk.h"

namespace nexa::store {
namespace {

thread_local ReferenceTargets* in_use = nullptr;

const lyd_value& value_of(const lyd_node* leaf) {
  return reinterpret_cast<const lyd_node_term*>(leaf)->value;
}

bool is_equal(const lyd_node* target, const lyd_value& value) {
  const lyd_value& other = value_of(target);
  return other.realtype->plugin->compare(&other, &value) == LY_SUCCESS;
}

const lyd_node* top_level(const lyd_node* node) {
  while (lyd_parent(node) != nullptr) node = lyd_parent(node);
  return node;
}

}  // namespace

std::size_t ReferenceTargets::PlaceHash::operator()(const Place& place) const {
  const std::hash<const void*> hash;
  return hash(place.top) * 31 + hash(place.target);
}

ReferenceTargets::ReferenceTargets(const ConstraintIndex& index) {
  static lyplg_type leafref;
  for (const Constraint& constraint : index.constraints()) {
    if (constraint.kind != Constraint::Kind::kReference || constraint.target == nullptr) continue;
    lysc_type* const type = type_of(constraint.node);
    if (type->basetype != LY_TYPE_LEAFREF) continue;
    if (type->plugin->validate == lyplg_type_validate_leafref) {
      if (leafref.id == nullptr) {
        leafref = *type->plugin;
        leafref.validate = &ReferenceTargets::validate;
      }
      type->plugin = &leafref;
    }
    Way way;
    way.top = constraint.reach;
    way.down = way_down(constraint.reach, constraint.target);
    way.is_single = std::none_of(way.down.begin(), way.down.end(), [](const lysc_node* step) {
      return (step->nodetype & (LYS_LIST | LYS_LEAFLIST)) != 0;
    });
    if (!way.down.empty()) ways_.emplace(constraint.node, std::move(way));
  }
}

ReferenceTargets::~ReferenceTargets() = default;

ReferenceTargets::Use::Use(ReferenceTargets& targets) {
  targets.module_ = nullptr;
  targets.gathered_.clear();
  in_use = &targets;
}

ReferenceTargets::Use::~Use() {
  in_use->gathered_.clear();
  in_use = nullptr;
}

LY_ERR ReferenceTargets::validate(const ly_ctx* context, const lysc_type* type,
                                  const lyd_node* node, const lyd_node* tree, lyd_value* value,
                                  ly_err_item** error) {
  // A union hands on its members' types and values.
  const bool is_own = node != nullptr && node->schema != nullptr && tree != nullptr &&
                      (node->schema->nodetype & LYD_NODE_TERM) != 0 &&
                      type_of(node->schema) == type && &value_of(node) == value;
  if (in_use != nullptr && is_own && in_use->finds_with_memory(node, tree, *value)) {
    *error = nullptr;
    return LY_SUCCESS;
  }
  return lyplg_type_validate_leafref(context, type, node, tree, value, error);
}

// The caller is C, which an exception must not pass through. Without memory libyang looks itself.
bool ReferenceTargets::finds_with_memory(const lyd_node* node, const lyd_node* tree,
                                         const lyd_value& value) noexcept {
  try {
    return finds(node, tree, value);
  } catch (const std::bad_alloc&) {
    gathered_.clear();
    return false;
  }
}

bool ReferenceTargets::finds(const lyd_node* node, const lyd_node* tree, const lyd_value& value) {
  const auto found = ways_.find(node->schema);
  if (found == ways_.end()) return false;
  const Way& way = found->second;
  const lyd_node* top = nullptr;
  if (way.top != nullptr) {
    for (top = node; top != nullptr && top->schema != way.top;) top = lyd_parent(top);
    if (top == nullptr) return false;
  }
  if (way.is_single) {
    const lyd_node* at = top != nullptr ? lyd_child(top) : lyd_first_sibling(tree);
    for (std::size_t step = 0; step < way.down.size() && at != nullptr; ++step) {
      at = find_among(step == 0 ? at : lyd_child(at), way.down[step]);
    }
    return at != nullptr && is_equal(at, value);
  }
  const lys_module* const module = owner_module(top_level(node)->schema);
  if (module != module_) gathered_.clear();
  module_ = module;
  const Instances& instances = gather(way, top, tree);
  const auto instance = instances.find(lyd_get_value(node));
  return instance != instances.end() && is_equal(instance->second, value);
}

const ReferenceTargets::Instances& ReferenceTargets::gather(const Way& way, const lyd_node* top,
                                                            const lyd_node* tree) {
  const auto [place, is_new] = gathered_.try_emplace(Place{top, way.down.back()});
  if (is_new) {
    const lyd_node* const first = top != nullptr ? lyd_child(top) : lyd_first_sibling(tree);
    visit_way(first, way.down, 0, [&instances = place->second](const lyd_node* target) {
      instances.emplace(lyd_get_value(target), target);
    });
  }
  return place->second;
}

}  // namespace nexa::store
