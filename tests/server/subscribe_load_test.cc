// What do many streams cost, and what does one that does not read do to the others?
#include <filesystem>
#include <thread>

#include "server/support/service_fixture.h"
#include "server/support/stream_client.h"

namespace nexa_test {
namespace {

using std::chrono::milliseconds;

class SubscribeLoad : public ServiceTest {
 protected:
  void SetUp() override { options.limits.min_sample_interval = milliseconds(20); }

  // `count` leaves of `bytes` each below /device/port.
  void fill(int count, std::size_t bytes) {
    for (int index = 0; index < count; ++index) {
      store.put("/device/port[name=" + std::to_string(index) + "]/tag",
                "\"" + std::string(bytes, 'x') + "\"");
    }
    store.put("/device/name", "\"box\"");
  }
};

TEST_F(SubscribeLoad, AClientThatDoesNotReadIsEndedOthersGoOn) {
  fill(100, 2000);
  options.limits.stream_queue_bytes = 1 << 20;
  start();
  const auto slow_stub = gnmi::gNMI::NewStub(new_channel());
  StreamClient slow(*slow_stub, watch({"/device/port"}, 20));
  StreamClient other(stub(), watch({"/device/name"}, 20));
  ASSERT_EQ(other.read_to_sync().back(), "sync");
  int rounds = 0;
  while (recorder.overflows() == 0) {
    ASSERT_EQ(other.next(), "|/device/name=\"box\"");
    ASSERT_LT(++rounds, 900);
  }
  for (int more = 0; more < 10; ++more) ASSERT_EQ(other.next(), "|/device/name=\"box\"");
  // The text waits behind what was sent; a client that reads at last gets it.
  EXPECT_EQ(slow.end(), "8 The client does not read fast enough, the stream's queue is full");
  EXPECT_EQ(recorder.overflows(), 1);
}

TEST_F(SubscribeLoad, ManyThatDoNotReadHaveOneLimitAndOneThatReadsGoesOn) {
  fill(100, 2000);
  options.limits.stream_queue_bytes = 64 << 20;
  options.limits.unread_stream_bytes = 4 << 20;
  start();
  std::vector<std::unique_ptr<gnmi::gNMI::Stub>> stubs;
  std::vector<std::unique_ptr<StreamClient>> slow;
  for (int index = 0; index < 4; ++index) {
    stubs.push_back(gnmi::gNMI::NewStub(new_channel()));
    slow.push_back(std::make_unique<StreamClient>(*stubs.back(), watch({"/device/port"}, 20)));
  }
  StreamClient other(stub(), watch({"/device/name"}, 20));
  ASSERT_EQ(other.read_to_sync().back(), "sync");
  int rounds = 0;
  while (recorder.overflows() == 0) {
    ASSERT_EQ(other.next(), "|/device/name=\"box\"");
    ASSERT_LT(++rounds, 900);
  }
  for (int more = 0; more < 10; ++more) ASSERT_EQ(other.next(), "|/device/name=\"box\"");
  slow.clear();
  // What they had is given back: one alone may have as much as the sum.
  ASSERT_TRUE(eventually([this] { return recorder.open_streams() == 1; }));
  StreamClient later(stub(), watch({"/device/port"}, 60000));
  EXPECT_EQ(later.read_to_sync().back(), "sync");
}

TEST_F(SubscribeLoad, AnEndedClientThatNeverReadsIsForgotten) {
  fill(100, 2000);
  options.limits.stream_queue_bytes = 1 << 20;
  start();
  StreamClient slow(stub(), watch({"/device/port"}, 20));
  ASSERT_TRUE(eventually([this] { return recorder.overflows() == 1; }));
  EXPECT_TRUE(eventually([this] { return recorder.open_streams() == 0; }));
}

TEST_F(SubscribeLoad, AClientThatStopsInALargeRoundIsEnded) {
  fill(400, 50000);
  options.limits.stream_queue_bytes = 1 << 20;
  start();
  StreamClient stopped(stub(), watch({"/device/port"}, 60000));
  ASSERT_TRUE(eventually([this] { return recorder.overflows() == 1; }));
  EXPECT_EQ(stopped.end(), "8 The client does not read fast enough, the stream's queue is full");
}

TEST_F(SubscribeLoad, ARoundLargerThanTheQueueReachesAClientThatReads) {
  fill(400, 1000);
  options.limits.stream_queue_bytes = 40000;
  start();
  StreamClient client(stub(), watch({"/device"}, 500));
  int leaves = 0;
  for (std::string line = client.next(); line != "sync"; line = client.next()) {
    ASSERT_NE(line, "end");
    leaves += client.last().update().update_size();
  }
  EXPECT_EQ(leaves, 401);
  leaves = 0;
  store.remove("/device/port[name=7]/tag");
  while (leaves < 400) {
    ASSERT_NE(client.next(), "end");
    leaves += client.last().update().update_size();
  }
  EXPECT_EQ(leaves, 400);
  EXPECT_EQ(recorder.overflows(), 0);
}

TEST_F(SubscribeLoad, AThousandStreamsOpenAndCloseWithoutThreadsOfTheirOwn) {
  fill(1, 10);
  start();
  StreamClient first(stub(), watch({"/device/name"}, 60000));
  ASSERT_EQ(first.read_to_sync().back(), "sync");
  const auto threads = [] {
    const std::filesystem::directory_iterator tasks("/proc/self/task");
    return std::distance(begin(tasks), end(tasks));
  };
  const auto before = threads();
  for (int turn = 0; turn < 2; ++turn) {
    std::vector<std::unique_ptr<StreamClient>> clients;
    for (int index = 0; index < 1000; ++index) {
      clients.push_back(std::make_unique<StreamClient>(stub(), watch({"/device/name"}, 60000)));
    }
    for (const auto& client : clients) ASSERT_EQ(client->read_to_sync().size(), 2U);
    EXPECT_EQ(recorder.open_streams(), 1001);
    EXPECT_LE(threads(), before + 20);
    clients.clear();
    EXPECT_TRUE(eventually([this] { return recorder.open_streams() == 1; }));
  }
}

TEST_F(SubscribeLoad, ShutdownEndsTheStreams) {
  fill(1, 10);
  start();
  StreamClient client(stub(), watch({"/device/name"}, 60000));
  ASSERT_EQ(client.read_to_sync().back(), "sync");
  service->shutdown();
  EXPECT_EQ(client.end(), "14 The server is shutting down");
  EXPECT_EQ(StreamClient(stub(), watch({"/device/name"}, 60000)).end(),
            "14 The server is shutting down");
}

TEST_F(SubscribeLoad, AFaultOfTheStoreEndsTheStreamOnly) {
  fill(1, 10);
  std::atomic<bool> failing{false};
  store.on_read = [&failing] {
    if (failing) throw std::runtime_error("no memory");
  };
  start();
  StreamClient client(stub(), watch({"/device/name"}, 20));
  ASSERT_EQ(client.read_to_sync().back(), "sync");
  failing = true;
  EXPECT_EQ(client.end(), "13 The server failed to serve the call");
  failing = false;
  EXPECT_EQ(recorder.faults(), std::vector<std::string>{"Subscribe failed: no memory"});
  StreamClient next(stub(), watch({"/device/name"}, 20));
  EXPECT_EQ(next.read_to_sync().back(), "sync");
}

}  // namespace
}  // namespace nexa_test
