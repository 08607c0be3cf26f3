// From the providers' events to the streams: a burst of events is one look at the data.
#ifndef HOST_SERVER_STATE_EVENTS_H_
#define HOST_SERVER_STATE_EVENTS_H_

#include <atomic>
#include <memory>

#include "server/state_cache.h"
#include "telemetry/change_feed.h"
#include "telemetry/sampler.h"

namespace nexa::server {

class StateEvents final : public telemetry::Sampler::Sampled,
                          public std::enable_shared_from_this<StateEvents> {
 public:
  // All outlive the time between start() and stop().
  StateEvents(StateCache& state, telemetry::ChangeFeed& feed, telemetry::Sampler& sampler)
      : state_(state), feed_(feed), sampler_(sampler) {}

  // Has the providers tell of changes. Once.
  void start();
  // No provider tells anything afterwards.
  void stop();

  void due() override;

 private:
  void changed();

  StateCache& state_;
  telemetry::ChangeFeed& feed_;
  telemetry::Sampler& sampler_;
  std::atomic<bool> is_scheduled_{false};
};

}  // namespace nexa::server

#endif  // HOST_SERVER_STATE_EVENTS_H_
