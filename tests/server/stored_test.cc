// What clients see of the service and the real store together.
#include <atomic>

#include "google/rpc/status.pb.h"
#include "server/support/garbage.h"
#include "server/support/store_fixture.h"
#include "server/support/stream_client.h"

namespace nexa_test {
namespace stored_test {

using Stored = StoredServiceTest;

TEST_F(Stored, WhatWasSetIsRead) {
  ASSERT_EQ(
      update("/example-device:device", R"({"name":"box","port":[{"name":"a","speed":"10"}]})"),
      "0 ");
  EXPECT_EQ(read("/example-device:device/name"), "/example-device:device/name=\"box\"");
  EXPECT_EQ(read("/device/port[name=a]"),
            "/device/port[name=a]={\"example-device:name\":\"a\",\"example-device:speed\":\"10\"}");
}

TEST_F(Stored, DefaultsInUseAreRead) {
  ASSERT_EQ(update("/example-device:device/name", "\"box\""), "0 ");
  EXPECT_EQ(read("/device/location"), "/device/location=\"unknown\"");
}

TEST_F(Stored, JsonHasBareNames) {
  ASSERT_EQ(update("/example-device:device/port[name=a]/example-radio:radio/channel", "7"), "0 ");
  EXPECT_EQ(read("/device/port[name=a]/radio"),
            "/device/port[name=a]/radio={\"example-radio:channel\":7}");
  request.set_encoding(gnmi::JSON);
  EXPECT_EQ(read("/device/port[name=a]/radio"), "/device/port[name=a]/radio={\"channel\":7}");
}

TEST_F(Stored, WildcardsReadEveryMatch) {
  ASSERT_EQ(update("/example-device:device",
                   R"({"port":[{"name":"a","speed":"1"},{"name":"b","speed":"2"}]})"),
            "0 ");
  const std::string both = "/device/port[name=a]/speed=\"1\"\n/device/port[name=b]/speed=\"2\"";
  EXPECT_EQ(read("/device/port[name=*]/speed"), both);
  EXPECT_EQ(read("/device/port/speed"), both);
  EXPECT_EQ(read("/device/*/speed"), both);
}

TEST_F(Stored, NoDataAndNoSuchNodeAreToldApart) {
  EXPECT_EQ(read("/example-device:device/name"), "5 path[0] /example-device:device/name: no data");
  EXPECT_EQ(read("/device/port[name=*]"), "5 path[0] /device/port[name=*]: no data");
  const std::string rule = "no node \"nothing\" below \"/example-device:device\"";
  EXPECT_EQ(read("/example-device:device/nothing"),
            "12 path[0] /example-device:device/nothing: " + rule);
  EXPECT_EQ(update("/example-device:device/nothing", "1"),
            "5 update[0] of /example-device:device/nothing: " + rule);
}

TEST_F(Stored, DeletesTakeAbsentNodesWildcardsAndPartialKeys) {
  EXPECT_EQ(remove("/example-device:device/port[name=none]"), "0 ");
  ASSERT_EQ(update("/example-device:device/port[name=a]",
                   R"({"route":[{"prefix":"p","metric":1},{"prefix":"p","metric":2},
                                {"prefix":"q","metric":1}]})"),
            "0 ");
  ASSERT_EQ(remove("/device/port[name=a]/route[prefix=p]"), "0 ");
  EXPECT_EQ(read("/device/port[name=a]/route/prefix"),
            "/device/port[name=a]/route[metric=1][prefix=q]/prefix=\"q\"");
  ASSERT_EQ(remove("/device/*[name=a]"), "0 ");
  EXPECT_EQ(read("/device/port[name=a]").substr(0, 2), "5 ");
}

TEST_F(Stored, ReplacePrunesAndRestoresDefaultsUpdateNeverDeletes) {
  ASSERT_EQ(update("/example-device:device",
                   R"({"name":"box","location":"roof","port":[{"name":"a"},{"name":"b"}]})"),
            "0 ");
  ASSERT_EQ(update("/example-device:device", R"({"port":[{"name":"c"}]})"), "0 ");
  EXPECT_EQ(read("/device/location"), "/device/location=\"roof\"");
  EXPECT_EQ(read("/device/port/name"),
            "/device/port[name=a]/name=\"a\"\n/device/port[name=b]/name=\"b\"\n"
            "/device/port[name=c]/name=\"c\"");
  ASSERT_EQ(replace("/example-device:device", R"({"port":[{"name":"d"}]})"), "0 ");
  EXPECT_EQ(read("/device/port/name"), "/device/port[name=d]/name=\"d\"");
  EXPECT_EQ(read("/device/location"), "/device/location=\"unknown\"");
  EXPECT_EQ(read("/device/name").substr(0, 2), "5 ");
}

TEST_F(Stored, DeleteComesBeforeReplaceBeforeUpdate) {
  ASSERT_EQ(update("/example-device:device", R"({"name":"old","port":[{"name":"a"}]})"), "0 ");
  gnmi::SetRequest change;
  *change.add_update() = update_of("/example-device:device/name", "\"new\"");
  *change.add_replace() = update_of("/example-device:device", R"({"name":"middle"})");
  *change.add_delete_() = path_of("/example-device:device");
  ASSERT_EQ(apply(change), "0 ");
  EXPECT_EQ(read("/device/name"), "/device/name=\"new\"");
  EXPECT_EQ(read("/device/port[name=a]").substr(0, 2), "5 ");
}

TEST_F(Stored, NothingOfARefusedRequestRemains) {
  gnmi::SetRequest change;
  *change.add_update() = update_of("/example-device:device/name", "\"box\"");
  *change.add_update() = update_of("/example-device:device/uplink", "\"nowhere\"");
  const std::string verdict = apply(change);
  EXPECT_EQ(last_status.error_code(), grpc::StatusCode::FAILED_PRECONDITION);
  EXPECT_EQ(verdict.substr(0, 46), "9 update[1] of /example-device:device/uplink: ");
  EXPECT_NE(verdict.find("\"nowhere\""), std::string::npos) << verdict;
  EXPECT_NE(verdict.find("leafref"), std::string::npos) << verdict;
  google::rpc::Status details;
  ASSERT_TRUE(details.ParseFromString(last_status.error_details()));
  gnmi::UpdateResult blamed;
  ASSERT_EQ(details.details_size(), 1);
  ASSERT_TRUE(details.details(0).UnpackTo(&blamed));
  EXPECT_EQ(blamed.op(), gnmi::UpdateResult::UPDATE);
  EXPECT_EQ(read("/device/name").substr(0, 2), "5 ");
}

TEST_F(Stored, TheRootIsReplacedAndDeleted) {
  ASSERT_EQ(update("/example-device:device/name", "\"box\""), "0 ");
  ASSERT_EQ(replace("/", R"({"example-device:services":{"ntp":true}})"), "0 ");
  EXPECT_EQ(read("/device/name").substr(0, 2), "5 ");
  EXPECT_EQ(read("/services/ntp"), "/services/ntp=true");
  ASSERT_EQ(remove("/"), "0 ");
  EXPECT_EQ(read("/services/ntp").substr(0, 2), "5 ");
}

TEST_F(Stored, StreamsSeeCommitsAndWhatIsGone) {
  ASSERT_EQ(update("/example-device:device", R"({"port":[{"name":"a","speed":"1"}]})"), "0 ");
  StreamClient client(stub(), watch({"/device/port[name=*]/speed"}, 50));
  EXPECT_EQ(client.read_to_sync(),
            (std::vector<std::string>{"|/device/port[name=a]/speed=\"1\"", "sync"}));
  ASSERT_EQ(update("/example-device:device/port[name=a]/speed", "\"2\""), "0 ");
  std::string line = client.next();
  while (line == "|/device/port[name=a]/speed=\"1\"") line = client.next();
  EXPECT_EQ(line, "|/device/port[name=a]/speed=\"2\"");
  ASSERT_EQ(remove("/device/port[name=a]"), "0 ");
  while (line == "|/device/port[name=a]/speed=\"2\"") line = client.next();
  EXPECT_EQ(line, "|-/device/port[name=a]/speed");
}

TEST_F(Stored, StreamsOfTheWholeTreeGiveLeaves) {
  ASSERT_EQ(update("/example-device:device", R"({"name":"box","search":["x","y"]})"), "0 ");
  StreamClient client(stub(), watch({"/"}, 60000));
  EXPECT_EQ(client.read_to_sync().size(), 2U);
  StreamClient leaf_list(stub(), watch({"/device/search"}, 60000));
  EXPECT_EQ(leaf_list.next(), "|/device/search=[\"x\",\"y\"]");
}

// Events of the example device, as XML.
class Events : public nexa::state::StateProvider {
 public:
  std::string_view name() const override { return "events"; }
  std::string_view module() const override { return "example-device"; }
  void append_xml(std::string& xml) override {
    xml += "<device xmlns=\"urn:example:device\"><event><at>" + std::to_string(at) +
           "</at></event></device>";
  }
  std::atomic<int> at{1};
};

class StoredState : public StoredServiceTest {
 protected:
  void SetUp() override {
    providers = {&events};
    StoredServiceTest::SetUp();
  }
  Events events;
};

TEST_F(StoredState, StandsBesideTheConfiguration) {
  ASSERT_EQ(update("/example-device:device/name", "\"box\""), "0 ");
  const std::string both = read("/example-device:device");
  EXPECT_NE(both.find("\"example-device:event\":[{\"at\":\"1\"}]"), std::string::npos) << both;
  EXPECT_NE(both.find("\"example-device:name\":\"box\""), std::string::npos) << both;
  request.set_type(gnmi::GetRequest::STATE);
  EXPECT_EQ(read("/example-device:device"),
            "/example-device:device={\"example-device:event\":[{\"at\":\"1\"}]}");
  request.set_type(gnmi::GetRequest::CONFIG);
  EXPECT_EQ(read("/example-device:device").find("event"), std::string::npos);
  EXPECT_EQ(read("/example-device:device/event").substr(0, 2), "5 ");
}

TEST_F(StoredState, ShowsLiveOnStreams) {
  StreamClient client(stub(), watch({"/device/event/at"}, 50));
  const std::string first = client.next();
  EXPECT_NE(first.find("=\"1\""), std::string::npos) << first;
  events.at = 2;
  std::string line = first;
  while (line == first || line == "sync") line = client.next();
  EXPECT_NE(line.find("=\"2\""), std::string::npos) << line;
}

TEST_F(Stored, ARestartKeepsWhatWasAnswered) {
  ASSERT_EQ(update("/example-device:device/name", "\"box\""), "0 ");
  stop();
  real_store.reset();
  open_store();
  EXPECT_EQ(read("/device/name"), "/device/name=\"box\"");
}

TEST_F(Stored, GarbageIsAnsweredAndTheStoreStaysWhole) {
  ASSERT_EQ(update("/example-device:services/ntp", "true"), "0 ");
  Garbage garbage(42);
  for (int turn = 0; turn < 1000; ++turn) {
    gnmi::GetResponse got;
    const grpc::Status read_status = get(garbage.get(), got);
    gnmi::SetResponse changed;
    const grpc::Status written = set(garbage.set(), changed);
    for (const grpc::Status& status : {read_status, written}) {
      EXPECT_NE(status.error_code(), grpc::StatusCode::INTERNAL) << shown(status);
      EXPECT_NE(status.error_code(), grpc::StatusCode::UNKNOWN) << shown(status);
      EXPECT_NE(status.error_code(), grpc::StatusCode::UNAVAILABLE) << shown(status);
    }
    if (turn % 10 != 0) continue;
    StreamClient client(stub(), garbage.subscribe());
    client.next();
  }
  EXPECT_EQ(recorder.faults(), std::vector<std::string>());
  const std::string before = real_store->snapshot()->xml();
  stop();
  real_store.reset();
  open_store();
  EXPECT_EQ(real_store->snapshot()->xml(), before);
}

}  // namespace stored_test
}  // namespace nexa_test
