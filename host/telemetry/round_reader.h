// What of a subscription's data does a round report? All that is there, or what is another value
// than the one before, a page at a time; and what is there no more.
#ifndef HOST_TELEMETRY_ROUND_READER_H_
#define HOST_TELEMETRY_ROUND_READER_H_

#include <grpcpp/support/status.h>

#include "store/config_store.h"
#include "telemetry/sample_page.h"
#include "telemetry/subscription_plan.h"

namespace nexa::telemetry {

// How a round reports what it reads.
struct RoundForm {
  bool silent = false;  // nothing is sent, the values are remembered
  bool resend = false;  // also what is as it was
};

// What a round reads, at one moment.
struct RoundData {
  const store::Snapshot& snapshot;
  const store::StateTree* state = nullptr;  // null: none
};

// Reads a subscription's leaves into the page; an atomic node counts as one leaf, whose value is
// all that it has. `complete` is set when all that is there was reported; otherwise the page was
// full, and the next one goes on. A leaf is reported once in a round, also when the configuration
// changes between two pages. `subscription` is one of the plan's.
grpc::Status read_page(const SubscriptionPlan& plan, const RoundData& data, const RoundForm& form,
                       Subscription& subscription, SamplePage& page, bool& complete);

}  // namespace nexa::telemetry

#endif  // HOST_TELEMETRY_ROUND_READER_H_
