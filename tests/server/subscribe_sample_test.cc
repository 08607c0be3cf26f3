// What does a SAMPLE stream send, and when?
#include <algorithm>
#include <atomic>
#include <set>
#include <thread>

#include "nexa/nexa_srv_rpc_msg_helpers.h"
#include "server/support/service_fixture.h"
#include "server/support/stream_client.h"

namespace nexa_test {
namespace {

using std::chrono::milliseconds;
using Lines = std::vector<std::string>;

// Operational data as the test sets them; the module is one of the example's.
class Counter : public nexa::state::StateProvider {
 public:
  std::string_view name() const override { return "counter"; }
  std::string_view module() const override { return module_name; }
  void append_xml(std::string& xml) override {
    ++asked;
    xml += broken ? "broken" : "\n/device/uplink=" + std::to_string(value) + "\n";
  }

  std::string module_name = "example-device";
  std::atomic<int> value{1};
  std::atomic<int> asked{0};
  std::atomic<bool> broken{false};
};

class SubscribeSample : public ServiceTest {
 protected:
  void SetUp() override {
    store.put("/device/name", "\"box\"");
    store.put("/device/port[name=a]/speed", "\"10\"");
    store.put("/device/port[name=b]/speed", "\"20\"");
    store.know("/device/location");
    options.limits.min_sample_interval = milliseconds(20);
  }

  Counter counter;
};

TEST_F(SubscribeSample, SendsTheFirstRoundThenSyncOnce) {
  start();
  StreamClient client(stub(), watch({"/device/port", "/device/name"}, 40));
  EXPECT_EQ(client.read_to_sync(),
            (Lines{"|/device/port[name=a]/speed=\"10\"|/device/port[name=b]/speed=\"20\"|/device/"
                   "name=\"box\"",
                   "sync"}));
  for (int round = 0; round < 3; ++round) {
    EXPECT_EQ(client.next(),
              "|/device/port[name=a]/speed=\"10\"|/device/port[name=b]/speed=\"20\"|/device/"
              "name=\"box\"");
  }
  EXPECT_TRUE(eventually([this] { return recorder.leaves() >= 12; }));
}

TEST_F(SubscribeSample, StampsEachNotificationWithItsTime) {
  start();
  StreamClient client(stub(), watch({"/device/name"}, 20));
  client.next();
  const std::int64_t first = client.last().update().timestamp();
  EXPECT_LT(nexa::ServiceRpcMsgHelpers::get_timestamp() - first, 60'000'000'000);
  client.next();
  client.next();
  EXPECT_GT(client.last().update().timestamp(), first);
}

TEST_F(SubscribeSample, HasOneLeafInAnUpdateAndABoundOnAMessage) {
  for (int port = 0; port < 1000; ++port) {
    store.put("/device/port[name=p" + std::to_string(port) + "]/speed", "\"1\"");
  }
  start();
  StreamClient client(stub(), watch({"/device"}, 60000));
  std::set<std::string> seen;
  int messages = 0;
  for (std::string line = client.next(); line != "sync"; line = client.next()) {
    ASSERT_NE(line, "end");
    ++messages;
    const gnmi::Notification& notification = client.last().update();
    EXPECT_LE(notification.update_size(), 200);
    for (const gnmi::Update& update : notification.update()) {
      seen.insert(update.path().SerializeAsString());
      EXPECT_EQ(update.val().json_ietf_val().find('{'), std::string::npos);
    }
  }
  EXPECT_EQ(seen.size(), 1003U);
  EXPECT_GE(messages, 6);
}

TEST_F(SubscribeSample, GivesEachLeafItsOwnMessageWhereThatIsAskedFor) {
  options.limits.max_updates = 1;
  start();
  StreamClient client(stub(), watch({"/device"}, 60000));
  EXPECT_EQ(client.read_to_sync(),
            (Lines{"|/device/name=\"box\"", "|/device/port[name=a]/speed=\"10\"",
                   "|/device/port[name=b]/speed=\"20\"", "sync"}));
}

TEST_F(SubscribeSample, ReportsChangedNewAndVanishedLeaves) {
  start();
  StreamClient client(stub(), watch({"/device/port"}, 20));
  ASSERT_EQ(client.read_to_sync().back(), "sync");
  store.put("/device/port[name=a]/speed", "\"11\"");
  store.put("/device/port[name=c]/speed", "\"30\"");
  const std::string all =
      "|/device/port[name=a]/speed=\"11\"|/device/port[name=b]/speed=\"20\""
      "|/device/port[name=c]/speed=\"30\"";
  std::string line;
  while (line != all) ASSERT_TRUE(client.read(line));
  store.remove("/device/port[name=b]/speed");
  while (line == all) ASSERT_TRUE(client.read(line));
  EXPECT_EQ(line,
            "|/device/port[name=a]/speed=\"11\"|/device/port[name=c]/speed=\"30\""
            "|-/device/port[name=b]/speed");
  EXPECT_EQ(client.next(), "|/device/port[name=a]/speed=\"11\"|/device/port[name=c]/speed=\"30\"");
}

TEST_F(SubscribeSample, WatchesAPathThatHasNoDataYet) {
  start();
  StreamClient client(stub(), watch({"/device/location"}, 20));
  EXPECT_EQ(client.next(), "sync");
  store.put("/device/location", "\"roof\"");
  EXPECT_EQ(client.next(), "|/device/location=\"roof\"");
  store.remove("/device/location");
  std::string line = client.next();
  while (line == "|/device/location=\"roof\"") line = client.next();
  EXPECT_EQ(line, "|-/device/location");
}

TEST_F(SubscribeSample, WritesJsonWhereJsonIsAsked) {
  start();
  gnmi::SubscribeRequest request = watch({"/device/name"}, 60000);
  request.mutable_subscribe()->set_encoding(gnmi::JSON);
  StreamClient client(stub(), request);
  EXPECT_EQ(client.next(), "|/device/name=bare \"box\"");
}

TEST_F(SubscribeSample, EchoesPrefixAndTarget) {
  start();
  gnmi::SubscribeRequest request = watch({"/speed"}, 20);
  *request.mutable_subscribe()->mutable_prefix() = path_of("/device/port[name=b]");
  request.mutable_subscribe()->mutable_prefix()->set_target("box1");
  StreamClient client(stub(), request);
  EXPECT_EQ(client.read_to_sync(), (Lines{"box1/device/port[name=b]|/speed=\"20\"", "sync"}));
  store.remove("/device/port[name=b]/speed");
  std::string line = client.next();
  while (line == "box1/device/port[name=b]|/speed=\"20\"") line = client.next();
  EXPECT_EQ(line, "box1/device/port[name=b]|-/speed");
}

TEST_F(SubscribeSample, APrefixWithWildcardsGivesWholePaths) {
  start();
  gnmi::SubscribeRequest request = watch({"/speed"}, 60000);
  *request.mutable_subscribe()->mutable_prefix() = path_of("/device/port");
  request.mutable_subscribe()->mutable_prefix()->set_target("box1");
  StreamClient client(stub(), request);
  EXPECT_EQ(client.next(),
            "box1/|/device/port[name=a]/speed=\"10\"|/device/port[name=b]/speed=\"20\"");
}

TEST_F(SubscribeSample, EachSubscriptionHasItsInterval) {
  start();
  gnmi::SubscribeRequest request = watch({"/device/name", "/device/port[name=a]"}, 25);
  request.mutable_subscribe()->mutable_subscription(1)->set_sample_interval(400000000);
  StreamClient client(stub(), request);
  ASSERT_EQ(client.read_to_sync().back(), "sync");
  int names = 0;
  for (std::string line = client.next();; line = client.next()) {
    ASSERT_NE(line, "end");
    if (line.find("port") != std::string::npos) break;
    ++names;
  }
  // 15 beats lie between two of the slow one; a loaded machine skips some.
  EXPECT_GE(names, 4);
  EXPECT_LE(names, 16);
}

TEST_F(SubscribeSample, KeepsItsIntervalWithoutDrift) {
  start();
  const auto begin = std::chrono::steady_clock::now();
  StreamClient client(stub(), watch({"/device/name"}, 50));
  ASSERT_EQ(client.read_to_sync().back(), "sync");
  for (int round = 0; round < 20; ++round) ASSERT_EQ(client.next(), "|/device/name=\"box\"");
  const auto time = std::chrono::steady_clock::now() - begin;
  EXPECT_GE(time, milliseconds(995));
  EXPECT_LE(time, milliseconds(3000));
}

TEST_F(SubscribeSample, IntervalNoughtIsTheServersFastest) {
  options.limits.min_sample_interval = milliseconds(60);
  start();
  const auto begin = std::chrono::steady_clock::now();
  StreamClient client(stub(), watch({"/device/name"}, 0));
  ASSERT_EQ(client.read_to_sync().back(), "sync");
  for (int round = 0; round < 5; ++round) ASSERT_EQ(client.next(), "|/device/name=\"box\"");
  const auto time = std::chrono::steady_clock::now() - begin;
  EXPECT_GE(time, milliseconds(295));
  EXPECT_LE(time, milliseconds(3000));
}

TEST_F(SubscribeSample, GoesOnAfterTheClientHalfClosed) {
  start();
  StreamClient client(stub(), watch({"/device/name"}, 20));
  client.half_close();
  ASSERT_EQ(client.read_to_sync().back(), "sync");
  for (int round = 0; round < 5; ++round) ASSERT_EQ(client.next(), "|/device/name=\"box\"");
}

TEST_F(SubscribeSample, EndsWhenTheClientCancels) {
  start();
  StreamClient client(stub(), watch({"/device/name"}, 20));
  ASSERT_EQ(client.read_to_sync().back(), "sync");
  EXPECT_EQ(recorder.open_streams(), 1);
  client.cancel();
  EXPECT_TRUE(eventually([this] { return recorder.open_streams() == 0; }));
  EXPECT_EQ(recorder.calls(), Lines{"Subscribe 1"});
}

TEST_F(SubscribeSample, ShowsLiveOperationalData) {
  providers = {&counter};
  store.know("/device/uplink");
  start();
  StreamClient client(stub(), watch({"/device/uplink"}, 20));
  EXPECT_EQ(client.next(), "|/device/uplink=1");
  counter.value = 2;
  std::string line = client.next();
  while (line == "sync" || line == "|/device/uplink=1") line = client.next();
  EXPECT_EQ(line, "|/device/uplink=2");
}

TEST_F(SubscribeSample, DataThatCannotBeReadAreNotReportedAsGone) {
  providers = {&counter};
  store.know("/device/uplink");
  start();
  StreamClient client(stub(), watch({"/device/uplink"}, 20));
  ASSERT_EQ(client.read_to_sync().back(), "sync");
  counter.broken = true;
  const int before = store.parsed_states();
  ASSERT_TRUE(eventually([&] { return store.parsed_states() > before + 2; }));
  counter.value = 7;
  counter.broken = false;
  std::string line = client.next();
  while (line == "|/device/uplink=1") line = client.next();
  EXPECT_EQ(line, "|/device/uplink=7");
  EXPECT_EQ(recorder.faults(), std::vector<std::string>{"operational data: line 1: broken"});
}

TEST_F(SubscribeSample, AProviderWithoutItsModuleIsNotAsked) {
  counter.module_name = "ietf-interfaces";
  providers = {&counter};
  start();
  StreamClient client(stub(), watch({"/device"}, 20));
  ASSERT_EQ(client.read_to_sync().back(), "sync");
  client.next();
  EXPECT_EQ(counter.asked, 0);
  EXPECT_EQ(store.parsed_states(), 0);
}

TEST_F(SubscribeSample, ManyReadersAskTheProvidersOnce) {
  providers = {&counter};
  store.know("/device/uplink");
  start();
  std::vector<std::unique_ptr<StreamClient>> clients;
  for (int index = 0; index < 50; ++index) {
    clients.push_back(std::make_unique<StreamClient>(stub(), watch({"/device/uplink"}, 60000)));
  }
  for (const auto& client : clients) ASSERT_EQ(client->read_to_sync().back(), "sync");
  EXPECT_GE(counter.asked, 1);
  EXPECT_LT(counter.asked, 50);
  clients.clear();
}

}  // namespace
}  // namespace nexa_test
