// The config_subscription extension (gNMI conformance row 42), over the real store.
#include "server/support/store_fixture.h"
#include "server/support/stream_client.h"

namespace nexa_test {
namespace {

using Lines = std::vector<std::string>;

// An event of the device, which is no configuration.
class OneEvent : public nexa::state::StateProvider {
 public:
  std::string_view name() const override { return "one event"; }
  std::string_view module() const override { return "example-device"; }
  void append_xml(std::string& xml) override {
    xml += "<device xmlns=\"urn:example:device\"><event><at>7</at></event></device>";
  }
};

class ConfigSubscription : public StoredServiceTest {
 protected:
  void SetUp() override {
    providers.push_back(&event_);
    StoredServiceTest::SetUp();
    ASSERT_EQ(update("/device/name", "\"one\""), "0 ");
  }

  static gnmi::SubscribeRequest asked(const Lines& paths,
                                      gnmi::SubscriptionMode mode = gnmi::ON_CHANGE) {
    gnmi::SubscribeRequest wanted = watch(paths, 0);
    for (gnmi::Subscription& each : *wanted.mutable_subscribe()->mutable_subscription()) {
      each.set_mode(mode);
    }
    wanted.add_extension()->mutable_config_subscription()->mutable_start();
    return wanted;
  }

  std::string settle(gnmi_ext::Commit commit) {
    gnmi::SetRequest change;
    *change.add_extension()->mutable_commit() = std::move(commit);
    return apply(change);
  }

 private:
  OneEvent event_;
};

constexpr char kWhole[] = "|/device/name=\"one\"|/device/location=\"unknown\"";

TEST_F(ConfigSubscription, Row42OnlyConfigurationIsGiven) {
  for (const auto mode : {gnmi::ON_CHANGE, gnmi::TARGET_DEFINED, gnmi::SAMPLE}) {
    gnmi::SubscribeRequest wanted = asked({"/device"}, mode);
    if (mode == gnmi::SAMPLE) {
      wanted.mutable_subscribe()->mutable_subscription(0)->set_sample_interval(3600000000000);
    }
    StreamClient client(stub(), wanted);
    EXPECT_EQ(client.read_to_sync(), (Lines{kWhole, "sync"})) << mode;
  }
  gnmi::SubscribeRequest once = asked({"/device"});
  once.mutable_subscribe()->set_mode(gnmi::SubscriptionList::ONCE);
  StreamClient client(stub(), once);
  EXPECT_EQ(client.read_to_sync(), (Lines{kWhole, "sync"}));
  EXPECT_EQ(client.end(), "0 ");
}

TEST_F(ConfigSubscription, Row42EachCommitEndsWithItsNumberBehindAllOfIt) {
  StreamClient client(stub(), asked({"/device/name", "/device/limits", "/services"}));
  EXPECT_EQ(client.read_to_sync(), (Lines{"|/device/name=\"one\"", "sync"}));
  ASSERT_EQ(update("/device", R"({"name":"two","limits":{"tiny":2}})"), "0 ");
  EXPECT_EQ(client.next(), "|/device/name=\"two\"");
  EXPECT_EQ(client.next(), "|/device/limits/tiny=2");
  EXPECT_EQ(client.next(), "done 2 ");
  EXPECT_TRUE(client.last().extension(0).config_subscription().sync_done().done());
  ASSERT_EQ(update("/device/location", "\"elsewhere\""), "0 ");  // nothing of what is watched
  ASSERT_EQ(update("/services/ntp", "true"), "0 ");
  ASSERT_EQ(remove("/device/name"), "0 ");
  EXPECT_EQ(client.next(), "|/services/ntp=true");
  EXPECT_EQ(client.next(), "done 4 ");
  EXPECT_EQ(client.next(), "|-/device/name");
  EXPECT_EQ(client.next(), "done 5 ");
}

TEST_F(ConfigSubscription, Row42ACommitThatChangesNothingOfThePathsEndsInSilence) {
  StreamClient client(stub(), asked({"/device/location"}));
  client.read_to_sync();
  ASSERT_EQ(update("/device/location", "\"unknown\""), "0 ");  // the default, now configured
  ASSERT_EQ(update("/device/location", "\"here\""), "0 ");
  EXPECT_EQ(client.next(), "|/device/location=\"here\"");
  EXPECT_EQ(client.next(), "done 3 ");
}

TEST_F(ConfigSubscription, Row42TheNameOfACommitThatWaitsComesWithItAndWithItsEnd) {
  StreamClient client(stub(), asked({"/device/name"}));
  client.read_to_sync();
  gnmi::SetRequest change;
  *change.add_update() = update_of("/device/name", "\"two\"");
  gnmi_ext::Commit& commit = *change.add_extension()->mutable_commit();
  commit.set_id("trial");
  commit.mutable_commit();
  ASSERT_EQ(apply(change), "0 ");
  EXPECT_EQ(client.next(), "|/device/name=\"two\"");
  EXPECT_EQ(client.next(), "done 2 trial");
  gnmi_ext::Commit end;
  end.set_id("trial");
  end.mutable_cancel();
  ASSERT_EQ(settle(end), "0 ");
  EXPECT_EQ(client.next(), "|/device/name=\"one\"");
  EXPECT_EQ(client.next(), "done 3 trial");
  // A confirmation changes nothing and is not told.
  commit.set_id("again");
  ASSERT_EQ(apply(change), "0 ");
  end.set_id("again");
  end.mutable_confirm();
  ASSERT_EQ(settle(end), "0 ");
  ASSERT_EQ(update("/device/name", "\"three\""), "0 ");
  EXPECT_EQ(client.next(), "|/device/name=\"two\"");
  EXPECT_EQ(client.next(), "done 4 again");
  EXPECT_EQ(client.next(), "|/device/name=\"three\"");
  EXPECT_EQ(client.next(), "done 5 ");
}

TEST_F(ConfigSubscription, Row42UpdatesOnlyBeginsWithSyncAndEndsCommitsAsWell) {
  gnmi::SubscribeRequest wanted = asked({"/device/name"});
  wanted.mutable_subscribe()->set_updates_only(true);
  StreamClient client(stub(), wanted);
  EXPECT_EQ(client.next(), "sync");
  ASSERT_EQ(update("/device/name", "\"two\""), "0 ");
  EXPECT_EQ(client.next(), "|/device/name=\"two\"");
  EXPECT_EQ(client.next(), "done 2 ");
}

TEST_F(ConfigSubscription, Row42CommitsOfThePastHaveTheirEndsToo) {
  ASSERT_EQ(update("/device/name", "\"two\""), "0 ");
  std::vector<nexa::store::CommitRecord> records;
  ASSERT_TRUE(real_store->history(0, records).ok());
  gnmi::SubscribeRequest wanted = asked({"/device/name"});
  gnmi_ext::TimeRange& range = *wanted.add_extension()->mutable_history()->mutable_range();
  range.set_start(records[1].time_ns);
  range.set_end(records[0].time_ns + 1);
  StreamClient client(stub(), wanted);
  const Lines all = {"sync", "|/device/name=\"one\"", "done 1 ", "|/device/name=\"two\"",
                     "done 2 "};
  for (const std::string& line : all) EXPECT_EQ(client.next(), line);
  EXPECT_EQ(client.end(), "0 ");
}

TEST_F(ConfigSubscription, Row42OnlyAStartCanBeAskedFor) {
  gnmi::SubscribeRequest wanted = watch({"/device"}, 0);
  gnmi_ext::ConfigSubscription& extension = *wanted.add_extension()->mutable_config_subscription();
  EXPECT_EQ(StreamClient(stub(), wanted).end(),
            "3 Extension config_subscription without the action start");
  extension.mutable_sync_done();
  EXPECT_EQ(StreamClient(stub(), wanted).end(),
            "3 Extension config_subscription without the action start");
  extension.mutable_start();
  wanted.add_extension()->mutable_config_subscription()->mutable_start();
  EXPECT_EQ(StreamClient(stub(), wanted).end(), "3 Extension config_subscription is given twice");
  gnmi::SetRequest change;
  change.add_extension()->mutable_config_subscription()->mutable_start();
  EXPECT_EQ(apply(change), "12 Extension config_subscription not supported");
}

TEST_F(ConfigSubscription, TheDeviceProfileRefusesIt) {
  stop();
  options.profile = nexa::profile::Profile::kDevice;
  start();
  EXPECT_EQ(StreamClient(stub(), asked({"/device"}, gnmi::SAMPLE)).end(),
            "12 Extension config_subscription not supported");
}

}  // namespace
}  // namespace nexa_test
