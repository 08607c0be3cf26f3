// Who waits for whom? A commit that takes its time holds up other commits and nothing else.
#include <atomic>
#include <condition_variable>
#include <thread>

#include "server/support/service_fixture.h"
#include "server/support/stream_client.h"

namespace nexa_test {
namespace {

// A door that calls wait at until it is opened.
class Door {
 public:
  void open() {
    const std::lock_guard<std::mutex> lock(mutex_);
    open_ = true;
    changed_.notify_all();
  }
  void pass() {
    std::unique_lock<std::mutex> lock(mutex_);
    ++arrived_;
    changed_.notify_all();
    changed_.wait(lock, [this] { return open_; });
  }
  void await_arrival() {
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait(lock, [this] { return arrived_ > 0; });
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  bool open_ = false;
  int arrived_ = 0;
};

class Concurrency : public ServiceTest {
 protected:
  void SetUp() override {
    store.put("/device/name", "\"box\"");
    approve = [this](const nexa::store::Change&) {
      door.pass();
      return grpc::Status::OK;
    };
  }
  void TearDown() override {
    door.open();
    for (std::thread& thread : threads) thread.join();
    ServiceTest::TearDown();
  }

  // Starts a Set; its verdict appears in `verdicts`.
  void begin_set(const std::string& name,
                 std::chrono::milliseconds limit = std::chrono::seconds(20)) {
    threads.emplace_back([this, name, limit] {
      grpc::ClientContext context;
      context.set_deadline(std::chrono::system_clock::now() + limit);
      gnmi::SetRequest request;
      *request.add_update() = update_of("/example-device:device/name", "\"" + name + "\"");
      gnmi::SetResponse response;
      const std::string verdict = name + " " + shown(stub().Set(&context, request, &response));
      const std::lock_guard<std::mutex> lock(mutex);
      verdicts.push_back(verdict);
    });
  }

  std::vector<std::string> all_verdicts() {
    const std::lock_guard<std::mutex> lock(mutex);
    return verdicts;
  }

  Door door;
  std::mutex mutex;
  std::vector<std::string> verdicts;
  std::vector<std::thread> threads;
};

TEST_F(Concurrency, ReadersGoOnWhileAHookIsBusy) {
  start();
  begin_set("first");
  door.await_arrival();
  gnmi::GetRequest request;
  *request.add_path() = path_of("/device/name");
  gnmi::GetResponse response;
  for (int turn = 0; turn < 10; ++turn) EXPECT_EQ(shown(get(request, response)), "0 ");
  StreamClient client(stub(), watch({"/device/name"}, 50));
  EXPECT_EQ(client.read_to_sync().size(), 2U);
  EXPECT_TRUE(all_verdicts().empty());
  door.open();
  EXPECT_TRUE(eventually([this] { return all_verdicts().size() == 1; }));
  EXPECT_EQ(all_verdicts(), std::vector<std::string>{"first 0 "});
}

TEST_F(Concurrency, MoreSetsThanMayWaitAreRefused) {
  options.limits.pending_sets = 2;
  start();
  begin_set("first");
  door.await_arrival();
  for (int index = 0; index < 5; ++index) begin_set("more");
  ASSERT_TRUE(eventually([this] { return all_verdicts().size() == 3; }));
  for (const std::string& verdict : all_verdicts()) {
    EXPECT_EQ(verdict, "more 8 Too many Set requests are waiting");
  }
  door.open();
  ASSERT_TRUE(eventually([this] { return all_verdicts().size() == 6; }));
  EXPECT_EQ(store.commits().size(), 3U);
}

TEST_F(Concurrency, ASetThatWasCancelledWhileItWaitedIsNotApplied) {
  start();
  begin_set("first");
  door.await_arrival();
  begin_set("late", std::chrono::milliseconds(100));
  ASSERT_TRUE(eventually([this] { return all_verdicts().size() == 1; }));
  EXPECT_EQ(all_verdicts().front().substr(0, 6), "late 4");
  // What is answered now came after the cancellation, on the same connection.
  grpc::ClientContext context;
  gnmi::CapabilityResponse models;
  EXPECT_TRUE(stub().Capabilities(&context, gnmi::CapabilityRequest(), &models).ok());
  door.open();
  ASSERT_TRUE(eventually([this] { return recorder.audit_lines().size() == 2; }));
  EXPECT_EQ(store.commits().size(), 1U);
  EXPECT_NE(recorder.audit_lines().back().find(
                "verdict=CANCELLED reason=\"The call was cancelled before it was served\""),
            std::string::npos);
}

TEST_F(Concurrency, ShutdownFinishesTheCommitInHandAndRefusesTheRest) {
  start();
  begin_set("first");
  door.await_arrival();
  begin_set("second");
  std::thread stopping([this] { service->shutdown(); });
  ASSERT_TRUE(eventually([this] {
    gnmi::GetRequest request;
    gnmi::GetResponse response;
    return get(request, response).error_code() == grpc::StatusCode::UNAVAILABLE;
  }));
  door.open();
  stopping.join();
  ASSERT_TRUE(eventually([this] { return all_verdicts().size() == 2; }));
  std::vector<std::string> sorted = all_verdicts();
  std::sort(sorted.begin(), sorted.end());
  EXPECT_EQ(sorted,
            (std::vector<std::string>{"first 0 ", "second 14 The server is shutting down"}));
  EXPECT_EQ(store.commits().size(), 1U);
}

TEST_F(Concurrency, LoginsThatTakeTheirTimeHoldUpNoOthers) {
  std::atomic<int> calls{0};
  access.before_authenticate = [this, &calls] {
    if (++calls == 1) door.pass();
  };
  start();
  std::thread login([this] {
    grpc::ClientContext context;
    context.AddMetadata("username", "alice");
    context.AddMetadata("password", "guess");
    gnmi::CapabilityResponse response;
    EXPECT_EQ(shown(stub().Capabilities(&context, gnmi::CapabilityRequest(), &response)), "0 ");
  });
  door.await_arrival();
  gnmi::GetRequest request;
  *request.add_path() = path_of("/device/name");
  gnmi::GetResponse response;
  for (int turn = 0; turn < 10; ++turn) EXPECT_EQ(shown(get(request, response)), "0 ");
  door.open();
  login.join();
}

TEST_F(Concurrency, NobodyIsJudgedWhoHasGone) {
  std::atomic<int> calls{0};
  access.before_authenticate = [this, &calls] {
    if (++calls <= 2) door.pass();
  };
  start();
  const auto login = [this](std::chrono::milliseconds limit) {
    grpc::ClientContext context;
    context.AddMetadata("username", "alice");
    context.AddMetadata("password", "guess");
    context.set_deadline(std::chrono::system_clock::now() + limit);
    gnmi::CapabilityResponse response;
    return stub().Capabilities(&context, gnmi::CapabilityRequest(), &response).error_code();
  };
  for (int turn = 0; turn < 2; ++turn) {
    threads.emplace_back([=] { EXPECT_EQ(login(std::chrono::seconds(20)), grpc::StatusCode::OK); });
  }
  ASSERT_TRUE(eventually([&] { return calls == 2; }));
  for (int turn = 0; turn < 5; ++turn) {
    EXPECT_EQ(login(std::chrono::milliseconds(30)), grpc::StatusCode::DEADLINE_EXCEEDED);
  }
  // The server hears of a deadline a little later than the client.
  std::this_thread::sleep_for(std::chrono::milliseconds(100));
  door.open();
  ASSERT_TRUE(eventually([&] { return recorder.calls().size() == 7; }));
  EXPECT_EQ(calls, 2);
}

TEST_F(Concurrency, StreamsDoNotWaitForTheSerialisationOfAGet) {
  options.workers = 1;
  std::atomic<int> reads{0};
  store.on_read = [this, &reads] {
    if (++reads == 1) door.pass();
  };
  start();
  threads.emplace_back([this] {
    gnmi::GetRequest request;
    *request.add_path() = path_of("/device/name");
    gnmi::GetResponse response;
    EXPECT_EQ(shown(get(request, response)), "0 ");
  });
  door.await_arrival();
  StreamClient client(stub(), watch({"/device/name"}, 50));
  EXPECT_EQ(client.read_to_sync().size(), 2U);
}

TEST_F(Concurrency, ManyCallsAtATimeAllGetTheirAnswer) {
  door.open();
  start();
  std::vector<std::thread> clients;
  std::atomic<int> answered{0};
  for (int index = 0; index < 8; ++index) {
    clients.emplace_back([this, &answered] {
      const auto own = gnmi::gNMI::NewStub(new_channel());
      for (int turn = 0; turn < 25; ++turn) {
        grpc::ClientContext context;
        grpc::ClientContext other;
        gnmi::GetRequest request;
        *request.add_path() = path_of("/device/name");
        gnmi::GetResponse got;
        gnmi::SetRequest change;
        *change.add_update() = update_of("/example-device:device/name", "\"x\"");
        gnmi::SetResponse changed;
        if (own->Get(&context, request, &got).ok()) ++answered;
        if (own->Set(&other, change, &changed).ok()) ++answered;
      }
    });
  }
  for (std::thread& client : clients) client.join();
  EXPECT_EQ(answered, 400);
  EXPECT_EQ(store.commits().size(), 200U);
  EXPECT_EQ(recorder.audit_lines().size(), 200U);
}

}  // namespace
}  // namespace nexa_test
