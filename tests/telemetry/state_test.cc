// Operational data on a stream: what providers tell of by events, and what is looked at.
#include <gmock/gmock.h>

#include <atomic>
#include <functional>
#include <mutex>
#include <string>

#include "server/support/store_fixture.h"
#include "server/support/stream_client.h"

namespace nexa_test {
namespace {

using std::chrono::milliseconds;
using testing::HasSubstr;
using Lines = std::vector<std::string>;

// One event: its text changes by events, the time of it all the time.
class Events : public nexa::state::StateProvider {
 public:
  std::string_view name() const override { return "events"; }
  std::string_view module() const override { return "example-device"; }
  void append_xml(std::string& xml) override {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (text_.empty()) return;
    xml += "<device xmlns=\"urn:example:device\"><event><at>" + std::to_string(++asked_) +
           "</at><text>" + text_ + "</text></event></device>";
  }
  nexa::state::Pace pace(const kestrel_cs_node& leaf) const override {
    const bool is_text = std::string_view(kestrel_hash2str(leaf.tag)) == "text";
    return is_text ? nexa::state::Pace::kEvents : nexa::state::Pace::kGauge;
  }
  void watch(std::function<void()> changed) override {
    const std::lock_guard<std::mutex> lock(mutex_);
    changed_ = std::move(changed);
  }

  void set(const std::string& text) {
    const std::lock_guard<std::mutex> lock(mutex_);
    text_ = text;
    if (changed_) changed_();
  }
  bool is_watched() {
    const std::lock_guard<std::mutex> lock(mutex_);
    return changed_ != nullptr;
  }

 private:
  std::mutex mutex_;
  std::string text_ = "first";
  int asked_ = 0;
  std::function<void()> changed_;
};

class OperationalData : public StoredServiceTest {
 protected:
  void SetUp() override {
    options.limits.min_sample_interval = milliseconds(20);
    options.limits.target_sample_interval = milliseconds(50);
    providers = {&events};
    StoredServiceTest::SetUp();
  }

  static gnmi::SubscribeRequest list_of(const std::string& path, gnmi::SubscriptionMode mode) {
    gnmi::SubscribeRequest asked = watch({path}, 0);
    asked.mutable_subscribe()->mutable_subscription(0)->set_mode(mode);
    return asked;
  }

  Events events;
};

TEST_F(OperationalData, Row35OnChangeHearsOfEvents) {
  StreamClient client(stub(), list_of("/device/event/text", gnmi::ON_CHANGE));
  EXPECT_EQ(client.read_to_sync(), (Lines{"|/device/event/text=\"first\"", "sync"}));
  events.set("second");
  EXPECT_EQ(client.next(), "|/device/event/text=\"second\"");
  events.set("second");  // told, but nothing changed
  events.set("third");
  EXPECT_EQ(client.next(), "|/device/event/text=\"third\"");
  events.set("");
  EXPECT_EQ(client.next(), "|-/device/event/text");
}

TEST_F(OperationalData, Row35ABurstOfEventsEndsWithTheLastValue) {
  StreamClient client(stub(), list_of("/device/event/text", gnmi::ON_CHANGE));
  ASSERT_EQ(client.read_to_sync().back(), "sync");
  for (int event = 1; event <= 1000; ++event) events.set(std::to_string(event));
  int messages = 0;
  std::string line;
  do {
    line = client.next();
    ++messages;
  } while (line != "|/device/event/text=\"1000\"" && line != "end");
  EXPECT_NE(line, "end");
  EXPECT_LT(messages, 100);
}

TEST_F(OperationalData, Row35TheTargetChoosesLeafByLeaf) {
  StreamClient client(stub(), list_of("/device", gnmi::TARGET_DEFINED));
  const Lines first = client.read_to_sync();
  EXPECT_THAT(first.front(), HasSubstr("/device/event/text=\"first\""));
  EXPECT_THAT(first.front(), HasSubstr("/device/event/at="));
  EXPECT_THAT(first.front(), HasSubstr("/device/location=\"unknown\""));
  for (int beat = 0; beat < 3; ++beat) {
    const std::string line = client.next();  // the gauge alone
    EXPECT_THAT(line, HasSubstr("|/device/event/at="));
    EXPECT_THAT(line, testing::Not(HasSubstr("text")));
  }
  events.set("told");
  ASSERT_EQ(update("/device/name", "\"box\""), "0 ");
  bool has_text = false;
  bool has_name = false;
  for (int line = 0; line < 20 && !(has_text && has_name); ++line) {
    const std::string came = client.next();
    has_text = has_text || came == "|/device/event/text=\"told\"";
    has_name = has_name || came == "|/device/name=\"box\"";
  }
  EXPECT_TRUE(has_text);
  EXPECT_TRUE(has_name);
}

TEST_F(OperationalData, Row35OnChangeOfAGaugeSendsItsChanges) {
  StreamClient client(stub(), list_of("/device/event/at", gnmi::ON_CHANGE));
  ASSERT_EQ(client.read_to_sync().back(), "sync");
  const std::string first = client.next();
  EXPECT_THAT(first, HasSubstr("|/device/event/at="));
  EXPECT_NE(client.next(), first);
}

TEST_F(OperationalData, Row36WhatLivesOnAsStateIsNotDeletedWithTheConfiguration) {
  ASSERT_EQ(update("/device", R"({"name":"box","limits":{"tiny":1}})"), "0 ");
  StreamClient client(stub(), list_of("/device", gnmi::TARGET_DEFINED));
  ASSERT_EQ(client.read_to_sync().back(), "sync");
  ASSERT_EQ(remove("/device"), "0 ");
  std::string line = client.next();
  while (line.find("|-") == std::string::npos && line != "end") line = client.next();
  EXPECT_THAT(line, HasSubstr("|-/device/name"));
  EXPECT_THAT(line, testing::Not(testing::EndsWith("|-/device")));
}

TEST_F(OperationalData, NobodyIsWatchedWhenTheServiceIsGone) {
  EXPECT_TRUE(events.is_watched());
  stop();
  EXPECT_FALSE(events.is_watched());
}

}  // namespace
}  // namespace nexa_test
