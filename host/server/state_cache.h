// The device's operational data as one parsed tree, shared by all that read within a few
// milliseconds: a thousand streams with the same interval ask the providers once.
#ifndef HOST_SERVER_STATE_CACHE_H_
#define HOST_SERVER_STATE_CACHE_H_

#include <grpcpp/support/status.h>

#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "state/state_provider.h"
#include "store/config_store.h"

namespace nexa::server {

class StateCache {
 public:
  using FaultSink = std::function<void(const std::string&)>;

  // Asks those of `providers` whose module is in the loaded schema; where several fill a leaf, the
  // last one counts. A tree older than `lifetime` is not handed out.
  StateCache(const store::ConfigStore& store,
             const std::vector<nexa::state::StateProvider*>& providers,
             std::chrono::nanoseconds lifetime, FaultSink on_fault);

  // Sets `state`, null when there is no provider. INTERNAL when the providers' data do not fit the
  // schema; `on_fault` has been told what is wrong. Any thread.
  grpc::Status read(std::shared_ptr<const store::StateTree>& state);

  // The next read() asks the providers. Any thread.
  void expire();

  // Those that are asked.
  const std::vector<nexa::state::StateProvider*>& providers() const { return providers_; }

 private:
  grpc::Status refresh();
  grpc::Status ask(nexa::state::StateProvider& provider,
                   std::vector<std::shared_ptr<const store::StateTree>>& trees);
  // A fault that lasts is told once.
  grpc::Status refuse(const std::string& fault);

  const store::ConfigStore& store_;
  std::vector<nexa::state::StateProvider*> providers_;
  const std::chrono::nanoseconds lifetime_;
  const FaultSink on_fault_;
  std::mutex mutex_;
  std::chrono::steady_clock::time_point taken_;
  std::shared_ptr<const store::StateTree> tree_;
  std::string last_fault_;
};

}  // namespace nexa::server

#endif  // HOST_SERVER_STATE_CACHE_H_
