// What does a stream watch, and how? The list of a stream against the schema and the server's
// limits (gNMI specification, section 3.5.1). What the options mean together is settled here; which
// of them a request may use was judged before.
#ifndef HOST_TELEMETRY_SUBSCRIPTION_PLAN_H_
#define HOST_TELEMETRY_SUBSCRIPTION_PLAN_H_

#include <grpcpp/support/status.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "gnmi.pb.h"
#include "model/resolver.h"
#include "store/config_store.h"
#include "telemetry/answer_paths.h"
#include "telemetry/atomic_groups.h"
#include "telemetry/leaf_paces.h"
#include "telemetry/path_log.h"
#include "telemetry/sampler.h"

namespace nexa::telemetry {

// One way of watching one path, and how far it has come. A client's subscription is one to four of
// these: the target chooses leaf by leaf in mode TARGET_DEFINED, and ON_CHANGE hears of
// configuration from commits and of operational data from the providers. Operational leaves that
// show the configuration are compared after commits, at the beat of kMirrorBeat.
struct Subscription {
  enum class Source : std::uint8_t {
    kData,     // reads what is there: at each beat, each poll, or once
    kCommits,  // configuration: each commit's difference
    kEvents,   // operational data: compared when they may have changed
  };
  Source source = Source::kData;
  store::Query query;
  gnmi::Path requested;                   // origin only: where answers write it
  std::chrono::nanoseconds interval{0};   // 0: no beat
  std::chrono::nanoseconds heartbeat{0};  // 0: none
  bool suppress_redundant = false;
  bool has_atomic = false;  // some of what it names is told in groups
  // kData: a beat looks at the data only when a commit or an event came since the last one.
  bool only_when_changed = false;
  bool must_read = false;         // an event came since
  std::uint64_t read_number = 0;  // of the configuration that was read last, plus 1

  MonotonicTime due = MonotonicTime::max();
  MonotonicTime heartbeat_due = MonotonicTime::max();
  MonotonicTime owed = MonotonicTime::max();     // kEvents: a look that was not possible in time
  PathLog reported;                              // kData: by the last complete round
  PathLog reporting;                             // by the round in progress
  std::shared_ptr<const store::StateTree> seen;  // kEvents: what the client knows
};

// A look at the past: the configuration as it was before `start_ns`, and the commits from then to
// before `end_ns`. Since the Unix epoch.
struct History {
  std::int64_t start_ns = 0;
  std::int64_t end_ns = 0;
};

struct SubscriptionPlan {
  SubscriptionPlan() : prefix(gnmi::Path(), false) {}

  AnswerPrefix prefix;
  gnmi::SubscriptionList::Mode mode = gnmi::SubscriptionList::STREAM;
  gnmi::Encoding encoding = gnmi::JSON;
  bool updates_only = false;
  // Configuration alone is watched, and the end of each commit is told.
  bool config_only = false;
  std::uint32_t depth = 0;  // store::Query::depth
  std::optional<History> history;
  std::size_t most_updates = 200;  // in one message of a round
  std::vector<Subscription> subscriptions;
  std::shared_ptr<AtomicScopes> scopes;  // null when no subscription has atomic nodes

  // The part of the data that an atomic node is told with.
  store::DataPart group_part() const {
    return config_only || history ? store::DataPart::kConfig : store::DataPart::kAll;
  }
  // Whether the leaves that the subscription reads are all those of an atomic node that it names.
  bool reads_groups(const Subscription& subscription) const {
    return subscription.query.part == group_part() && !subscription.query.wanted;
  }
};

struct PlanLimits {
  std::size_t most_updates = 200;  // in one message, at least 1
  std::chrono::nanoseconds min_interval{1000000};
  std::chrono::nanoseconds target_interval{10000000000};  // where the target chooses
  std::shared_ptr<const model::ModelSet> models;          // null: all of them
};

// NOT_FOUND for a node that the schema does not have: a valid path without data is watched.
// `history`, `config_only` and `depth` of the plan are the caller's to set before; with a history
// only configuration is watched. `at_fault` is the index of the subscription that was refused, -1
// for none of them. `paces` and `resolver` outlive the plan. Any thread.
grpc::Status plan_subscriptions(const model::Resolver& resolver, const LeafPaces& paces,
                                const PlanLimits& limits, const gnmi::SubscriptionList& list,
                                SubscriptionPlan& plan, int& at_fault);

}  // namespace nexa::telemetry

#endif  // HOST_TELEMETRY_SUBSCRIPTION_PLAN_H_
