// What lies below a schema node is worked out once.
#include "telemetry/leaf_paces.h"

#include <algorithm>
#include <utility>

namespace nexa::telemetry {

LeafPaces::LeafPaces(const model::Schema& schema, std::vector<state::StateProvider*> providers,
                     const model::StateMirror* mirror)
    : schema_(schema), providers_(std::move(providers)), mirror_(mirror) {}

bool LeafPaces::is_mirrored(const lysc_node* leaf) const {
  return mirror_ != nullptr && mirror_->shows(leaf);
}

state::Pace LeafPaces::pace(const kestrel_cs_node& leaf) const {
  const bool by_events =
      std::any_of(providers_.begin(), providers_.end(), [&leaf](const state::StateProvider* each) {
        return each->pace(leaf) == state::Pace::kEvents;
      });
  return by_events ? state::Pace::kEvents : state::Pace::kGauge;
}

state::Pace LeafPaces::pace(const lysc_node* leaf) const {
  const kestrel_cs_node* const record = schema_.record(leaf);
  return record == nullptr ? state::Pace::kGauge : pace(*record);
}

LeafPaces::Content LeafPaces::below(const kestrel_cs_node& node) const {
  const auto known = contents_.find(&node);
  if (known != contents_.end()) return known->second;
  Content content;
  const bool is_leaf =
      model::is_leaf(&node) || model::is_leaf_list(&node) || model::is_any_data(&node);
  if (is_leaf && is_mirrored(schema_.compiled(&node))) {
    content.mirrored = true;
  } else if (is_leaf && model::is_state(&node) && !providers_.empty()) {
    (pace(node) == state::Pace::kEvents ? content.events : content.gauges) = true;
  }
  for (const kestrel_cs_node* child = node.children; child != nullptr; child = child->next) {
    const Content inner = below(*child);
    content.events = content.events || inner.events;
    content.gauges = content.gauges || inner.gauges;
    content.mirrored = content.mirrored || inner.mirrored;
  }
  contents_.emplace(&node, content);
  return content;
}

LeafPaces::Content LeafPaces::content(const model::Target& target) const {
  const bool has_providers = !providers_.empty();
  if (target.steps.empty() || target.steps.back().unlimited) {
    return {has_providers, has_providers, mirror_ != nullptr};
  }
  Content content;
  const std::lock_guard<std::mutex> lock(mutex_);
  for (const model::TargetNode& meant : target.steps.back().nodes) {
    const Content one = below(*meant.node);
    content.events = content.events || one.events;
    content.gauges = content.gauges || one.gauges;
    content.mirrored = content.mirrored || one.mirrored;
  }
  return content;
}

}  // namespace nexa::telemetry
