// Look-ups in a target. The nodes of a step are ordered by the address of their parent.
#include "model/target.h"

#include <algorithm>
#include <functional>

namespace nexa::model {

std::pair<const TargetNode*, const TargetNode*> TargetStep::below(const lysc_node* parent) const {
  const std::less<const lysc_node*> before;
  const auto first = std::lower_bound(
      nodes.begin(), nodes.end(), parent,
      [&](const TargetNode& node, const lysc_node* wanted) { return before(node.parent, wanted); });
  auto end = first;
  while (end != nodes.end() && end->parent == parent) ++end;
  const TargetNode* const begin = nodes.data() + (first - nodes.begin());
  return {begin, begin + (end - first)};
}

const TargetNode* TargetStep::find(const lysc_node* parent, const lysc_node* schema) const {
  const auto [first, end] = below(parent);
  for (const TargetNode* node = first; node != end; ++node) {
    if (node->schema == schema) return node;
  }
  return nullptr;
}

bool Target::qualifies_names() const {
  return std::any_of(path.elem().begin(), path.elem().end(), [](const gnmi::PathElem& element) {
    return element.name().find(':') != std::string::npos;
  });
}

std::vector<const TargetNode*> Target::chain() const {
  std::vector<const TargetNode*> nodes;
  nodes.reserve(steps.size());
  for (const TargetStep& step : steps) nodes.push_back(&step.nodes.front());
  return nodes;
}

const TargetKey* Target::named_key() const {
  if (steps.size() < 2) return nullptr;
  for (const TargetKey& key : steps[steps.size() - 2].nodes.front().keys) {
    if (key.node == last().node) return &key;
  }
  return nullptr;
}

bool Target::may_begin_with(const lysc_node* top) const {
  const kestrel_cs_node* const record = model->record(top);
  return record != nullptr && model->names().in_scope(record, scope);
}

namespace {

bool has_same_keys(const gnmi::PathElem& left, const gnmi::PathElem& right) {
  if (left.key_size() != right.key_size()) return false;
  if (left.key_size() == 1) {  // nearly always; nothing is looked up
    const auto one = left.key().begin();
    const auto other = right.key().begin();
    return one->first == other->first && (one->second == "*") == (other->second == "*");
  }
  return std::all_of(left.key().begin(), left.key().end(), [&right](const auto& key) {
    const auto other = right.key().find(key.first);
    return other != right.key().end() && (key.second == "*") == (other->second == "*");
  });
}

}  // namespace

bool has_same_form(const gnmi::Path& left, const gnmi::Path& right) {
  return left.elem_size() == right.elem_size() && left.origin() == right.origin() &&
         left.target() == right.target() &&
         std::equal(left.elem().begin(), left.elem().end(), right.elem().begin(),
                    [](const gnmi::PathElem& one, const gnmi::PathElem& other) {
                      return one.name() == other.name() && has_same_keys(one, other);
                    });
}

gnmi::Path join_paths(const gnmi::Path& prefix, const gnmi::Path& path) {
  gnmi::Path joined = prefix;
  joined.mutable_elem()->MergeFrom(path.elem());
  if (!path.origin().empty()) joined.set_origin(path.origin());
  if (!path.target().empty()) joined.set_target(path.target());
  return joined;
}

}  // namespace nexa::model
