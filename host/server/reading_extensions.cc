// One of a kind: two could contradict each other.
#include "server/reading_extensions.h"

#include <chrono>
#include <optional>

namespace nexa::server {
namespace {

using Extensions = google::protobuf::RepeatedPtrField<gnmi_ext::Extension>;

constexpr char kTwoDepths[] = "Extension depth is given twice";
constexpr char kTwoConfigSubscriptions[] = "Extension config_subscription is given twice";
constexpr char kNoStart[] = "Extension config_subscription without the action start";
constexpr char kTwoHistories[] = "Extension history is given twice";
constexpr char kNoHistoryRequest[] = "Extension history without a snapshot_time or a range";
constexpr char kSnapshotIsOnce[] = "Extension history: a snapshot_time needs mode ONCE";
constexpr char kRangeIsStream[] = "Extension history: a range needs mode STREAM";
constexpr char kRangeBackwards[] = "Extension history: the range ends before it starts";
constexpr char kFuture[] = "Extension history: times in the future are not waited for";

grpc::Status invalid_argument(const char* text) {
  return {grpc::StatusCode::INVALID_ARGUMENT, text};
}

// The time of the snapshot is in it, that of a range's end is not.
grpc::Status read_history(const gnmi_ext::History& asked, gnmi::SubscriptionList::Mode mode,
                          telemetry::History& history) {
  const auto now = std::chrono::nanoseconds(std::chrono::system_clock::now().time_since_epoch());
  if (asked.has_snapshot_time()) {
    if (mode != gnmi::SubscriptionList::ONCE) return invalid_argument(kSnapshotIsOnce);
    if (asked.snapshot_time() > now.count()) return {grpc::StatusCode::UNIMPLEMENTED, kFuture};
    history = {asked.snapshot_time() + 1, asked.snapshot_time() + 1};
    return grpc::Status::OK;
  }
  if (!asked.has_range()) return invalid_argument(kNoHistoryRequest);
  if (mode != gnmi::SubscriptionList::STREAM) return invalid_argument(kRangeIsStream);
  if (asked.range().start() > asked.range().end()) return invalid_argument(kRangeBackwards);
  if (asked.range().end() > now.count()) return {grpc::StatusCode::UNIMPLEMENTED, kFuture};
  history = {asked.range().start(), asked.range().end()};
  return grpc::Status::OK;
}

grpc::Status read_history(const gnmi::SubscribeRequest& request,
                          std::optional<telemetry::History>& history) {
  history.reset();
  for (const gnmi_ext::Extension& extension : request.extension()) {
    if (!extension.has_history()) continue;
    if (history) return invalid_argument(kTwoHistories);
    grpc::Status status =
        read_history(extension.history(), request.subscribe().mode(), history.emplace());
    if (!status.ok()) return status;
  }
  return grpc::Status::OK;
}

grpc::Status read_config_subscription(const Extensions& extensions, bool& config_only) {
  config_only = false;
  for (const gnmi_ext::Extension& extension : extensions) {
    if (!extension.has_config_subscription()) continue;
    if (config_only) return invalid_argument(kTwoConfigSubscriptions);
    if (!extension.config_subscription().has_start()) return invalid_argument(kNoStart);
    config_only = true;
  }
  return grpc::Status::OK;
}

}  // namespace

grpc::Status read_depth(const Extensions& extensions, std::uint32_t& levels) {
  bool is_given = false;
  levels = 0;
  for (const gnmi_ext::Extension& extension : extensions) {
    if (!extension.has_depth()) continue;
    if (is_given) return invalid_argument(kTwoDepths);
    is_given = true;
    levels = extension.depth().level();
  }
  return grpc::Status::OK;
}

grpc::Status read_extensions(const gnmi::SubscribeRequest& request,
                             telemetry::SubscriptionPlan& plan) {
  grpc::Status status = read_depth(request.extension(), plan.depth);
  if (status.ok()) status = read_config_subscription(request.extension(), plan.config_only);
  if (status.ok()) status = read_history(request, plan.history);
  return status;
}

}  // namespace nexa::server
