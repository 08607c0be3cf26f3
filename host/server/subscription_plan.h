// What does a stream watch, and how often? The first message of a stream, judged against the schema
// and the server's limits (gNMI specification, section 3.5.1).
#ifndef HOST_SERVER_SUBSCRIPTION_PLAN_H_
#define HOST_SERVER_SUBSCRIPTION_PLAN_H_

#include <grpcpp/support/status.h>

#include <chrono>
#include <cstddef>
#include <vector>

#include "gnmi.pb.h"
#include "model/resolver.h"
#include "profile/profile.h"
#include "server/answer_paths.h"
#include "server/path_log.h"
#include "server/sampler.h"
#include "store/config_store.h"

namespace nexa::server {

// One subscription of a stream, and how far it has come.
struct Subscription {
  store::Query query;
  gnmi::Path requested;  // origin only: where answers write it
  std::chrono::nanoseconds interval{0};
  MonotonicTime due;
  bool sampled = false;  // a round was complete
  PathLog reported;      // by the last complete round
  PathLog reporting;     // by the round in progress
};

struct SubscriptionPlan {
  SubscriptionPlan() : prefix(gnmi::Path(), false) {}

  AnswerPrefix prefix;
  gnmi::Encoding encoding = gnmi::JSON;
  std::size_t most_updates = 200;  // in one message
  std::vector<Subscription> subscriptions;
};

struct PlanLimits {
  profile::Profile profile = profile::Profile::kFull;
  std::size_t max_paths = 1000;
  std::size_t most_updates = 200;  // in one message, at least 1
  std::chrono::nanoseconds min_interval{0};
};

// NOT_FOUND for a node that the schema does not have: a valid path without data is watched. The
// texts of the library's checks come as they are. Any thread.
grpc::Status plan_subscriptions(const model::Resolver& resolver, const PlanLimits& limits,
                                const gnmi::SubscribeRequest& request, SubscriptionPlan& plan);

}  // namespace nexa::server

#endif  // HOST_SERVER_SUBSCRIPTION_PLAN_H_
