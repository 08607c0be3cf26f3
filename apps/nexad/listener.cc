// One thread, poll(2), and accept4(2) until it has nothing more.
#include "listener.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <exception>
#include <iterator>
#include <string>
#include <system_error>
#include <vector>

#include "log.h"

namespace nexad {
namespace {

constexpr std::chrono::milliseconds kPause{100};
constexpr std::chrono::seconds kBetweenNotes{10};
// Then the other sockets have their turn.
constexpr int kAcceptsPerTurn = 64;

Socket open_spare() { return Socket(open("/dev/null", O_RDONLY | O_CLOEXEC)); }

// accept(2) also reports what happened to one connection on the network before it was accepted.
bool is_of_one_connection(int error) {
  constexpr int kErrors[] = {EINTR,  ECONNABORTED, EPROTO,     ENETDOWN,    ENOPROTOOPT, EHOSTDOWN,
                             ENONET, EHOSTUNREACH, EOPNOTSUPP, ENETUNREACH, ETIMEDOUT,   EPERM};
  return std::find(std::begin(kErrors), std::end(kErrors), error) != std::end(kErrors);
}

// How long poll(2) may wait until then; rounded up, lest it turns until then.
int poll_time(std::chrono::steady_clock::time_point until) {
  if (until == std::chrono::steady_clock::time_point::max()) return -1;
  const auto left =
      std::chrono::ceil<std::chrono::milliseconds>(until - std::chrono::steady_clock::now());
  return static_cast<int>(std::max<std::int64_t>(left.count(), 0));
}

}  // namespace

Listener::Listener(ListeningSockets sockets, std::shared_ptr<Connections> connections,
                   Handler handler)
    : sockets_(std::move(sockets)),
      connections_(std::move(connections)),
      handler_(std::move(handler)) {}

Listener::~Listener() { stop(); }

bool Listener::start() {
  wake_ = Socket(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
  spare_ = open_spare();
  if (wake_.get() < 0 || spare_.get() < 0) return false;
  try {
    thread_ = std::thread([this] { run(); });
  } catch (const std::system_error&) {
    return false;
  }
  return true;
}

void Listener::stop() {
  if (!thread_.joinable()) return;
  stopping_ = true;
  const std::uint64_t one = 1;
  while (write(wake_.get(), &one, sizeof one) < 0 && errno == EINTR) {
  }
  thread_.join();
  sockets_.sockets.clear();
}

ListenerCounts Listener::counts() {
  const std::lock_guard lock(mutex_);
  return counts_;
}

void Listener::run() {
  std::vector<pollfd> watched{{wake_.get(), POLLIN, 0}};
  for (const Socket& socket : sockets_.sockets) watched.push_back({socket.get(), POLLIN, 0});
  while (!stopping_) {
    if (poll(watched.data(), watched.size(), poll_time(connections_->next_look())) < 0) {
      if (errno != EINTR) std::this_thread::sleep_for(kPause);
      continue;
    }
    try {
      take_turn(watched);
    } catch (const std::exception&) {
      // For want of memory. A connection that was taken is closed.
      {
        const std::lock_guard lock(mutex_);
        ++counts_.no_resource;
      }
      std::this_thread::sleep_for(kPause);
    }
  }
}

void Listener::take_turn(const std::vector<pollfd>& watched) {
  for (std::size_t i = 1; i < watched.size(); ++i) {
    if (watched[i].revents == 0) continue;
    for (int n = 0; n < kAcceptsPerTurn && !stopping_ && accept_one(watched[i].fd); ++n) {
    }
  }
  if (Clock::now() >= connections_->next_look()) connections_->look();
  note_refusals();
}

bool Listener::accept_one(int listening_socket) {
  const int fd = accept4(listening_socket, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
  if (fd < 0) {
    const int error = errno;
    if (is_of_one_connection(error)) return true;
    if (error != EAGAIN) refuse_for_want_of_resources(listening_socket, error);
    return false;
  }
  Socket connection(fd);
  const bool has_room = connections_->add(fd);
  {
    const std::lock_guard lock(mutex_);
    ++(has_room ? counts_.accepted : counts_.over_limit);
  }
  if (!has_room) return true;
  handler_(listening_socket, connection.release());
  return true;
}

// The client is told at once by a closed connection. Where even that cannot be had, a pause keeps
// the loop from turning at full speed until descriptors come back.
void Listener::refuse_for_want_of_resources(int listening_socket, int error) {
  {
    const std::lock_guard lock(mutex_);
    ++counts_.no_resource;
  }
  if (error == EMFILE && spare_.get() >= 0) {
    spare_ = Socket();
    Socket refused(accept4(listening_socket, nullptr, nullptr, SOCK_CLOEXEC));
    refused = Socket();
    spare_ = open_spare();
    if (spare_.get() >= 0) return;
  }
  pollfd woken{wake_.get(), POLLIN, 0};
  poll(&woken, 1, static_cast<int>(kPause.count()));
  if (spare_.get() < 0) spare_ = open_spare();
}

void Listener::note_refusals() {
  std::uint64_t over_limit = 0;
  std::uint64_t no_resource = 0;
  {
    const std::lock_guard lock(mutex_);
    over_limit = counts_.over_limit;
    no_resource = counts_.no_resource;
  }
  const auto now = Clock::now();
  if (over_limit + no_resource == noted_ || now < next_note_) return;
  noted_ = over_limit + no_resource;
  next_note_ = now + kBetweenNotes;
  log_warning("connections refused so far: " + std::to_string(over_limit) + " beyond the limits, " +
              std::to_string(no_resource) + " for want of descriptors or memory");
}

}  // namespace nexad
