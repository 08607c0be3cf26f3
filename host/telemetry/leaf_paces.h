// How do operational leaves change: by events that a provider tells of, or all the time? What the
// providers say, leaf by leaf.
#ifndef HOST_TELEMETRY_LEAF_PACES_H_
#define HOST_TELEMETRY_LEAF_PACES_H_

#include <mutex>
#include <unordered_map>
#include <vector>

#include "model/target.h"
#include "state/state_provider.h"

namespace nexa::telemetry {

class LeafPaces {
 public:
  // Both outlive the object. Without providers there are no operational data.
  LeafPaces(const model::Schema& schema, std::vector<state::StateProvider*> providers);

  struct Content {
    bool events = false;  // leaves of Pace::kEvents
    bool gauges = false;  // leaves of Pace::kGauge
  };

  // What of operational data the target can mean. Any thread.
  Content content(const model::Target& target) const;

  // Of an operational leaf: kEvents if a provider says so. Any thread.
  state::Pace pace(const lysc_node* leaf) const;

 private:
  state::Pace pace(const kestrel_cs_node& leaf) const;
  Content below(const kestrel_cs_node& node) const;  // with the mutex held

  const model::Schema& schema_;
  const std::vector<state::StateProvider*> providers_;
  mutable std::mutex mutex_;
  mutable std::unordered_map<const kestrel_cs_node*, Content> contents_;
};

}  // namespace nexa::telemetry

#endif  // HOST_TELEMETRY_LEAF_PACES_H_
