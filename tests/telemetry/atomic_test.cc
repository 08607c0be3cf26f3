// What the schema says of telemetry: nodes whose leaves are told together (gNMI conformance rows 3
// and 37), and leaves that change by events (row 35), over the real store.
#include <gmock/gmock.h>

#include <mutex>
#include <string>

#include "server/support/store_fixture.h"
#include "server/support/stream_client.h"

namespace nexa_test {
namespace {

using std::chrono::milliseconds;
using testing::Contains;
using testing::StartsWith;
using Lines = std::vector<std::string>;

// What a device says of the module test-telemetry; tells of changes when `tells` is set.
class Device : public nexa::state::StateProvider {
 public:
  std::string_view name() const override { return "device"; }
  std::string_view module() const override { return "test-telemetry"; }
  void append_xml(std::string& xml) override {
    const std::lock_guard<std::mutex> lock(mutex_);
    xml += xml_;
  }
  nexa::state::Pace pace(const kestrel_cs_node& leaf) const override {
    const std::string_view name = kestrel_hash2str(leaf.tag);
    const bool is_told = name == "text" || name == "severity" || name == "up";
    return is_told ? nexa::state::Pace::kEvents : nexa::state::Pace::kGauge;
  }
  void watch(std::function<void()> changed) override {
    const std::lock_guard<std::mutex> lock(mutex_);
    changed_ = std::move(changed);
  }
  void set(const std::string& content, const std::string& top = "alarm") {
    const std::lock_guard<std::mutex> lock(mutex_);
    xml_ = "<" + top + " xmlns=\"urn:test:telemetry\">" + content + "</" + top + ">";
    if (changed_) changed_();
  }

 private:
  std::mutex mutex_;
  std::string xml_;
  std::function<void()> changed_;
};

class Atomic : public StoredServiceTest {
 protected:
  void SetUp() override {
    providers.push_back(&device_);
    options.limits.min_sample_interval = milliseconds(20);
    options.limits.target_sample_interval = milliseconds(100);
    StoredServiceTest::SetUp();
    ASSERT_EQ(update("/routes", R"({"route":[{"name":"a","via":{"hop":"h"},"label":[1,2]}]})"),
              "0 ");
  }

  static gnmi::SubscribeRequest asked(const std::string& path,
                                      gnmi::SubscriptionMode mode = gnmi::ON_CHANGE) {
    gnmi::SubscribeRequest list = watch({path}, 0);
    list.mutable_subscribe()->mutable_subscription(0)->set_mode(mode);
    return list;
  }
  static gnmi::SubscribeRequest once(const std::string& path) {
    gnmi::SubscribeRequest list = watch({path}, 0);
    list.mutable_subscribe()->set_mode(gnmi::SubscriptionList::ONCE);
    return list;
  }

  Device device_;
};

constexpr char kRouteA[] =
    "atomic /routes/route[name=a]|/name=\"a\"|/via/hop=\"h\"|/via/cost=10|/label=[1,2]";

TEST_F(Atomic, Row03AMessageIsOneEntryInFull) {
  ASSERT_EQ(update("/routes/route[name=b]", R"({"label":[3]})"), "0 ");
  StreamClient client(stub(), once("/routes"));
  EXPECT_EQ(
      client.read_to_sync(),
      (Lines{kRouteA, "atomic /routes/route[name=b]|/name=\"b\"|/via/cost=10|/label=[3]", "sync"}));
}

TEST_F(Atomic, Row03OtherLeavesComeInMessagesOfTheirOwn) {
  ASSERT_EQ(update("/device/name", "\"box\""), "0 ");
  gnmi::SubscribeRequest list = once("/device/name");
  *list.mutable_subscribe()->add_subscription()->mutable_path() = path_of("/routes");
  *list.mutable_subscribe()->add_subscription()->mutable_path() = path_of("/device/location");
  StreamClient client(stub(), list);
  EXPECT_EQ(client.read_to_sync(),
            (Lines{"|/device/name=\"box\"", kRouteA, "|/device/location=\"unknown\"", "sync"}));
}

TEST_F(Atomic, Row03TheTargetIsEchoedWithTheNodeAsPrefix) {
  gnmi::SubscribeRequest list = once("/route");
  *list.mutable_subscribe()->mutable_prefix() = path_of("/routes");
  list.mutable_subscribe()->mutable_prefix()->set_target("box1");
  StreamClient client(stub(), list);
  EXPECT_EQ(client.next().substr(0, 33), "atomic box1/routes/route[name=a]|");
}

TEST_F(Atomic, Row03AChangeOfOneLeafTellsAllOfTheNode) {
  StreamClient client(stub(), asked("/routes"));
  client.read_to_sync();
  ASSERT_EQ(update("/routes/route[name=a]/via/hop", "\"i\""), "0 ");
  EXPECT_EQ(client.next(),
            "atomic /routes/route[name=a]|/name=\"a\"|/via/hop=\"i\"|/via/cost=10|/label=[1,2]");
  EXPECT_NE(client.last().update().timestamp(), 0);
  ASSERT_EQ(update("/routes", R"({"route":[{"name":"b"},{"name":"c","label":[7]}]})"), "0 ");
  EXPECT_EQ(client.next(), "atomic /routes/route[name=b]|/name=\"b\"|/via/cost=10");
  EXPECT_EQ(client.next(), "atomic /routes/route[name=c]|/name=\"c\"|/via/cost=10|/label=[7]");
}

TEST_F(Atomic, Row03AMemberThatGoesIsLeftOutAndTheNodeGoesByADelete) {
  StreamClient client(stub(), asked("/routes"));
  client.read_to_sync();
  ASSERT_EQ(remove("/routes/route[name=a]/label"), "0 ");
  EXPECT_EQ(client.next(), "atomic /routes/route[name=a]|/name=\"a\"|/via/hop=\"h\"|/via/cost=10");
  ASSERT_EQ(remove("/routes/route[name=a]"), "0 ");
  EXPECT_EQ(client.next(), "|-/routes/route[name=a]");
}

TEST_F(Atomic, Row03ConfigurationAndOperationalDataOfANodeAreOneMessage) {
  const std::string up = "<route><name>a</name><up>true</up></route>";
  device_.set(up, "routes");
  StreamClient client(stub(), asked("/routes"));
  client.read_to_sync();
  ASSERT_EQ(update("/routes/route[name=a]/via/hop", "\"i\""), "0 ");
  const std::string rest = "|/label=[1,2]|/up=";
  const std::string head = "atomic /routes/route[name=a]|/name=\"a\"|/via/hop=\"i\"|/via/cost=10";
  EXPECT_EQ(client.next(), head + rest + "true");
  device_.set("<route><name>a</name><up>false</up></route>", "routes");
  EXPECT_EQ(client.next(), head + rest + "false");
}

TEST_F(Atomic, Row03ALeafThatIsExemptChangesByItself) {
  device_.set("<route><name>a</name><traffic><packets>1</packets></traffic><up>true</up></route>",
              "routes");
  StreamClient client(stub(), asked("/routes"));
  EXPECT_THAT(client.read_to_sync(),
              Contains(kRouteA + std::string("|/traffic/packets=\"1\"|/up=true")));
  device_.set("<route><name>a</name><traffic><packets>2</packets></traffic><up>true</up></route>",
              "routes");
  EXPECT_EQ(client.next(), "|/routes/route[name=a]/traffic/packets=\"2\"");
}

TEST_F(Atomic, Row03OperationalDataThatGoAreADeleteOfTheNode) {
  device_.set("<text>hot</text><severity>3</severity>");
  StreamClient client(stub(), asked("/alarm"));
  EXPECT_EQ(client.read_to_sync(), (Lines{"atomic /alarm|/text=\"hot\"|/severity=3", "sync"}));
  device_.set("<text>hot</text>");
  EXPECT_EQ(client.next(), "atomic /alarm|/text=\"hot\"");
  device_.set("");
  EXPECT_EQ(client.next(), "|-/alarm");
}

TEST_F(Atomic, Row03SuppressRedundantHoldsBackWholeNodes) {
  device_.set("<text>hot</text><severity>3</severity>");
  gnmi::SubscribeRequest list = asked("/alarm", gnmi::SAMPLE);
  list.mutable_subscribe()->mutable_subscription(0)->set_suppress_redundant(true);
  StreamClient client(stub(), list);
  EXPECT_EQ(client.read_to_sync(), (Lines{"atomic /alarm|/text=\"hot\"|/severity=3", "sync"}));
  device_.set("<text>hot</text><severity>4</severity>");
  EXPECT_EQ(client.next(), "atomic /alarm|/text=\"hot\"|/severity=4");
  device_.set("");
  EXPECT_EQ(client.next(), "|-/alarm");
}

TEST_F(Atomic, Row37BelowANodeOnlyWhatWasAskedForUnderTheNodesPrefix) {
  StreamClient client(stub(), asked("/routes/route/via/hop"));
  EXPECT_EQ(client.read_to_sync(), (Lines{"atomic /routes/route[name=a]|/via/hop=\"h\"", "sync"}));
  ASSERT_EQ(update("/routes/route[name=a]", R"({"label":[9],"via":{"hop":"i"}})"), "0 ");
  EXPECT_EQ(client.next(), "atomic /routes/route[name=a]|/via/hop=\"i\"");
  ASSERT_EQ(remove("/routes/route[name=a]/via/hop"), "0 ");
  EXPECT_EQ(client.next(), "|-/routes/route[name=a]");
}

TEST_F(Atomic, Row37WildcardsAboveAndBelowTheNode) {
  for (const char* path : {"/.../hop", "/routes/*/via/*", "/*/route[name=a]/.../hop"}) {
    ASSERT_EQ(update("/routes/route[name=a]/via/hop", "\"h\""), "0 ");
    StreamClient client(stub(), asked(path));
    const Lines first = client.read_to_sync();
    EXPECT_THAT(first.front(), StartsWith("atomic /routes/route[name=a]|/via/hop=\"h\"")) << path;
    ASSERT_EQ(update("/routes/route[name=a]/via/hop", "\"i\""), "0 ");
    EXPECT_THAT(client.next(), StartsWith("atomic /routes/route[name=a]|/via/hop=\"i\"")) << path;
  }
}

TEST_F(Atomic, Row35ALeafThatTheSchemaSaysToChangeByEventsIsToldWhenItDoes) {
  device_.set("<temperature>20</temperature><fault>none</fault>", "health");
  StreamClient client(stub(), asked("/health", gnmi::TARGET_DEFINED));
  Lines first = client.read_to_sync();
  for (int round = 0; round < 3; ++round) {
    EXPECT_EQ(client.next(), "|/health/temperature=20");
  }
  device_.set("<temperature>20</temperature><fault>fan</fault>", "health");
  int faults = 0;
  for (int message = 0; message < 5; ++message) {
    const std::string line = client.next();
    if (line == "|/health/temperature=20") continue;
    EXPECT_EQ(line, "|/health/fault=\"fan\"");
    ++faults;
  }
  EXPECT_EQ(faults, 1);
}

}  // namespace
}  // namespace nexa_test
