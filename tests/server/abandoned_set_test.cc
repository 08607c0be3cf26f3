// A Set that nobody waits for any more ends early: its client has gone, or the server goes.
#include <atomic>
#include <thread>

#include "server/support/service_fixture.h"

namespace nexa_test {
namespace {

class AbandonedSet : public ServiceTest {
 protected:
  void SetUp() override {
    store.put("/device/name", "\"old\"");
    // A commit that goes on until it is told that nobody waits for it.
    store.on_commit = [this](const nexa::store::CommitRequest& request) {
      nexa::store::CommitResult result;
      begun = true;
      const bool told = eventually([&request] { return request.abandoned(); });
      result.status = told ? grpc::Status(grpc::StatusCode::CANCELLED, "abandoned")
                           : grpc::Status(grpc::StatusCode::INTERNAL, "never told");
      return result;
    };
  }

  grpc::Status call(std::chrono::milliseconds limit) {
    grpc::ClientContext context;
    context.set_deadline(std::chrono::system_clock::now() + limit);
    gnmi::SetRequest request;
    *request.add_update() = update_of("/example-device:device/name", "\"box\"");
    gnmi::SetResponse response;
    return stub().Set(&context, request, &response);
  }

  std::atomic<bool> begun{false};
};

TEST_F(AbandonedSet, EndsWithItsClient) {
  start();
  EXPECT_EQ(call(std::chrono::milliseconds(200)).error_code(), grpc::StatusCode::DEADLINE_EXCEEDED);
  ASSERT_TRUE(eventually([this] { return recorder.audit_lines().size() == 1; }));
  EXPECT_NE(recorder.audit_lines().front().find(
                "verdict=CANCELLED reason=\"The call was cancelled before it was served\""),
            std::string::npos)
      << recorder.audit_lines().front();
}

TEST_F(AbandonedSet, EndsWithTheServer) {
  start();
  std::string verdict;
  std::thread client([&] { verdict = shown(call(std::chrono::seconds(60))); });
  EXPECT_TRUE(eventually([this] { return begun.load(); }));
  service->shutdown();
  client.join();
  EXPECT_EQ(verdict, "14 The server is shutting down");
}

}  // namespace
}  // namespace nexa_test
