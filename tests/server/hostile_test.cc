// Does any request bring the server down? Garbage with a fixed seed, and requests at the limits.
#include <random>

#include "server/support/garbage.h"
#include "server/support/service_fixture.h"
#include "server/support/stream_client.h"

namespace nexa_test {
namespace {

class Hostile : public ServiceTest {
 protected:
  void SetUp() override {
    store.put("/device/name", "\"box\"");
    store.put("/device/port[name=a]/speed", "\"1\"");
    options.limits.min_sample_interval = std::chrono::milliseconds(20);
  }

  void expect_alive() {
    gnmi::GetRequest request;
    *request.add_path() = path_of("/device/name");
    gnmi::GetResponse response;
    EXPECT_EQ(shown(get(request, response)), "0 ");
    EXPECT_EQ(recorder.faults(), std::vector<std::string>());
  }
};

TEST_F(Hostile, GarbageIsAnswered) {
  start();
  Garbage garbage(20261121);
  int refused = 0;
  for (int turn = 0; turn < 1500; ++turn) {
    gnmi::GetResponse got;
    const grpc::Status read = get(garbage.get(), got);
    gnmi::SetResponse changed;
    const grpc::Status written = set(garbage.set(), changed);
    for (const grpc::Status& status : {read, written}) {
      if (!status.ok()) ++refused;
      EXPECT_NE(status.error_code(), grpc::StatusCode::INTERNAL) << shown(status);
      EXPECT_NE(status.error_code(), grpc::StatusCode::UNKNOWN) << shown(status);
      EXPECT_NE(status.error_code(), grpc::StatusCode::UNAVAILABLE) << shown(status);
    }
  }
  EXPECT_GT(refused, 1000);
  expect_alive();
}

TEST_F(Hostile, GarbageOnStreamsIsAnswered) {
  start();
  Garbage garbage(7);
  int accepted = 0;
  for (int turn = 0; turn < 500; ++turn) {
    StreamClient client(stub(), garbage.subscribe());
    if (garbage.below(2) == 0) client.half_close();
    if (garbage.below(3) == 0) client.write(garbage.subscribe());
    if (client.next() != "end") ++accepted;
  }
  EXPECT_GT(accepted, 10);
  EXPECT_TRUE(eventually([this] { return recorder.open_streams() == 0; }));
  expect_alive();
}

TEST_F(Hostile, BytesThatAreNoMessageAreRefused) {
  options.profile = nexa::profile::Profile::kDevice;  // the empty request is refused there
  start();
  std::mt19937 random(3);
  for (int turn = 0; turn < 300; ++turn) {
    gnmi::GetRequest request;
    std::string bytes;
    for (auto count = random() % 60; count > 0; --count) {
      bytes.push_back(static_cast<char>(random() % 256));
    }
    // Fields that the message does not have travel as they are.
    request.GetReflection()->MutableUnknownFields(&request)->AddLengthDelimited(100, bytes);
    gnmi::GetResponse response;
    EXPECT_EQ(get(request, response).error_code(), grpc::StatusCode::INVALID_ARGUMENT);
  }
  expect_alive();
}

TEST_F(Hostile, AHundredThousandOperationsAreOneCommit) {
  start();
  gnmi::SetRequest request;
  for (int index = 0; index < 100000; ++index) *request.add_delete_() = path_of("/device/name");
  gnmi::SetResponse response;
  EXPECT_EQ(shown(set(request, response)), "0 ");
  EXPECT_EQ(response.response_size(), 100000);
  EXPECT_EQ(store.commits().size(), 1U);
  *request.add_delete_() = path_of("/device/name");
  EXPECT_EQ(shown(set(request, response)),
            "3 100001 operations in one request, at most 100000 are taken");
  EXPECT_LT(recorder.audit_lines().front().size(), 1000U);
}

TEST_F(Hostile, AMessageBeyondTheLimitIsRefused) {
  max_receive_bytes = 1 << 20;
  start();
  gnmi::SetRequest request;
  *request.add_update() =
      update_of("/example-device:device/name", "\"" + std::string(2 << 20, 'x') + "\"");
  gnmi::SetResponse response;
  EXPECT_EQ(set(request, response).error_code(), grpc::StatusCode::RESOURCE_EXHAUSTED);
  expect_alive();
}

TEST_F(Hostile, APathOfManyElementsIsRefusedWithAShortText) {
  start();
  gnmi::SetRequest request;
  gnmi::Path& path = *request.add_delete_();
  for (int index = 0; index < 50000; ++index) path.add_elem()->set_name("device");
  gnmi::SetResponse response;
  const grpc::Status status = set(request, response);
  EXPECT_EQ(status.error_code(), grpc::StatusCode::NOT_FOUND);
  EXPECT_LT(status.error_message().size(), 500U);
  EXPECT_LT(status.error_details().size(), 1500U);
  expect_alive();
}

}  // namespace
}  // namespace nexa_test
