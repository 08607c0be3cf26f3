// Which streams does the device profile refuse, and with which text? Each text is what clients of
// the server match on.
#include "server/support/service_fixture.h"
#include "server/support/stream_client.h"

namespace nexa_test {
namespace {

class SubscribeRefusal : public ServiceTest {
 protected:
  void SetUp() override {
    store.put("/device/name", "\"box\"");
    options.profile = nexa::profile::Profile::kDevice;
  }

  std::string verdict(const gnmi::SubscribeRequest& first) {
    if (service == nullptr) start();
    return StreamClient(stub(), first).end();
  }

  gnmi::SubscribeRequest request = watch({"/device/name"}, 1000);
  gnmi::SubscriptionList& list = *request.mutable_subscribe();
};

TEST_F(SubscribeRefusal, AFirstMessageWithoutAList) {
  gnmi::SubscribeRequest other;
  EXPECT_EQ(verdict(other),
            "3 Unsupported method[ Aliases ] provided on initial subscribe request");
  other.mutable_poll();
  EXPECT_EQ(verdict(other), "3 Unsupported method[ Poll ] provided on initial subscribe request");
  other.mutable_aliases();
  EXPECT_EQ(verdict(other),
            "3 Unsupported method[ Aliases ] provided on initial subscribe request");
}

TEST_F(SubscribeRefusal, OptionsOfTheList) {
  list.set_mode(gnmi::SubscriptionList::ONCE);
  EXPECT_EQ(verdict(request), "3 Unsupported subscription list mode selection [ ONCE ]");
  list.set_mode(gnmi::SubscriptionList::POLL);
  EXPECT_EQ(verdict(request), "3 Unsupported subscription list mode selection [ POLL ]");
  list.set_mode(gnmi::SubscriptionList::STREAM);
  list.set_use_aliases(true);
  EXPECT_EQ(verdict(request), "3 Unsupported subscription list use_aliases selection [ true ]");
  list.set_use_aliases(false);
  list.mutable_qos()->set_marking(1);
  EXPECT_EQ(verdict(request), "3 Unsupported subscription list qos selection");
  list.clear_qos();
  list.set_updates_only(true);
  EXPECT_EQ(verdict(request), "3 Unsupported subscription list updates_only selection [ true ]");
  list.set_updates_only(false);
  list.set_encoding(gnmi::PROTO);
  EXPECT_EQ(verdict(request), "12 Requested encoding \"PROTO\" not supported");
  list.clear_subscription();
  EXPECT_EQ(verdict(request), "3 Empty subscription list");
}

TEST_F(SubscribeRefusal, OptionsOfASubscription) {
  *list.add_subscription() = list.subscription(0);
  list.mutable_subscription(1)->set_mode(gnmi::ON_CHANGE);
  EXPECT_EQ(verdict(request),
            "3 Unsupported subscription mode selection [ ON_CHANGE on sub index [ 1 ]]");
  list.mutable_subscription(1)->set_mode(gnmi::TARGET_DEFINED);
  EXPECT_EQ(verdict(request),
            "3 Unsupported subscription mode selection [ TARGET_DEFINED on sub index [ 1 ]]");
  list.mutable_subscription(1)->set_mode(gnmi::SAMPLE);
  list.mutable_subscription(1)->set_heartbeat_interval(10);
  EXPECT_EQ(verdict(request),
            "3 Unsupported subscription heartbeat_interval selection [ 10 on sub index [ 1 ]]");
  list.mutable_subscription(1)->set_heartbeat_interval(0);
  list.mutable_subscription(1)->set_mode(static_cast<gnmi::SubscriptionMode>(9));
  EXPECT_EQ(verdict(request),
            "3 subscribe.subscription[1].mode: 9 is none of TARGET_DEFINED, ON_CHANGE, SAMPLE");
}

TEST_F(SubscribeRefusal, NumbersThatAListDoesNotHave) {
  list.set_mode(static_cast<gnmi::SubscriptionList::Mode>(3));
  EXPECT_EQ(verdict(request), "3 subscribe.mode: 3 is none of STREAM, ONCE, POLL");
  list.set_mode(gnmi::SubscriptionList::STREAM);
  list.set_encoding(static_cast<gnmi::Encoding>(-1));
  EXPECT_EQ(verdict(request),
            "3 subscribe.encoding: -1 is none of JSON, BYTES, PROTO, ASCII, JSON_IETF");
}

TEST_F(SubscribeRefusal, AnUnknownPath) {
  *list.add_subscription() = list.subscription(0);
  *list.mutable_subscription(1)->mutable_path() = path_of("/device/nothing");
  EXPECT_EQ(verdict(request),
            "5 subscription[1] /device/nothing: no node \"nothing\" below \"/device\"");
}

TEST_F(SubscribeRefusal, AnIntervalBelowTheFastest) {
  options.limits.min_sample_interval = std::chrono::milliseconds(50);
  list.mutable_subscription(0)->set_sample_interval(49999999);
  EXPECT_EQ(verdict(request),
            "3 subscription[0] /device/name: sample_interval 49999999 is below the server's "
            "fastest, 50000000 nanoseconds");
}

TEST_F(SubscribeRefusal, OriginsThatAreNotServed) {
  list.mutable_prefix()->set_origin("cli");
  EXPECT_EQ(verdict(request),
            "12 subscription[0] /device/name: origin \"cli\" not supported, the served ones are "
            "\"openconfig\", \"rfc7951\", the names of modules and none");
}

TEST_F(SubscribeRefusal, TooManySubscriptions) {
  options.limits.max_paths = 1;
  *list.add_subscription() = list.subscription(0);
  EXPECT_EQ(verdict(request), "3 2 subscriptions in one request, at most 1 are taken");
}

TEST_F(SubscribeRefusal, DataOfThePast) {
  request.add_extension()->mutable_history()->set_snapshot_time(1);
  EXPECT_EQ(verdict(request), "12 Extension history not supported");
}

TEST_F(SubscribeRefusal, AnySecondMessage) {
  const std::string text =
      "3 Unsupported subscribeRequest::method on active stream [ poll/aliases/change of "
      "subscriptionList ]";
  gnmi::SubscribeRequest poll;
  poll.mutable_poll();
  for (const gnmi::SubscribeRequest& second : {poll, request, gnmi::SubscribeRequest()}) {
    if (service == nullptr) start();
    StreamClient client(stub(), request);
    EXPECT_EQ(client.read_to_sync().size(), 2U);
    client.write(second);
    EXPECT_EQ(client.end(), text);
  }
}

TEST_F(SubscribeRefusal, AStreamThatAsksForNothing) {
  start();
  StreamClient client(stub());
  client.half_close();
  EXPECT_EQ(client.end(), "3 The stream was closed before a subscription");
}

TEST_F(SubscribeRefusal, Strangers) {
  access.users["alice"] = {"secret", nexa::access::Role::kReadOnly};
  start();
  EXPECT_EQ(StreamClient(stub()).end(), "16 who are you");
  StreamClient known(stub(), std::chrono::seconds(20),
                     {{"username", "alice"}, {"password", "secret"}});
  known.write(request);
  EXPECT_EQ(known.read_to_sync().size(), 2U);
}

TEST_F(SubscribeRefusal, MoreStreamsThanTheServerHolds) {
  options.limits.max_streams = 2;
  start();
  StreamClient first(stub(), request);
  auto second = std::make_unique<StreamClient>(stub(), request);
  ASSERT_EQ(first.read_to_sync().size(), 2U);
  ASSERT_EQ(second->read_to_sync().size(), 2U);
  EXPECT_EQ(verdict(request), "8 Too many streams are open");
  second.reset();
  ASSERT_TRUE(eventually([this] { return recorder.open_streams() == 1; }));
  StreamClient third(stub(), request);
  EXPECT_EQ(third.read_to_sync().size(), 2U);
}

}  // namespace
}  // namespace nexa_test
