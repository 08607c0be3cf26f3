// Whoever reads from a socket in this process, also a library, is announced first.
#include "socket_reads.h"

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <sys/socket.h>

#include <cerrno>
#include <vector>

#include "sockets.h"

namespace {

using namespace nexad;

// As a library calls it: by the name that the dynamic linker finds first.
ssize_t receive(int descriptor, msghdr& message) {
  using Receive = ssize_t (*)(int, msghdr*, int);
  return reinterpret_cast<Receive>(dlsym(RTLD_DEFAULT, "recvmsg"))(descriptor, &message, 0);
}

struct SocketPair {
  SocketPair() {
    int both[2];
    EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0, both), 0);
    near = Socket(both[0]);
    far = Socket(both[1]);
  }
  Socket near;
  Socket far;
};

TEST(SocketReads, AreAnnouncedBeforeTheyAreDone) {
  const SocketPair pair;
  std::vector<int> announced;
  const SocketReads reads([&](int descriptor) {
    announced.push_back(descriptor);
    EXPECT_EQ(send(pair.far.get(), "abc", 3, 0), 3);
  });
  char bytes[8];
  iovec part{bytes, sizeof bytes};
  msghdr message{};
  message.msg_iov = &part;
  message.msg_iovlen = 1;
  EXPECT_EQ(receive(pair.near.get(), message), 3);
  EXPECT_EQ(announced, std::vector<int>{pair.near.get()});
}

TEST(SocketReads, AreAnnouncedToThoseThatAreThere) {
  const SocketPair pair;
  int first = 0;
  int second = 0;
  char bytes[8];
  iovec part{bytes, sizeof bytes};
  msghdr message{};
  message.msg_iov = &part;
  message.msg_iovlen = 1;
  const SocketReads stays([&](int) { ++first; });
  {
    const SocketReads goes([&](int) { ++second; });
    EXPECT_EQ(receive(pair.near.get(), message), -1);
    EXPECT_EQ(errno, EAGAIN);
  }
  receive(pair.near.get(), message);
  EXPECT_EQ(first, 2);
  EXPECT_EQ(second, 1);
}

}  // namespace
