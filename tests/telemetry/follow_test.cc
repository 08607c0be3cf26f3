// Streams that follow commits, against what the store says: whoever replays the messages has the
// store's content after every commit. NEXA_TELEMETRY_COMMITS asks for a longer run than the
// default.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <map>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "server/support/store_fixture.h"
#include "telemetry/stream.h"
#include "translate/path_string.h"

namespace nexa_test {
namespace {

using nexa::telemetry::Stream;
using View = std::map<std::string, std::string>;

int commits_asked_for() {
  const char* const text = std::getenv("NEXA_TELEMETRY_COMMITS");
  return text == nullptr ? 1000 : std::atoi(text);
}

bool lies_below(const std::string& path, const std::string& branch) {
  if (branch == "/") return true;
  return path.compare(0, branch.size(), branch) == 0 &&
         (path.size() == branch.size() || path[branch.size()] == '/');
}

// One stream and what its client knows.
class Follower : public nexa::telemetry::Waker, public std::enable_shared_from_this<Follower> {
 public:
  explicit Follower(std::string path) : path_(std::move(path)) {}

  void begin(nexa::telemetry::StreamSources sources) {
    gnmi::SubscriptionList list;
    list.set_encoding(gnmi::JSON_IETF);
    *list.add_subscription()->mutable_path() = path_of(path_);
    list.mutable_subscription(0)->set_mode(gnmi::ON_CHANGE);
    const nexa::model::Resolver& resolver = *example_schema().resolver;
    nexa::telemetry::SubscriptionPlan plan;
    const nexa::telemetry::LeafPaces paces(resolver.schema(), {});
    int at_fault = -1;
    const grpc::Status status = plan_subscriptions(resolver, paces, {}, list, plan, at_fault);
    ASSERT_TRUE(status.ok()) << path_ << status.error_message();
    stream_.emplace(std::move(sources), weak_from_this());
    stream_->begin(std::move(plan), std::chrono::steady_clock::now());
    is_woken_ = true;
  }

  void wake() override { is_woken_ = true; }
  bool is_woken() const { return is_woken_; }
  const std::string& path() const { return path_; }
  std::size_t notifications() const { return notifications_; }
  std::size_t values() const { return values_; }

  // Takes all that there is, in pages of `room` bytes.
  void take(std::size_t room, bool is_behind) {
    is_woken_ = false;
    for (bool goes_on = true; goes_on;) {
      Stream::Round round = stream_->round(room, is_behind);
      ASSERT_TRUE(round.status.ok()) << round.status.error_message();
      for (const auto& message : round.messages) {
        if (message.response.has_update()) replay(message.response.update());
      }
      goes_on = round.has_more;
    }
  }

  const View& view() const { return view_; }

  View stored(const nexa::store::Snapshot& snapshot) const {
    View view;
    EXPECT_TRUE(snapshot
                    .read(stream_->plan().subscriptions.front().query, nullptr,
                          [&view](gnmi::Path& path, gnmi::TypedValue& value) {
                            view[nexa::translate::format_path_string(path)] = value.json_ietf_val();
                          })
                    .ok());
    return view;
  }

 private:
  void replay(const gnmi::Notification& notification) {
    ++notifications_;
    for (const gnmi::Path& gone : notification.delete_()) {
      const std::string branch = nexa::translate::format_path_string(gone);
      std::erase_if(view_, [&](const auto& leaf) { return lies_below(leaf.first, branch); });
    }
    for (const gnmi::Update& update : notification.update()) {
      view_[nexa::translate::format_path_string(update.path())] = update.val().json_ietf_val();
      values_ += 1 + update.duplicates();
    }
  }

  const std::string path_;
  std::optional<Stream> stream_;
  bool is_woken_ = false;
  View view_;
  std::size_t notifications_ = 0;
  std::size_t values_ = 0;
};

class Following : public StoredServiceTest {
 protected:
  int pick(int below) { return std::uniform_int_distribution<int>(0, below - 1)(random_); }
  std::string port() { return "p" + std::to_string(pick(6)); }
  std::string number(int below) { return std::to_string(pick(below)); }

  std::string random_path() {
    const std::vector<std::string> paths = {
        "/",
        "/device",
        "/*",
        "/device/*",
        "/device/*/*",
        "/device/port",
        "/device/port[name=" + port() + "]",
        "/device/port[name=*]/speed",
        "/.../speed",
        "/device/port[name=" + port() + "]/route",
        "/device/port/route[metric=" + number(3) + "]",
        "/device/port[name=" + port() + "]/route[prefix=*][metric=" + number(3) + "]/next-hop",
        "/device/port[name=*]/route[prefix=q" + number(3) + "][metric=" + number(3) + "]",
        "/device/.../next-hop",
        "/.../port/.../prefix",
        "/device/search",
        "/device/port/tag",
        "/device/port[name=" + port() + "]/tag",
        "/device/limits",
        "/device/*/medium",
        "/device/debug",
        "/services",
        "/device/location",
        "/device/name",
        "/device/ssh/port",
        "/device/port[name=" + port() + "]/name",
        "/example-device:device/limits/*"};
    return paths[static_cast<std::size_t>(pick(static_cast<int>(paths.size())))];
  }

  std::string port_value() {
    std::string value = R"({"speed":")" + number(4) + R"(","tag":["t)" + number(3) + R"("])";
    if (pick(2) == 0) {
      value += R"(,"route":[{"prefix":"q)" + number(3) + R"(","metric":)" + number(3) +
               R"(,"next-hop":"h)" + number(9) + R"("}])";
    }
    return value + "}";
  }

  // One Set, which may change nothing.
  std::string change() {
    const std::string at = "/device/port[name=" + port() + "]";
    switch (pick(16)) {
      case 0:
      case 1:
      case 2:
        return update(at, port_value());
      case 3:
      case 4:
        return update(at + "/speed", "\"" + number(4) + "\"");
      case 5:
        return replace(at, port_value());
      case 6:
        return remove(at);
      case 7:
        return remove("/device/port/route[metric=" + number(3) + "]");
      case 8:
        return pick(2) == 0 ? remove("/device/location")
                            : update("/device/location", "\"" + number(3) + "\"");
      case 9:
        return replace("/device/search", pick(2) == 0 ? R"(["a","b"])" : R"(["b","a","c"])");
      case 10:
        return pick(3) == 0 ? remove("/device/search") : remove(at + "/tag");
      case 11:
        return update("/device/limits",
                      R"({"tiny":)" + number(5) + R"(,"medium":)" + number(5) + "}");
      case 12:
        return pick(2) == 0 ? remove("/device/limits") : update("/device/debug", R"({"level":1})");
      case 13:
        return pick(2) == 0 ? remove("/device/debug") : update("/device/ssh", R"({"port":22})");
      case 14:
        return pick(2) == 0 ? update("/device/console", "true") : update("/services/ntp", "true");
      default:
        return pick(8) == 0 ? remove("/device")
                            : replace(
                                  "/device/port", "[" + [this] {
                                    std::string entry = port_value();
                                    entry.insert(1, R"("name":")" + port() + R"(",)");
                                    return entry + "]";
                                  }());
    }
  }

  std::mt19937 random_{7};
};

TEST_F(Following, Row36EachStreamHasTheStoresContentAfterEachCommit) {
  nexa::telemetry::ChangeFeed feed(*real_store);
  const nexa::telemetry::StreamSources sources{
      *real_store, feed, [](std::shared_ptr<const nexa::store::StateTree>& state) {
        state.reset();
        return true;
      }};
  std::vector<std::shared_ptr<Follower>> followers;
  for (int i = 0; i < 100; ++i) {
    followers.push_back(std::make_shared<Follower>(random_path()));
    if (i >= 50) continue;  // the others come later
    followers.back()->begin(sources);
  }
  const int commits = commits_asked_for();
  std::size_t merged = 0;
  for (int commit = 0; commit < commits; ++commit) {
    ASSERT_EQ(change(), "0 ") << commit;
    const auto snapshot = real_store->snapshot();
    for (std::size_t i = 0; i < followers.size(); ++i) {
      Follower& follower = *followers[i];
      const auto begins =
          static_cast<int>(i >= 50 ? (i - 49) * static_cast<std::size_t>(commits) / 60 : 0);
      if (commit < begins) continue;
      if (i >= 50 && commit == begins) follower.begin(sources);
      // Every third reads seldom, and is behind then.
      const bool is_slow = i % 3 == 0;
      if (is_slow && commit % 7 != 0 && commit + 1 != commits) continue;
      merged += is_slow ? 1 : 0;
      const std::size_t before = follower.notifications();
      const std::size_t room = pick(4) == 0 ? 64 : 1U << 20U;
      if (follower.is_woken()) follower.take(room, is_slow);
      ASSERT_EQ(follower.view(), follower.stored(*snapshot)) << follower.path() << " at " << commit;
      if (!is_slow && room > 64 && commit > begins) {
        ASSERT_LE(follower.notifications() - before, 1U) << follower.path();
      }
    }
  }
  EXPECT_GT(merged, 0U);
}

}  // namespace
}  // namespace nexa_test
