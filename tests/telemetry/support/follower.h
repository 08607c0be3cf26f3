// A stream without its call, and what its client knows of the data: the view that all its messages
// leave.
#ifndef TESTS_TELEMETRY_SUPPORT_FOLLOWER_H_
#define TESTS_TELEMETRY_SUPPORT_FOLLOWER_H_

#include <gtest/gtest.h>

#include <atomic>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "server/support/store_fixture.h"
#include "telemetry/stream.h"

namespace nexa_test {

using View = std::map<std::string, std::string>;  // values by paths

// What a subscription of one path is asked for.
struct Following {
  std::string path;
  gnmi::SubscriptionList::Mode mode = gnmi::SubscriptionList::STREAM;
  std::optional<nexa::telemetry::History> history{};
};

class Follower : public nexa::telemetry::Waker, public std::enable_shared_from_this<Follower> {
 public:
  explicit Follower(Following asked) : asked_(std::move(asked)) {}

  void begin(nexa::telemetry::StreamSources sources);

  void wake() override { is_woken_ = true; }
  bool is_woken() const { return is_woken_; }
  const std::string& path() const { return asked_.path; }
  std::size_t notifications() const { return notifications_; }
  std::size_t values() const { return values_; }

  // Takes all that there is, in pages of `room` bytes.
  void take(std::size_t room, bool is_behind);

  // Forgets what it knows, and asks again.
  void poll();

  const View& view() const { return view_; }

  // The views that there were, by the time of the commit that left them.
  const std::map<std::int64_t, View>& past() const { return past_; }

  // What it should know.
  View stored(const nexa::store::Snapshot& snapshot) const;

 private:
  void replay(const gnmi::Notification& notification);

  const Following asked_;
  std::optional<nexa::telemetry::Stream> stream_;
  std::atomic<bool> is_woken_{false};  // by the store's writer
  View view_;
  std::map<std::int64_t, View> past_;
  std::size_t notifications_ = 0;
  std::size_t values_ = 0;
};

}  // namespace nexa_test

#endif  // TESTS_TELEMETRY_SUPPORT_FOLLOWER_H_
