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

void LeafPaces::Content::add(const Content& other) {
  events = events || other.events;
  gauges = gauges || other.gauges;
  hinted = hinted || other.hinted;
  mirrored = mirrored || other.mirrored;
  atomic = atomic || other.atomic;
}

state::Pace LeafPaces::pace(const kestrel_cs_node& leaf) const {
  const bool by_events =
      std::any_of(providers_.begin(), providers_.end(), [&leaf](const state::StateProvider* each) {
        return each->pace(leaf) == state::Pace::kEvents;
      });
  return by_events ? state::Pace::kEvents : state::Pace::kGauge;
}

bool LeafPaces::changes_by_events(const lysc_node* leaf) const {
  const kestrel_cs_node* const record = schema_.record(leaf);
  if (record != nullptr && pace(*record) == state::Pace::kEvents) return true;
  return schema_.hints().changes_by_events(leaf);
}

void LeafPaces::add_leaf(const kestrel_cs_node& leaf, Content& content) const {
  if (is_mirrored(schema_.compiled(&leaf))) {
    content.mirrored = true;
  } else if (!model::is_state(&leaf) || providers_.empty()) {
    return;
  } else if (pace(leaf) == state::Pace::kEvents) {
    content.events = true;
  } else if (schema_.hints().changes_by_events(schema_.compiled(&leaf))) {
    content.hinted = true;
  } else {
    content.gauges = true;
  }
}

void LeafPaces::forget_old() const {
  std::uint64_t version = 0;
  for (const state::StateProvider* const each : providers_) version += each->pace_version();
  if (version == version_) return;
  contents_.clear();
  version_ = version;
}

LeafPaces::Content LeafPaces::below(const kestrel_cs_node& node) const {
  const auto known = contents_.find(&node);
  if (known != contents_.end()) return known->second;
  Content content;
  content.atomic = schema_.hints().is_atomic(schema_.compiled(&node));
  if (model::is_leaf(&node) || model::is_leaf_list(&node) || model::is_any_data(&node)) {
    add_leaf(node, content);
  }
  for (const kestrel_cs_node* child = node.children; child != nullptr; child = child->next) {
    content.add(below(*child));
  }
  contents_.emplace(&node, content);
  return content;
}

LeafPaces::Content LeafPaces::content(const model::Target& target) const {
  if (target.steps.empty() || target.steps.back().unlimited) {
    const bool has_providers = !providers_.empty();
    return {has_providers, has_providers, has_providers, mirror_ != nullptr,
            schema_.hints().has_atomic()};
  }
  Content content;
  const std::lock_guard<std::mutex> lock(mutex_);
  forget_old();
  for (const model::TargetNode& meant : target.steps.back().nodes) {
    content.add(below(*meant.node));
    content.atomic = content.atomic || schema_.hints().is_in_atomic(meant.schema);
  }
  return content;
}

}  // namespace nexa::telemetry
