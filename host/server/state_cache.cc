// Those who come while the tree is made wait for it: they would make the same one.
#include "server/state_cache.h"

#include <exception>
#include <string_view>
#include <utility>

#include "kestrel/kestrel.h"
#include "telemetry/messages.h"

namespace nexa::server {
namespace {

bool module_is_loaded(std::string_view module) {
  KestrelNsEntry* entries = nullptr;
  const int count = kestrel_get_nslist(&entries);
  for (int index = 0; index < count; ++index) {
    if (module == entries[index].module) return true;
  }
  return false;
}

}  // namespace

StateCache::StateCache(const store::ConfigStore& store,
                       const std::vector<state::StateProvider*>& providers,
                       std::chrono::nanoseconds lifetime, FaultSink on_fault)
    : store_(store), lifetime_(lifetime), on_fault_(std::move(on_fault)) {
  for (state::StateProvider* provider : providers) {
    const std::string_view module = provider->module();
    if (module.empty() || module_is_loaded(module)) providers_.push_back(provider);
  }
}

grpc::Status StateCache::read(std::shared_ptr<const store::StateTree>& state) {
  state.reset();
  if (providers_.empty()) return grpc::Status::OK;
  const std::lock_guard<std::mutex> lock(mutex_);
  if (tree_ == nullptr || std::chrono::steady_clock::now() - taken_ > lifetime_) {
    tree_.reset();
    grpc::Status status = refresh();
    if (!status.ok()) return status;
  }
  state = tree_;
  return grpc::Status::OK;
}

void StateCache::expire() {
  const std::lock_guard<std::mutex> lock(mutex_);
  tree_.reset();
}

grpc::Status StateCache::refresh() {
  const auto now = std::chrono::steady_clock::now();
  std::vector<std::shared_ptr<const store::StateTree>> trees;
  for (state::StateProvider* provider : providers_) {
    grpc::Status status = ask(*provider, trees);
    if (!status.ok()) return status;
  }
  tree_ = trees.size() == 1 ? trees.front() : store_.join_states(trees);
  taken_ = now;
  last_fault_.clear();
  return grpc::Status::OK;
}

grpc::Status StateCache::ask(state::StateProvider& provider,
                             std::vector<std::shared_ptr<const store::StateTree>>& trees) {
  std::string xml = "<state>";
  try {
    if (auto tree = provider.tree()) {
      trees.push_back(std::move(tree));
      return grpc::Status::OK;
    }
    provider.append_xml(xml);
  } catch (const std::exception& fault) {
    return refuse("state provider " + std::string(provider.name()) + ": " + fault.what());
  }
  xml.append("</state>");
  auto tree = store_.parse_state(xml);
  if (!tree.ok()) return refuse("operational data: " + tree.failure().line());
  trees.push_back(std::move(tree).value());
  return grpc::Status::OK;
}

grpc::Status StateCache::refuse(const std::string& fault) {
  if (fault != last_fault_) on_fault_(fault);
  last_fault_ = fault;
  return {grpc::StatusCode::INTERNAL, telemetry::kStateNotAvailable};
}

}  // namespace nexa::server
