// How do operational leaves change: by events that a provider tells of, with the configuration that
// they show, or all the time? What the providers, the mirror and the schema say, leaf by leaf.
#ifndef HOST_TELEMETRY_LEAF_PACES_H_
#define HOST_TELEMETRY_LEAF_PACES_H_

#include <cstdint>
#include <mutex>
#include <unordered_map>
#include <vector>

#include "model/state_mirror.h"
#include "model/target.h"
#include "state/state_provider.h"

namespace nexa::telemetry {

class LeafPaces {
 public:
  // All outlive the object. Without providers and mirror (null for none) there are no operational
  // data.
  LeafPaces(const model::Schema& schema, std::vector<state::StateProvider*> providers,
            const model::StateMirror* mirror = nullptr);

  struct Content {
    bool events = false;    // leaves of Pace::kEvents
    bool gauges = false;    // leaves of Pace::kGauge
    bool hinted = false;    // the same that the schema says to change by events
    bool mirrored = false;  // leaves that show the configuration; of none of the three
    bool atomic = false;    // nodes that are atomic or inside of atomic ones

    void add(const Content& other);
  };

  // What of operational data the target can mean. Any thread.
  Content content(const model::Target& target) const;

  // Whether an operational leaf changes by events only: a provider says so and tells when, or the
  // schema does, and nobody tells when. Any thread.
  bool changes_by_events(const lysc_node* leaf) const;

  // Whether an operational leaf shows the configuration, unless a provider gives it. Any thread.
  bool is_mirrored(const lysc_node* leaf) const;

 private:
  state::Pace pace(const kestrel_cs_node& leaf) const;
  void add_leaf(const kestrel_cs_node& leaf, Content& content) const;
  void forget_old() const;  // with the mutex held, as the next
  Content below(const kestrel_cs_node& node) const;

  const model::Schema& schema_;
  const std::vector<state::StateProvider*> providers_;
  const model::StateMirror* const mirror_;
  mutable std::mutex mutex_;
  mutable std::unordered_map<const kestrel_cs_node*, Content> contents_;
  mutable std::uint64_t version_ = 0;  // of the providers' words, that `contents_` holds for
};

}  // namespace nexa::telemetry

#endif  // HOST_TELEMETRY_LEAF_PACES_H_
