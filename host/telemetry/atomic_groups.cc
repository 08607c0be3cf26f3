// Paths of one schema node have the same names, so the schema is asked once for each of them.
#include "telemetry/atomic_groups.h"

#include <algorithm>
#include <utility>

#include "telemetry/answer_paths.h"
#include "telemetry/path_log.h"

namespace nexa::telemetry {
namespace {

std::string names_of(const gnmi::Path& path) {
  std::string names = path.origin();
  for (const gnmi::PathElem& element : path.elem()) names.append("/").append(element.name());
  return names;
}

gnmi::Path first_elements(const gnmi::Path& path, int count) {
  gnmi::Path first;
  first.set_origin(path.origin());
  for (int i = 0; i < count; ++i) *first.add_elem() = path.elem(i);
  return first;
}

bool has_deep_wildcard(const model::Target& target, int elements) {
  return std::any_of(target.steps.begin(), target.steps.end(), [&](const model::TargetStep& step) {
    return step.element < elements && step.kind == model::TargetStep::Kind::kDeep;
  });
}

}  // namespace

AtomicScopes::Scope AtomicScopes::of(const gnmi::Path& path) {
  const auto [place, is_new] = known_.try_emplace(names_of(path));
  Scope& scope = place->second;
  if (!is_new) return scope;
  const auto resolved = resolver_.resolve(gnmi::Path(), path, model::Purpose::kRead);
  if (!resolved.ok()) return scope;
  const model::TelemetryHints& hints = resolver_.schema().hints();
  for (const model::TargetStep& step : resolved.value().steps) {
    if (step.nodes.empty()) break;
    const lysc_node* const node = step.nodes.front().schema;
    if (scope.elements == 0 && hints.is_atomic(node)) scope.elements = step.element + 1;
    if (scope.elements != 0 && hints.is_exempt(node)) scope.is_exempt = true;
  }
  return scope;
}

// A query for the node alone costs what is below it. Where the path says no more than the node
// does, the node is the query; otherwise the rest of the path goes on below it.
store::Query AtomicScopes::narrowed(const store::Query& query, const gnmi::Path& node) const {
  store::Query narrow = query;
  const int asked = query.target.path.elem_size();
  if (has_deep_wildcard(query.target, node.elem_size())) return narrow;
  gnmi::Path path = node;
  for (int i = node.elem_size(); i < asked; ++i) *path.add_elem() = query.target.path.elem(i);
  auto resolved = resolver_.resolve(gnmi::Path(), path, model::Purpose::kRead);
  if (!resolved.ok()) return narrow;
  narrow.target = std::move(resolved.value());
  if (query.depth != 0 && asked < node.elem_size()) {
    narrow.depth = query.depth - static_cast<std::uint32_t>(node.elem_size() - asked);
  }
  return narrow;
}

grpc::Status AtomicScopes::read_group(const store::Snapshot& snapshot,
                                      const store::StateTree* state, const store::Query& query,
                                      store::DataPart part, AtomicGroup& group) const {
  store::Query whole = narrowed(query, group.node);
  whole.part = part;
  whole.wanted = nullptr;
  group.leaves.clear();
  const AnswerPrefix scope(group.node, true);
  return snapshot.read(whole, state, [&](gnmi::Path& path, gnmi::TypedValue& value) {
    if (scope.covers(path)) group.leaves.push_back({std::move(path), std::move(value)});
  });
}

void GroupingSink::take(gnmi::Path& path, gnmi::TypedValue& value) {
  const AtomicScopes::Scope scope = scopes_ == nullptr ? AtomicScopes::Scope() : scopes_->of(path);
  if (scope.elements == 0) {
    end();
    leaf_(path, value);
    return;
  }
  const bool goes_on =
      open_.node.elem_size() == scope.elements && AnswerPrefix(open_.node, true).covers(path);
  if (!goes_on) {
    end();
    open_.node = first_elements(path, scope.elements);
  }
  open_.leaves.push_back({std::move(path), std::move(value)});
}

void GroupingSink::end() {
  if (open_.leaves.empty()) return;
  AtomicGroup group = std::exchange(open_, AtomicGroup());
  group_(group);
}

bool TouchedNodes::take(const gnmi::Path& path) {
  const AtomicScopes::Scope scope = scopes_.of(path);
  if (scope.elements == 0 || scope.is_exempt || scope.elements == path.elem_size()) return false;
  gnmi::Path node = first_elements(path, scope.elements);
  if (numbers_.insert(PathLog::number_of(node)).second) nodes_.push_back(std::move(node));
  return true;
}

}  // namespace nexa::telemetry
