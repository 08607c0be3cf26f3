// Who may have how many connections, which one gives way, and which one has sent too much.
#include "connections.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "sockets.h"
#include "support/emulated.h"
#include "support/results.h"

namespace {

using namespace nexad;
using namespace std::chrono_literals;

// Both ends of a connection, the client's from an address of its choice.
class Pair {
 public:
  Pair(const Socket& listening, std::uint16_t port, const char* from = "127.0.0.1")
      : client_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address = address_of(from, 0);
    EXPECT_EQ(bind(client_.get(), reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    socklen_t size = sizeof address;
    getsockname(client_.get(), reinterpret_cast<sockaddr*>(&address), &size);
    peer_ = std::string("ipv4:") + from + ":" + std::to_string(ntohs(address.sin_port));
    sockaddr_in target = address_of("127.0.0.1", port);
    EXPECT_EQ(connect(client_.get(), reinterpret_cast<sockaddr*>(&target), sizeof target), 0);
    server_ = Socket(accept4(listening.get(), nullptr, nullptr, SOCK_CLOEXEC));
    EXPECT_GE(server_.get(), 0);
  }

  int descriptor() const { return server_.get(); }
  const std::string& peer() const { return peer_; }
  void close() { server_ = Socket(); }

  // What the server reads at once, so that nothing is in the way of more.
  void send(std::size_t bytes) {
    std::vector<char> block(65536, 'x');
    while (bytes > 0) {
      const std::size_t part = std::min(bytes, block.size());
      ASSERT_EQ(::send(client_.get(), block.data(), part, MSG_NOSIGNAL),
                static_cast<ssize_t>(part));
      ASSERT_EQ(recv(server_.get(), block.data(), part, MSG_WAITALL), static_cast<ssize_t>(part));
      bytes -= part;
    }
  }

  // Whether the server ended it, with everything read or at once.
  bool is_shut() const {
    char byte = 0;
    return recv(client_.get(), &byte, 1, MSG_DONTWAIT) == 0 || errno == ECONNRESET;
  }

 private:
  static sockaddr_in address_of(const char* host, std::uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    EXPECT_EQ(inet_pton(AF_INET, host, &address.sin_addr), 1);
    return address;
  }

  Socket client_;
  Socket server_;
  std::string peer_;
};

class ConnectionsTest : public testing::Test {
 protected:
  ConnectionsTest() {
    sockets_ = nexa_test::value_of(open_listening_sockets(*parse_address("127.0.0.1:0")));
    const int fd = sockets_.sockets.at(0).get();
    fcntl(fd, F_SETFL, fcntl(fd, F_GETFL) & ~O_NONBLOCK);
  }

  Connections& make() {
    connections_ = std::make_unique<Connections>(limits);
    return *connections_;
  }

  Pair& connect(const char* from = "127.0.0.1") {
    pairs_.push_back(std::make_unique<Pair>(sockets_.sockets.at(0), sockets_.address.port, from));
    return *pairs_.back();
  }

  // Connects, and says whether there was room.
  bool add(const char* from = "127.0.0.1") { return connections_->add(connect(from).descriptor()); }
  Pair& last() { return *pairs_.back(); }

  void make_known(Pair& pair) {
    connections_->call_began(pair.peer());
    connections_->login_succeeded(pair.peer());
    connections_->call_ended(pair.peer());
  }

  ConnectionLimits limits;
  std::vector<std::unique_ptr<Pair>> pairs_;

 private:
  ListeningSockets sockets_;
  std::unique_ptr<Connections> connections_;
};

TEST_F(ConnectionsTest, TheOldestIdleOneOfAnUnknownCallerGivesWay) {
  limits.of_all = 3;
  Connections& connections = make();
  for (int index = 0; index < 3; ++index) EXPECT_TRUE(add());
  make_known(*pairs_[0]);
  connections.call_began(pairs_[1]->peer());
  EXPECT_TRUE(add());
  EXPECT_TRUE(pairs_[2]->is_shut());
  EXPECT_TRUE(add());  // the one that was added before
  EXPECT_TRUE(pairs_[3]->is_shut());
  connections.call_began(last().peer());
  EXPECT_TRUE(add());  // then the known one
  EXPECT_TRUE(pairs_[0]->is_shut());
  connections.call_began(last().peer());
  EXPECT_TRUE(add());  // then the oldest with a call
  EXPECT_TRUE(pairs_[1]->is_shut());
  EXPECT_EQ(connections.counts().gave_way, 4U);
}

TEST_F(ConnectionsTest, CallsOfKnownCallersNeverGiveWay) {
  limits.of_all = 2;
  Connections& connections = make();
  for (int index = 0; index < 2; ++index) {
    EXPECT_TRUE(add());
    make_known(last());
    connections.call_began(last().peer());
  }
  EXPECT_FALSE(add());
  pairs_[0]->close();
  std::this_thread::sleep_for(20ms);
  EXPECT_TRUE(add());  // in the room of the one that gRPC closed
  EXPECT_FALSE(pairs_[1]->is_shut());
}

TEST_F(ConnectionsTest, OneAddressHasALimitOfItsOwn) {
  limits.of_one_peer = 2;
  Connections& connections = make();
  EXPECT_TRUE(add("127.0.0.1"));
  EXPECT_TRUE(add("127.0.0.2"));
  EXPECT_TRUE(add("127.0.0.2"));
  EXPECT_TRUE(add("127.0.0.2"));
  EXPECT_FALSE(pairs_[0]->is_shut());
  EXPECT_TRUE(pairs_[1]->is_shut());
  make_known(*pairs_[2]);
  connections.call_began(pairs_[2]->peer());
  make_known(*pairs_[3]);
  connections.call_began(pairs_[3]->peer());
  EXPECT_FALSE(add("127.0.0.2"));
  EXPECT_TRUE(add("127.0.0.1"));
}

TEST_F(ConnectionsTest, OneThatNobodyUsesIsEnded) {
  limits.unused = 100ms;
  Connections& connections = make();
  EXPECT_EQ(connections.next_look(), Connections::Clock::time_point::max());
  for (int index = 0; index < 3; ++index) add();
  make_known(*pairs_[1]);
  connections.call_began(pairs_[2]->peer());
  EXPECT_LE(connections.next_look(), Connections::Clock::now() + 50ms);
  connections.look();
  EXPECT_LE(connections.next_look(), Connections::Clock::now() + 50ms);
  EXPECT_FALSE(pairs_[0]->is_shut());
  std::this_thread::sleep_for(120ms);
  connections.look();
  EXPECT_TRUE(pairs_[0]->is_shut());
  EXPECT_FALSE(pairs_[1]->is_shut());
  EXPECT_FALSE(pairs_[2]->is_shut());
  connections.call_ended(pairs_[2]->peer());
  connections.look();
  EXPECT_FALSE(pairs_[2]->is_shut());
  std::this_thread::sleep_for(120ms);
  connections.look();
  EXPECT_TRUE(pairs_[2]->is_shut());
  EXPECT_EQ(connections.counts().unused, 2U);
}

TEST_F(ConnectionsTest, OneThatSendsTooMuchIsEnded) {
  NEXA_SKIP_IF_EMULATED(nexa_test::kNoSocketCounts);
  limits.stray_bytes = 1 << 20;
  Connections& connections = make();
  add();
  last().send(1 << 20);
  connections.look();
  EXPECT_FALSE(last().is_shut());
  last().send(4 << 10);
  connections.look();
  EXPECT_TRUE(last().is_shut());
  EXPECT_EQ(connections.counts().flooding, 1U);
}

TEST_F(ConnectionsTest, MessagesOfKnownCallersDoNotCount) {
  NEXA_SKIP_IF_EMULATED(nexa_test::kNoSocketCounts);
  limits.stray_bytes = 1 << 20;
  limits.message_bytes = 4 << 20;
  Connections& connections = make();
  add();
  connections.call_began(last().peer());
  connections.login_succeeded(last().peer());
  last().send(4 << 20);  // a message on its way
  connections.look();
  EXPECT_FALSE(last().is_shut());
  connections.message_received(last().peer(), 4 << 20);
  connections.call_ended(last().peer());
  connections.look();
  EXPECT_FALSE(last().is_shut());
  // Nothing is saved up: it may send as much as before, and no more.
  connections.message_received(last().peer(), 64 << 20);
  std::this_thread::sleep_for(600ms);
  connections.look();
  last().send(3 << 20);
  std::this_thread::sleep_for(600ms);
  connections.look();
  EXPECT_TRUE(last().is_shut());
}

TEST_F(ConnectionsTest, ManyUnknownOnesTogetherHaveALimit) {
  NEXA_SKIP_IF_EMULATED(nexa_test::kNoSocketCounts);
  limits.stray_bytes = 8 << 20;
  limits.stray_bytes_of_all = 5 << 20;
  Connections& connections = make();
  for (const std::size_t megabytes : {2U, 3U, 1U}) {
    add();
    last().send(megabytes << 20);
  }
  connections.look();
  EXPECT_FALSE(pairs_[0]->is_shut());
  EXPECT_TRUE(pairs_[1]->is_shut());
  EXPECT_FALSE(pairs_[2]->is_shut());
}

TEST_F(ConnectionsTest, AFloodIsCutBeforeItIsRead) {
  NEXA_SKIP_IF_EMULATED(nexa_test::kNoSocketCounts);
  limits.stray_bytes = 1 << 20;
  Connections& connections = make();
  add();
  last().send(1 << 20);
  connections.before_read(last().descriptor());
  EXPECT_FALSE(last().is_shut());
  last().send(4 << 10);
  connections.before_read(last().descriptor());
  EXPECT_TRUE(last().is_shut());
  EXPECT_EQ(connections.counts().flooding, 1U);
}

TEST_F(ConnectionsTest, ManyThatFloodTogetherAreCutBeforeTheyAreRead) {
  NEXA_SKIP_IF_EMULATED(nexa_test::kNoSocketCounts);
  limits.stray_bytes = 8 << 20;
  limits.stray_bytes_of_all = 5 << 20;
  Connections& connections = make();
  for (const std::size_t megabytes : {2U, 3U}) {
    add();
    last().send(megabytes << 20);
    connections.before_read(last().descriptor());
  }
  add();
  connections.before_read(last().descriptor());
  EXPECT_FALSE(pairs_[1]->is_shut());
  last().send(1 << 20);
  connections.before_read(last().descriptor());
  EXPECT_FALSE(pairs_[0]->is_shut());
  EXPECT_TRUE(pairs_[1]->is_shut());
  EXPECT_FALSE(pairs_[2]->is_shut());
}

TEST_F(ConnectionsTest, AReadOfAnotherDescriptorEndsNothing) {
  limits.stray_bytes = 1 << 10;
  Connections& connections = make();
  add();
  const int descriptor = last().descriptor();
  Pair& other = connect();
  other.send(1 << 20);
  connections.before_read(other.descriptor());
  ASSERT_EQ(dup2(other.descriptor(), descriptor), descriptor);
  connections.before_read(descriptor);
  EXPECT_FALSE(other.is_shut());
}

TEST_F(ConnectionsTest, CallsOfAnUnknownCallerAreForgivenInTime) {
  limits.stray_bytes = 64 << 10;
  Connections& connections = make();
  add();
  for (int call = 0; call < 4; ++call) {
    connections.call_began(last().peer());
    connections.call_ended(last().peer());
  }
  std::this_thread::sleep_for(4100ms);
  connections.look();
  connections.call_began(last().peer());
  EXPECT_FALSE(last().is_shut());
  connections.call_began(last().peer());
  EXPECT_TRUE(last().is_shut());
}

TEST_F(ConnectionsTest, CallsOfAnUnknownCallerCostAsBytesDo) {
  limits.stray_bytes = 1 << 20;
  Connections& connections = make();
  add();
  for (int call = 0; call < 64; ++call) {
    connections.call_began(last().peer());
    connections.call_ended(last().peer());
  }
  EXPECT_FALSE(last().is_shut());
  connections.call_began(last().peer());
  EXPECT_TRUE(last().is_shut());
}

TEST_F(ConnectionsTest, ADescriptorThatIsAnothersIsLeftAlone) {
  limits.unused = 1ms;
  Connections& connections = make();
  add();
  const int descriptor = last().descriptor();
  Pair& other = connect();
  ASSERT_EQ(dup2(other.descriptor(), descriptor), descriptor);
  std::this_thread::sleep_for(5ms);
  connections.look();
  EXPECT_FALSE(other.is_shut());
  EXPECT_EQ(connections.counts().open, 0U);
}

TEST_F(ConnectionsTest, PeersThatAreNotThereAreNobody) {
  Connections& connections = make();
  for (const char* peer : {"", "unix:x", "ipv4:127.0.0.1:1"}) {
    connections.call_began(peer);
    connections.login_succeeded(peer);
    connections.call_ended(peer);
  }
  EXPECT_EQ(connections.counts().open, 0U);
}

}  // namespace
