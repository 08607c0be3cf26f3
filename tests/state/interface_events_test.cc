// Netlink in a network namespace of the test's own, in a child process: what is done to interfaces
// there is told.
#include "state/interface_events.h"

#include <gtest/gtest.h>
#include <linux/if_link.h>
#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <net/if.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstring>
#include <mutex>
#include <new>
#include <string>
#include <thread>

#include "state/interface_addresses.h"
#include "text/descriptor.h"

namespace nexa::state {
namespace {

constexpr std::chrono::seconds kPatience{20};

// Exit statuses of the child.
constexpr int kPassed = 0;
constexpr int kNoNamespace = 10;
constexpr int kNoEvents = 11;
constexpr int kNotTold = 12;
constexpr int kWrongAddresses = 13;
constexpr int kToldAfterTheEnd = 14;

class Calls {
 public:
  void add() {
    const std::lock_guard<std::mutex> lock(mutex_);
    ++count_;
    more_.notify_all();
  }
  int count() {
    const std::lock_guard<std::mutex> lock(mutex_);
    return count_;
  }
  bool wait_for_more_than(int seen) {
    std::unique_lock<std::mutex> lock(mutex_);
    return more_.wait_for(lock, kPatience, [&] { return count_ > seen; });
  }

 private:
  std::mutex mutex_;
  std::condition_variable more_;
  int count_ = 0;
};

// Whether the kernel made an interface of kind "dummy".
bool add_dummy(const char* name) {
  struct {
    nlmsghdr header;
    ifinfomsg link;
    char attributes[128];
  } request{};
  request.header.nlmsg_type = RTM_NEWLINK;
  request.header.nlmsg_flags = NLM_F_REQUEST | NLM_F_CREATE | NLM_F_EXCL | NLM_F_ACK;
  std::size_t used = 0;
  const auto begin = [&](unsigned short type) {
    auto* const attribute = reinterpret_cast<rtattr*>(request.attributes + used);
    attribute->rta_type = type;
    attribute->rta_len = sizeof(rtattr);
    used += sizeof(rtattr);
    return attribute;
  };
  const auto put = [&](unsigned short type, const char* text) {
    rtattr* const attribute = begin(type);
    const std::size_t size = std::strlen(text) + 1;
    std::memcpy(request.attributes + used, text, size);
    attribute->rta_len = static_cast<unsigned short>(sizeof(rtattr) + size);
    used += RTA_ALIGN(size);
  };
  put(IFLA_IFNAME, name);
  const std::size_t outer = used;
  rtattr* const info = begin(IFLA_LINKINFO);
  put(IFLA_INFO_KIND, "dummy");
  info->rta_len = static_cast<unsigned short>(used - outer);
  request.header.nlmsg_len = static_cast<unsigned>(NLMSG_LENGTH(sizeof(ifinfomsg)) + used);
  const text::Descriptor socket(::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_ROUTE));
  if (send(socket.get(), &request, request.header.nlmsg_len, 0) < 0) return false;
  struct {
    nlmsghdr header;
    nlmsgerr error;
    char more[256];
  } answer{};
  return recv(socket.get(), &answer, sizeof answer, 0) > 0 &&
         answer.header.nlmsg_type == NLMSG_ERROR && answer.error.error == 0;
}

bool set_up(const char* name, bool up) {
  const text::Descriptor socket(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  ifreq request{};
  std::strncpy(request.ifr_name, name, IFNAMSIZ - 1);
  if (ioctl(socket.get(), SIOCGIFFLAGS, &request) != 0) return false;
  request.ifr_flags =
      static_cast<short>(up ? request.ifr_flags | IFF_UP : request.ifr_flags & ~IFF_UP);
  return ioctl(socket.get(), SIOCSIFFLAGS, &request) == 0;
}

// A dummy interface where the kernel has that kind, and the loopback interface.
int run_child() {
  if (unshare(CLONE_NEWUSER | CLONE_NEWNET) != 0) return kNoNamespace;
  const auto events = make_netlink_events();
  if (!events->works()) return kNoEvents;
  Calls calls;
  events->listen(&calls, [&] { calls.add(); });
  if (add_dummy("nexa0") && !calls.wait_for_more_than(0)) return kNotTold;
  const int before = calls.count();
  if (!read_addresses().empty()) return kWrongAddresses;
  // One that has no memory for the first news is told again.
  Calls owed;
  std::atomic<bool> has_failed = false;
  events->listen(&owed, [&] {
    if (!has_failed.exchange(true)) throw std::bad_alloc();
    owed.add();
  });
  if (!set_up("lo", true)) return kNoNamespace;
  if (!calls.wait_for_more_than(before)) return kNotTold;
  if (!owed.wait_for_more_than(0) || !has_failed) return kNotTold;
  events->listen(&owed, nullptr);
  const auto addresses = read_addresses();
  if (addresses.empty() || addresses[0].interface != "lo" || addresses[0].ip != "127.0.0.1" ||
      addresses[0].prefix_length != 8) {
    return kWrongAddresses;
  }
  events->listen(&calls, nullptr);
  const int last = calls.count();
  set_up("lo", false);
  std::this_thread::sleep_for(std::chrono::milliseconds(100));
  return calls.count() == last ? kPassed : kToldAfterTheEnd;
}

TEST(InterfaceEvents, TellOfLinksAndAddresses) {
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) _exit(run_child());
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  ASSERT_TRUE(WIFEXITED(status)) << status;
  if (WEXITSTATUS(status) == kNoNamespace) {
    GTEST_SKIP() << "no network namespace for users here";
  }
  EXPECT_EQ(WEXITSTATUS(status), kPassed);
}

TEST(InterfaceEvents, EndWhileSomebodyListens) {
  const auto events = make_netlink_events();
  if (!events->works()) GTEST_SKIP() << "no netlink here";
  events->listen(this, [] {});
}

}  // namespace
}  // namespace nexa::state
