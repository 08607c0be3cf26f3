// Modes and options of a SubscriptionList over the real store, as a client sees them.
#include <gmock/gmock.h>

#include <algorithm>
#include <chrono>
#include <string>

#include "server/support/store_fixture.h"
#include "server/support/stream_client.h"

namespace nexa_test {
namespace {

using std::chrono::milliseconds;
using testing::HasSubstr;
using Lines = std::vector<std::string>;

constexpr std::uint64_t kMillisecond = 1000000;

gnmi::SubscribeRequest list_of(const Lines& paths, gnmi::SubscriptionList::Mode mode) {
  gnmi::SubscribeRequest asked = watch(paths, 0);
  asked.mutable_subscribe()->set_mode(mode);
  return asked;
}

gnmi::SubscribeRequest on_change(const Lines& paths,
                                 gnmi::SubscriptionMode mode = gnmi::ON_CHANGE) {
  gnmi::SubscribeRequest asked = watch(paths, 0);
  for (gnmi::Subscription& each : *asked.mutable_subscribe()->mutable_subscription()) {
    each.set_mode(mode);
  }
  return asked;
}

gnmi::SubscribeRequest poll_message() {
  gnmi::SubscribeRequest poll;
  poll.mutable_poll();
  return poll;
}

class Modes : public StoredServiceTest {
 protected:
  void SetUp() override {
    options.limits.min_sample_interval = milliseconds(20);
    StoredServiceTest::SetUp();
    ASSERT_EQ(update("/device", R"({"name":"box","port":[{"name":"a","speed":"1"}]})"), "0 ");
  }
};

const char* const kPortA = "|/device/port[name=a]/name=\"a\"|/device/port[name=a]/speed=\"1\"";

TEST_F(Modes, Row33OnceGivesEachLeafThenSyncAndEndsWithOk) {
  StreamClient client(stub(), list_of({"/device/port"}, gnmi::SubscriptionList::ONCE));
  EXPECT_EQ(client.next(), kPortA);
  EXPECT_EQ(client.next(), "sync");
  EXPECT_EQ(client.next(), "end");
  EXPECT_EQ(client.end(), "0 ");
}

TEST_F(Modes, Row31OnceOfAnAbsentPathIsSyncAlone) {
  StreamClient client(stub(), list_of({"/device/uplink"}, gnmi::SubscriptionList::ONCE));
  EXPECT_EQ(client.next(), "sync");
  EXPECT_EQ(client.end(), "0 ");
}

TEST_F(Modes, Row33EachPollIsAnsweredInFullWithASync) {
  StreamClient client(stub(), list_of({"/device/port"}, gnmi::SubscriptionList::POLL));
  EXPECT_EQ(client.read_to_sync(), (Lines{kPortA, "sync"}));
  for (int round = 0; round < 3; ++round) {
    client.write(poll_message());
    EXPECT_EQ(client.read_to_sync(), (Lines{kPortA, "sync"}));
  }
  ASSERT_EQ(update("/device/port[name=a]/speed", "\"7\""), "0 ");
  client.write(poll_message());
  EXPECT_THAT(client.next(), HasSubstr("speed=\"7\""));
  client.half_close();
  EXPECT_EQ(client.end(), "0 ");
}

// Also when they come, and the client's last word with them, while a round ends that saw none.
TEST_F(Modes, Row33PollsThatComeTogetherAreEachAnswered) {
  for (int attempt = 0; attempt < 100 && !HasFailure(); ++attempt) {
    StreamClient client(stub(), list_of({"/device/name"}, gnmi::SubscriptionList::POLL));
    const int polls = 1 + attempt % 20;
    for (int poll = 0; poll < polls; ++poll) client.write(poll_message());
    client.half_close();
    int syncs = 0;
    for (std::string line = client.next(); line != "end"; line = client.next()) {
      syncs += line == "sync" ? 1 : 0;
    }
    EXPECT_EQ(syncs, polls + 1);
    EXPECT_EQ(client.end(), "0 ");
  }
}

TEST_F(Modes, Row30APollOfAStreamAndASecondListAreRefused) {
  StreamClient polled(stub(), on_change({"/device/name"}));
  ASSERT_EQ(polled.read_to_sync().back(), "sync");
  polled.write(poll_message());
  EXPECT_THAT(polled.end(), HasSubstr("3 Unsupported subscribeRequest::method"));
  StreamClient listed(stub(), list_of({"/device/name"}, gnmi::SubscriptionList::POLL));
  ASSERT_EQ(listed.read_to_sync().back(), "sync");
  listed.write(list_of({"/device/name"}, gnmi::SubscriptionList::POLL));
  EXPECT_THAT(listed.end(), HasSubstr("3 Unsupported subscribeRequest::method"));
  StreamClient early(stub(), poll_message());
  EXPECT_THAT(early.end(), HasSubstr("3 Unsupported method[ Poll ]"));
}

TEST_F(Modes, Row34UpdatesOnlyBeginsWithSync) {
  for (const auto mode : {gnmi::SubscriptionList::ONCE, gnmi::SubscriptionList::POLL}) {
    gnmi::SubscribeRequest asked = list_of({"/device"}, mode);
    asked.mutable_subscribe()->set_updates_only(true);
    StreamClient client(stub(), asked);
    EXPECT_EQ(client.next(), "sync");
    if (mode == gnmi::SubscriptionList::POLL) {
      client.write(poll_message());
      EXPECT_EQ(client.next(), "sync");
      client.half_close();
    }
    EXPECT_EQ(client.end(), "0 ");
  }
  gnmi::SubscribeRequest asked = on_change({"/device/name"});
  asked.mutable_subscribe()->set_updates_only(true);
  StreamClient client(stub(), asked);
  EXPECT_EQ(client.next(), "sync");
  ASSERT_EQ(update("/device/name", "\"other\""), "0 ");
  EXPECT_EQ(client.next(), "|/device/name=\"other\"");
}

TEST_F(Modes, Row34UpdatesOnlyOfASampledPathSendsTheNextBeats) {
  gnmi::SubscribeRequest asked = watch({"/device/name"}, 30);
  asked.mutable_subscribe()->set_updates_only(true);
  asked.mutable_subscribe()->mutable_subscription(0)->set_suppress_redundant(true);
  StreamClient client(stub(), asked);
  EXPECT_EQ(client.next(), "sync");
  ASSERT_EQ(update("/device/name", "\"other\""), "0 ");
  EXPECT_EQ(client.next(), "|/device/name=\"other\"");
}

TEST_F(Modes, Row35OnChangeSendsTheStateThenWhatChanges) {
  StreamClient client(stub(), on_change({"/device/port"}));
  EXPECT_EQ(client.read_to_sync(), (Lines{kPortA, "sync"}));
  ASSERT_EQ(update("/device/port[name=a]/speed", "\"2\""), "0 ");
  EXPECT_EQ(client.next(), "|/device/port[name=a]/speed=\"2\"");
  EXPECT_EQ(client.last().update().update(0).duplicates(), 0U);
  ASSERT_EQ(update("/device/name", "\"unwatched\""), "0 ");
  ASSERT_EQ(update("/device/port[name=a]/speed", "\"2\""), "0 ");
  ASSERT_EQ(update("/device", R"({"port":[{"name":"b","speed":"3"}]})"), "0 ");
  EXPECT_EQ(client.next(), "|/device/port[name=b]/name=\"b\"|/device/port[name=b]/speed=\"3\"");
}

TEST_F(Modes, Row36ABranchThatWentIsOneDelete) {
  StreamClient client(stub(), on_change({"/device"}));
  ASSERT_EQ(client.read_to_sync().back(), "sync");
  ASSERT_EQ(remove("/device/port[name=a]"), "0 ");
  EXPECT_EQ(client.next(), "|-/device/port[name=a]");
  ASSERT_EQ(update("/device/name", "\"last\""), "0 ");
  EXPECT_EQ(client.next(), "|/device/name=\"last\"");
}

TEST_F(Modes, Row36ALeafThatFallsBackIsAnUpdateWithItsDefault) {
  ASSERT_EQ(update("/device/location", "\"roof\""), "0 ");
  StreamClient client(stub(), on_change({"/device/location"}));
  EXPECT_EQ(client.read_to_sync(), (Lines{"|/device/location=\"roof\"", "sync"}));
  ASSERT_EQ(remove("/device/location"), "0 ");
  EXPECT_EQ(client.next(), "|/device/location=\"unknown\"");
  ASSERT_EQ(update("/device/location", "\"unknown\""), "0 ");  // reads as before
  ASSERT_EQ(update("/device/location", "\"cellar\""), "0 ");
  EXPECT_EQ(client.next(), "|/device/location=\"cellar\"");
}

TEST_F(Modes, Row31APathWithoutDataReportsWhenItHasSome) {
  StreamClient client(stub(), on_change({"/device/port[name=z]/speed"}));
  EXPECT_EQ(client.next(), "sync");
  ASSERT_EQ(update("/device", R"({"port":[{"name":"z","speed":"9"}]})"), "0 ");
  EXPECT_EQ(client.next(), "|/device/port[name=z]/speed=\"9\"");
  ASSERT_EQ(remove("/device/port[name=z]"), "0 ");
  EXPECT_EQ(client.next(), "|-/device/port[name=z]/speed");
}

TEST_F(Modes, Row09WildcardsAreFilledIn) {
  StreamClient client(stub(), on_change({"/device/port[name=*]/speed", "/.../next-hop"}));
  EXPECT_EQ(client.read_to_sync(), (Lines{"|/device/port[name=a]/speed=\"1\"", "sync"}));
  ASSERT_EQ(update("/device/port[name=b]",
                   R"({"speed":"5","route":[{"prefix":"p","metric":1,"next-hop":"n"}]})"),
            "0 ");
  Lines both = {client.next(), client.next()};
  std::sort(both.begin(), both.end());
  EXPECT_EQ(both, (Lines{"|/device/port[name=b]/route[metric=1][prefix=p]/next-hop=\"n\"",
                         "|/device/port[name=b]/speed=\"5\""}));
}

TEST_F(Modes, Row36ALeafListIsOneValue) {
  StreamClient client(stub(), on_change({"/device/search"}));
  EXPECT_EQ(client.next(), "sync");
  ASSERT_EQ(update("/device/search", R"(["x","y"])"), "0 ");
  EXPECT_EQ(client.next(), R"(|/device/search=["x","y"])");
  ASSERT_EQ(replace("/device/search", R"(["y","x"])"), "0 ");
  EXPECT_EQ(client.next(), R"(|/device/search=["y","x"])");
  ASSERT_EQ(remove("/device/search"), "0 ");
  EXPECT_EQ(client.next(), "|-/device/search");
}

TEST_F(Modes, Row01ACommitHasItsTimeInEachNotification) {
  StreamClient client(stub(), on_change({"/device/name"}));
  ASSERT_EQ(client.read_to_sync().back(), "sync");
  ASSERT_EQ(update("/device/name", "\"timed\""), "0 ");
  ASSERT_EQ(client.next(), "|/device/name=\"timed\"");
  std::vector<nexa::store::CommitRecord> newest;
  ASSERT_TRUE(real_store->history(1, newest).ok());
  EXPECT_EQ(client.last().update().timestamp(), newest.front().time_ns);
}

TEST_F(Modes, Row35AHeartbeatResendsWhatDidNotChange) {
  gnmi::SubscribeRequest asked = on_change({"/device/name"});
  asked.mutable_subscribe()->mutable_subscription(0)->set_heartbeat_interval(60 * kMillisecond);
  StreamClient client(stub(), asked);
  ASSERT_EQ(client.read_to_sync().back(), "sync");
  EXPECT_EQ(client.next(), "|/device/name=\"box\"");
  EXPECT_EQ(client.next(), "|/device/name=\"box\"");
  ASSERT_EQ(update("/device/name", "\"beaten\""), "0 ");
  std::string line = client.next();
  while (line == "|/device/name=\"box\"") line = client.next();
  EXPECT_EQ(line, "|/device/name=\"beaten\"");
  EXPECT_EQ(client.next(), "|/device/name=\"beaten\"");
}

TEST_F(Modes, Row35SuppressRedundantGoesLeafByLeaf) {
  gnmi::SubscribeRequest asked = watch({"/device/port"}, 30);
  asked.mutable_subscribe()->mutable_subscription(0)->set_suppress_redundant(true);
  StreamClient client(stub(), asked);
  EXPECT_EQ(client.read_to_sync(), (Lines{kPortA, "sync"}));
  ASSERT_EQ(update("/device/port[name=a]/speed", "\"2\""), "0 ");
  EXPECT_EQ(client.next(), "|/device/port[name=a]/speed=\"2\"");
  ASSERT_EQ(remove("/device/port[name=a]/speed"), "0 ");
  EXPECT_EQ(client.next(), "|-/device/port[name=a]/speed");
}

TEST_F(Modes, Row35AHeartbeatOverridesSuppressRedundant) {
  gnmi::SubscribeRequest asked = watch({"/device/name"}, 20);
  gnmi::Subscription& one = *asked.mutable_subscribe()->mutable_subscription(0);
  one.set_suppress_redundant(true);
  one.set_heartbeat_interval(200 * kMillisecond);
  const auto begin = std::chrono::steady_clock::now();
  StreamClient client(stub(), asked);
  ASSERT_EQ(client.read_to_sync().back(), "sync");
  EXPECT_EQ(client.next(), "|/device/name=\"box\"");
  EXPECT_EQ(client.next(), "|/device/name=\"box\"");
  EXPECT_GE(std::chrono::steady_clock::now() - begin, milliseconds(395));
}

TEST_F(Modes, Row35IntervalsThatCannotBeServed) {
  gnmi::SubscribeRequest asked = watch({"/device/name"}, 1);
  EXPECT_THAT(StreamClient(stub(), asked).end(),
              HasSubstr("3 subscription[0] /device/name: sample_interval 1000000 is below"));
  asked = on_change({"/device/name"}, gnmi::TARGET_DEFINED);
  asked.mutable_subscribe()->mutable_subscription(0)->set_sample_interval(1000 * kMillisecond);
  EXPECT_THAT(StreamClient(stub(), asked).end(),
              HasSubstr("3 subscription[0] /device/name: sample_interval is the target's"));
  asked = on_change({"/device/name"});
  asked.mutable_subscribe()->mutable_subscription(0)->set_heartbeat_interval(5);
  EXPECT_THAT(StreamClient(stub(), asked).end(), HasSubstr("heartbeat_interval 5 is below"));
}

TEST_F(Modes, Row35ModesAreMixedInOneList) {
  gnmi::SubscribeRequest asked = watch({"/device/name", "/device/location", "/device/port"}, 40);
  gnmi::SubscriptionList& list = *asked.mutable_subscribe();
  list.set_allow_aggregation(true);
  list.mutable_qos()->set_marking(10);
  for (int index : {1, 2}) list.mutable_subscription(index)->set_sample_interval(0);
  list.mutable_subscription(1)->set_mode(gnmi::ON_CHANGE);
  list.mutable_subscription(2)->set_mode(gnmi::TARGET_DEFINED);
  StreamClient client(stub(), asked);
  const Lines first = client.read_to_sync();
  EXPECT_THAT(first.front(), HasSubstr("/device/name=\"box\""));
  EXPECT_THAT(first.front(), HasSubstr("/device/location=\"unknown\""));
  EXPECT_THAT(first.front(), HasSubstr("speed=\"1\""));
  EXPECT_EQ(client.next(), "|/device/name=\"box\"");
  ASSERT_EQ(update("/device", R"({"location":"hall","port":[{"name":"a","speed":"4"}]})"), "0 ");
  Lines changes;
  while (changes.size() < 2) {
    const std::string line = client.next();
    ASSERT_NE(line, "end");
    if (line != "|/device/name=\"box\"") changes.push_back(line);
  }
  EXPECT_EQ(changes, (Lines{"|/device/location=\"hall\"", "|/device/port[name=a]/speed=\"4\""}));
}

TEST_F(Modes, Row24ARefusedCommitIsSeenByNobody) {
  StreamClient client(stub(), on_change({"/device"}));
  ASSERT_EQ(client.read_to_sync().back(), "sync");
  EXPECT_NE(update("/device/uplink", "\"nowhere\""), "0 ");
  ASSERT_EQ(update("/device/name", "\"seen\""), "0 ");
  EXPECT_EQ(client.next(), "|/device/name=\"seen\"");
}

TEST_F(Modes, Row35ARollbackIsACommitLikeAnother) {
  StreamClient client(stub(), on_change({"/device"}));
  ASSERT_EQ(client.read_to_sync().back(), "sync");
  ASSERT_EQ(update("/device", R"({"name":"x","port":[{"name":"q"}]})"), "0 ");
  client.next();
  ASSERT_TRUE(real_store->rollback(1, "me", nullptr).status.ok());
  EXPECT_EQ(client.next(), "|/device/name=\"box\"|-/device/port[name=q]");
}

TEST_F(Modes, Row06EncodingProtoHasNativeScalars) {
  gnmi::SubscribeRequest asked = on_change({"/device/port[name=a]/speed"});
  asked.mutable_subscribe()->set_encoding(gnmi::PROTO);
  StreamClient client(stub(), asked);
  client.next();
  EXPECT_EQ(client.last().update().update(0).val().uint_val(), 1U);
  ASSERT_EQ(client.next(), "sync");
  ASSERT_EQ(update("/device/port[name=a]/speed", "\"2\""), "0 ");
  client.next();
  EXPECT_EQ(client.last().update().update(0).val().uint_val(), 2U);
}

TEST_F(Modes, Row11AModelThatIsNotLoadedIsRefused) {
  gnmi::SubscribeRequest asked = on_change({"/device/name"});
  asked.mutable_subscribe()->add_use_models()->set_name("no-such-model");
  EXPECT_THAT(StreamClient(stub(), asked).end(), HasSubstr("no-such-model"));
}

// A reader that takes nothing while commits come.
TEST_F(Modes, Row02ASlowReaderGetsTheNewestValueWithItsDuplicatesCounted) {
  stop();
  options.limits.stream_queue_bytes = 64 << 10;
  start();
  const std::string padding(30000, 'x');
  StreamClient client(stub(), on_change({"/device/name"}));
  ASSERT_EQ(client.read_to_sync().back(), "sync");
  constexpr int kCommits = 60;
  for (int round = 1; round <= kCommits; ++round) {
    ASSERT_EQ(update("/device/name", "\"" + std::to_string(round) + padding + "\""), "0 ");
  }
  int values = 0;
  int last = 0;
  std::string line;
  while (last < kCommits && client.read(line)) {
    const gnmi::Update& one = client.last().update().update(0);
    values += 1 + static_cast<int>(one.duplicates());
    const int number = std::stoi(one.val().json_ietf_val().substr(1));
    EXPECT_GT(number, last);
    last = number;
  }
  EXPECT_EQ(last, kCommits);
  EXPECT_EQ(values, kCommits);
}

TEST_F(Modes, Row32EachUpdateHasOneLeafWhetherOrNotAggregationIsAllowed) {
  for (const bool is_allowed : {false, true}) {
    gnmi::SubscribeRequest asked = list_of({"/device"}, gnmi::SubscriptionList::ONCE);
    asked.mutable_subscribe()->set_allow_aggregation(is_allowed);
    StreamClient client(stub(), asked);
    int leaves = 0;
    for (std::string line = client.next(); line != "sync"; line = client.next()) {
      for (const gnmi::Update& update : client.last().update().update()) {
        EXPECT_NE(update.val().json_ietf_val().front(), '{') << line;
        ++leaves;
      }
    }
    EXPECT_EQ(leaves, 4);
  }
}

TEST_F(Modes, Row38AMarkingIsTakenAndServedWithout) {
  gnmi::SubscribeRequest asked = list_of({"/device/name"}, gnmi::SubscriptionList::ONCE);
  asked.mutable_subscribe()->mutable_qos()->set_marking(46);
  StreamClient client(stub(), asked);
  EXPECT_EQ(client.read_to_sync(), (Lines{"|/device/name=\"box\"", "sync"}));
  EXPECT_EQ(client.end(), "0 ");
}

}  // namespace
}  // namespace nexa_test
