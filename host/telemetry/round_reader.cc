// What was reported is known by numbers that stand for paths and values.
#include "telemetry/round_reader.h"

#include <algorithm>
#include <cstdint>
#include <functional>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "telemetry/path_log.h"

namespace nexa::telemetry {
namespace {

std::uint64_t number_of_value(const gnmi::TypedValue& value) {
  return std::hash<std::string>()(value.SerializeAsString());
}

std::uint64_t number_of_group(const AtomicGroup& group) {
  std::string content;
  for (const AtomicGroup::Leaf& leaf : group.leaves) {
    leaf.value.AppendToString(&content);
    content += std::to_string(PathLog::number_of(leaf.path));
  }
  return std::hash<std::string>()(content);
}

class RoundReader {
 public:
  RoundReader(const SubscriptionPlan& plan, const RoundData& data, const RoundForm& form,
              Subscription& subscription, SamplePage& page)
      : plan_(plan),
        data_(data),
        form_(form),
        subscription_(subscription),
        page_(page),
        before_(subscription.reporting.sorted_numbers()),
        compares_(subscription.suppress_redundant) {
    if (compares_ && !form.resend) known_ = subscription.reported.values();
  }

  grpc::Status read() {
    const store::ValueSink leaf = [this](gnmi::Path& path, gnmi::TypedValue& value) {
      report(
          path, [&value] { return number_of_value(value); },
          [&](std::uint64_t number) {
            page_.add_leaf(subscription_, path, value, {0, number});
          });
    };
    if (!subscription_.has_atomic)
      return data_.snapshot.read(subscription_.query, data_.state, leaf);
    grpc::Status group_status;
    const GroupingSink::GroupSink group = [&](AtomicGroup& whole) {
      grpc::Status status = report_group(whole);
      if (!status.ok()) group_status = status;
    };
    GroupingSink sink(plan_.scopes.get(), leaf, group);
    grpc::Status status = data_.snapshot.read(
        subscription_.query, data_.state,
        [&sink](gnmi::Path& path, gnmi::TypedValue& value) { sink.take(path, value); });
    sink.end();
    return status.ok() ? group_status : status;
  }

  bool is_complete() const { return complete_; }

 private:
  grpc::Status report_group(AtomicGroup& group) {
    grpc::Status status;
    if (complete_ && !plan_.reads_groups(subscription_)) {
      status = plan_.scopes->read_group(data_.snapshot, data_.state, subscription_.query,
                                        plan_.group_part(), group);
    }
    report(
        group.node, [&group] { return number_of_group(group); },
        [&](std::uint64_t /*number*/) { page_.add_group(subscription_, group); });
    return status;
  }

  template <typename Content, typename Send>
  void report(const gnmi::Path& path, Content&& content, Send&& send) {
    if (!complete_) return;
    PathLog::Encoded encoded = PathLog::encode(path);
    const std::uint64_t number = encoded.number;
    if (std::binary_search(before_.begin(), before_.end(), number)) return;
    if (page_.is_full()) {
      complete_ = false;
      return;
    }
    bool is_sent = !form_.silent;
    if (compares_) {
      const std::uint64_t value = content();
      const auto last = known_.find(number);
      is_sent = is_sent && (last == known_.end() || last->second != value);
      subscription_.reporting.add(std::move(encoded), value);
    } else {
      subscription_.reporting.add(std::move(encoded));
    }
    if (is_sent) send(number);
  }

  const SubscriptionPlan& plan_;
  const RoundData& data_;
  const RoundForm& form_;
  Subscription& subscription_;
  SamplePage& page_;
  const std::vector<std::uint64_t> before_;
  const bool compares_;
  std::unordered_map<std::uint64_t, std::uint64_t> known_;
  bool complete_ = true;
};

}  // namespace

grpc::Status read_page(const SubscriptionPlan& plan, const RoundData& data, const RoundForm& form,
                       Subscription& subscription, SamplePage& page, bool& complete) {
  RoundReader reader(plan, data, form, subscription, page);
  grpc::Status status = reader.read();
  complete = reader.is_complete();
  if (!status.ok() || !complete) return status;
  subscription.reported.for_each_missing(
      subscription.reporting, [&](gnmi::Path& path) { page.add_gone(subscription, path); });
  subscription.reported = std::exchange(subscription.reporting, PathLog());
  return grpc::Status::OK;
}

}  // namespace nexa::telemetry
