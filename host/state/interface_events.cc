// What a message says is not looked at: the values are read where they are always read.
#include "state/interface_events.h"

#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <exception>
#include <map>
#include <mutex>
#include <thread>
#include <utility>

#include "text/descriptor.h"

namespace nexa::state {
namespace {

constexpr int kNextTryMs = 100;

text::Descriptor open_socket() {
  text::Descriptor socket(
      ::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC | SOCK_NONBLOCK, NETLINK_ROUTE));
  sockaddr_nl address{};
  address.nl_family = AF_NETLINK;
  address.nl_groups = RTMGRP_LINK | RTMGRP_IPV4_IFADDR | RTMGRP_IPV6_IFADDR;
  if (socket.get() < 0 ||
      bind(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
    return text::Descriptor();
  }
  return socket;
}

class NetlinkEvents : public InterfaceEvents {
 public:
  NetlinkEvents()
      : socket_(open_socket()), stop_(text::Descriptor(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))) {}
  ~NetlinkEvents() override { end(); }
  NetlinkEvents(const NetlinkEvents&) = delete;
  NetlinkEvents& operator=(const NetlinkEvents&) = delete;

  bool works() const override { return socket_.get() >= 0 && stop_.get() >= 0; }

  void listen(const void* listener, std::function<void()> changed) override {
    if (!works()) return;
    const std::lock_guard<std::mutex> lock(mutex_);
    if (changed == nullptr) {
      listeners_.erase(listener);
      return;
    }
    listeners_[listener] = std::move(changed);
    if (!thread_.joinable()) thread_ = std::thread([this] { run(); });
  }

 private:
  void end() {
    if (!thread_.joinable()) return;
    const std::uint64_t one = 1;
    // An eventfd that was never written takes this write.
    if (write(stop_.get(), &one, sizeof one) == sizeof one) thread_.join();
  }

  void run() {
    std::array<pollfd, 2> watched{{{socket_.get(), POLLIN, 0}, {stop_.get(), POLLIN, 0}}};
    bool is_owed = false;  // something came that not all listeners were told of
    while (true) {
      const int wait = is_owed ? kNextTryMs : -1;
      if (poll(watched.data(), watched.size(), wait) < 0 && errno != EINTR) return;
      if (watched[1].revents != 0) return;
      const bool has_come = watched[0].revents != 0 && drain();
      if (has_come || is_owed) is_owed = !tell_all();
    }
  }

  // False when a listener could not take it, for want of memory; the others are told.
  bool tell_all() {
    bool all = true;
    const std::lock_guard<std::mutex> lock(mutex_);
    for (const auto& [listener, changed] : listeners_) {
      try {
        changed();
      } catch (const std::exception&) {
        all = false;
      }
    }
    return all;
  }

  // Whether anything came. What the kernel had no room for (ENOBUFS) came, too.
  bool drain() const {
    std::array<char, 16384> buffer{};
    bool any = false;
    while (true) {
      const ssize_t count = recv(socket_.get(), buffer.data(), buffer.size(), 0);
      if (count < 0 && errno == EINTR) continue;
      if (count < 0 && errno == ENOBUFS) {
        any = true;
        continue;
      }
      if (count <= 0) return any;
      any = true;
    }
  }

  const text::Descriptor socket_;
  const text::Descriptor stop_;
  std::mutex mutex_;
  std::map<const void*, std::function<void()>> listeners_;
  std::thread thread_;
};

}  // namespace

std::shared_ptr<InterfaceEvents> make_netlink_events() { return std::make_shared<NetlinkEvents>(); }

}  // namespace nexa::state
