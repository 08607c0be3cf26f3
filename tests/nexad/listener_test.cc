// The accept loop: every family, the limit on connections, and life after the descriptors ran out.
#include "listener.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <new>
#include <optional>
#include <thread>
#include <vector>

#include "raw_client.h"
#include "support/emulated.h"
#include "support/results.h"

namespace {

using namespace nexad;
using namespace std::chrono_literals;
using nexa_test::line_of;
using nexa_test::value_of;
using nexad_test::RawClient;

bool becomes_true(const std::function<bool()>& condition) {
  for (int i = 0; i < 500; ++i) {
    if (condition()) return true;
    std::this_thread::sleep_for(10ms);
  }
  return false;
}

// A listener whose connections are kept, as gRPC would.
class Held {
 public:
  explicit Held(const char* address, std::size_t limit = 100) {
    ListeningSockets sockets = value_of(open_listening_sockets(*parse_address(address)));
    ConnectionLimits limits;
    limits.of_all = limit;
    table_ = std::make_shared<Connections>(limits);
    listener_.emplace(std::move(sockets), table_, [this](int, int connection) {
      const std::lock_guard lock(mutex_);
      connections_.emplace_back(connection);
    });
    EXPECT_TRUE(listener_->start());
  }

  Listener& operator*() { return *listener_; }
  Listener* operator->() { return &*listener_; }
  Connections& table() { return *table_; }
  void close_all() {
    const std::lock_guard lock(mutex_);
    connections_.clear();
  }

 private:
  std::mutex mutex_;
  std::vector<Socket> connections_;
  std::shared_ptr<Connections> table_;
  std::optional<Listener> listener_;
};

TEST(OpenListeningSockets, FindsAFreePortForPortZero) {
  const auto sockets = value_of(open_listening_sockets(*parse_address("127.0.0.1:0")));
  ASSERT_EQ(sockets.sockets.size(), 1U);
  EXPECT_NE(sockets.address.port, 0);
  EXPECT_NE(fcntl(sockets.sockets[0].get(), F_GETFD) & FD_CLOEXEC, 0);
}

TEST(OpenListeningSockets, SaysWhyAnAddressCannotBeHad) {
  const auto first = value_of(open_listening_sockets(*parse_address("127.0.0.1:0")));
  EXPECT_EQ(line_of(open_listening_sockets(first.address)),
            first.address.text() + ": Address already in use");
  EXPECT_EQ(line_of(open_listening_sockets(*parse_address("192.0.2.1:0"))),
            "192.0.2.1:0: Cannot assign requested address");
}

TEST(Listener, GoesOnWhenThereIsNoMemoryForAConnection) {
  ListeningSockets sockets = value_of(open_listening_sockets(*parse_address("127.0.0.1:0")));
  std::atomic<int> asked = 0;
  Listener listener(std::move(sockets), std::make_shared<Connections>(ConnectionLimits()),
                    [&asked](int, int connection) {
                      const Socket taken(connection);
                      if (++asked < 3) throw std::bad_alloc();
                    });
  ASSERT_TRUE(listener.start());
  for (int wanted = 1; wanted <= 3; ++wanted) {
    const RawClient client(listener.address());
    EXPECT_TRUE(becomes_true([&] { return asked == wanted; }));
  }
  EXPECT_TRUE(becomes_true([&] { return listener.counts().no_resource == 2; }));
}

TEST(Listener, ServesBothFamiliesOnOnePort) {
  Held held(":0");
  const RawClient four({"127.0.0.1", held->address().port});
  EXPECT_TRUE(becomes_true([&] { return held.table().counts().open == 1; }));
  if (access("/proc/net/if_inet6", R_OK) != 0) GTEST_SKIP() << "the machine has no IPv6";
  const RawClient six({"::1", held->address().port});
  EXPECT_TRUE(becomes_true([&] { return held.table().counts().open == 2; }));
}

TEST(Listener, ServesEveryAddressOfAName) {
  Held held("localhost:0");
  const RawClient client({"127.0.0.1", held->address().port});
  EXPECT_TRUE(becomes_true([&] { return held.table().counts().open == 1; }));
}

TEST(Listener, TheOldestIdleOneGivesWay) {
  Held held("127.0.0.1:0", 2);
  const RawClient first(held->address());
  const RawClient second(held->address());
  EXPECT_TRUE(becomes_true([&] { return held->counts().accepted == 2; }));
  const RawClient third(held->address());
  EXPECT_TRUE(first.is_closed_within(5s));
  EXPECT_FALSE(second.is_closed_within(50ms));
  EXPECT_FALSE(third.is_closed_within(50ms));
  EXPECT_EQ(held.table().counts().gave_way, 1U);
  EXPECT_EQ(held->counts().over_limit, 0U);
  held.close_all();
  EXPECT_EQ(held.table().counts().open, 0U);
}

TEST(Listener, MakesRoomByItselfWhenConnectionsEnded) {
  Held held("127.0.0.1:0", 1);
  {
    const RawClient first(held->address());
    ASSERT_TRUE(becomes_true([&] { return held.table().counts().open == 1; }));
  }
  held.close_all();
  std::vector<RawClient> clients;
  EXPECT_TRUE(becomes_true([&] {
    clients.emplace_back(held->address());
    return !clients.back().is_closed_within(20ms);
  }));
}

TEST(Listener, CountsConnectionsByWhatIsOpenNotByDescriptor) {
  Held held("127.0.0.1:0");
  const RawClient first(held->address());
  ASSERT_TRUE(becomes_true([&] { return held.table().counts().open == 1; }));
  held.close_all();
  const Socket another(open("/dev/null", O_RDONLY | O_CLOEXEC));
  const Socket more(open("/dev/null", O_RDONLY | O_CLOEXEC));
  EXPECT_EQ(held.table().counts().open, 0U);
}

TEST(Listener, StopsAndRefusesAfterwards) {
  Held held("127.0.0.1:0");
  held->stop();
  EXPECT_EQ(line_of(open_listening_sockets(held->address())), "");
}

// Runs in a process of its own, which has hardly any descriptors left. Its exit status is the step
// that failed.
int accept_with_exhausted_descriptors() {
  Held held("127.0.0.1:0");
  std::optional<RawClient> early(held->address());
  if (!becomes_true([&] { return held.table().counts().open == 1; })) return 1;
  std::vector<RawClient> waiting;
  std::vector<Socket> hoard;
  const rlimit few{64, 64};
  if (setrlimit(RLIMIT_NOFILE, &few) != 0) return 2;
  for (int fd = 0; (fd = open("/dev/null", O_RDONLY)) >= 0;) hoard.emplace_back(fd);
  hoard.pop_back();
  waiting.emplace_back(held->address());  // takes the last one
  if (!waiting.back().is_closed_within(5s)) return 3;
  if (held->counts().no_resource == 0) return 4;
  hoard.clear();
  const RawClient late(held->address());
  if (!becomes_true([&] { return held->counts().accepted == 2; })) return 5;
  return late.is_closed_within(50ms) ? 6 : 0;
}

TEST(Listener, AcceptsAgainAfterDescriptorsRanOut) {
  NEXA_SKIP_IF_EMULATED(nexa_test::kNoSecondStart);
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(_exit(accept_with_exhausted_descriptors()), testing::ExitedWithCode(0), "");
}

}  // namespace
