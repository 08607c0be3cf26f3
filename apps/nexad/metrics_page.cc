// poll(2) over the connections; nothing here waits for a client.
#include "metrics_page.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <exception>
#include <string_view>
#include <system_error>
#include <utility>

namespace nexad {
namespace {

constexpr std::size_t kMostConnections = 32;
constexpr std::size_t kMostRequestBytes = 8192;
constexpr std::chrono::seconds kPatience{5};
constexpr int kPauseMs = 100;

std::string answer(const char* status, const char* type, const std::string& body) {
  return std::string("HTTP/1.1 ") + status + "\r\nContent-Type: " + type +
         "\r\nContent-Length: " + std::to_string(body.size()) + "\r\nConnection: close\r\n\r\n" +
         body;
}

std::string refusal(const char* status) {
  return answer(status, "text/plain; charset=utf-8", std::string(status) + "\n");
}

// Whether a failed call is worth another one later.
bool is_passing(int error) { return error == EAGAIN || error == EINTR; }

}  // namespace

std::string answer_metrics_request(std::string_view request,
                                   const std::function<std::string()>& text) {
  const std::string_view line = request.substr(0, request.find("\r\n"));
  const std::size_t first = line.find(' ');
  const std::size_t last = line.rfind(' ');
  if (first == last || !line.substr(last + 1).starts_with("HTTP/1.")) {
    return refusal("400 Bad Request");
  }
  if (line.substr(0, first) != "GET") return refusal("405 Method Not Allowed");
  const std::string_view target = line.substr(first + 1, last - first - 1);
  if (target.substr(0, target.find('?')) != "/metrics") return refusal("404 Not Found");
  try {
    return answer("200 OK", "text/plain; version=0.0.4; charset=utf-8", text());
  } catch (const std::exception&) {
    return refusal("500 Internal Server Error");
  }
}

MetricsPage::MetricsPage(std::function<std::string()> text) : text_(std::move(text)) {}

MetricsPage::~MetricsPage() { stop(); }

nexa::text::Done MetricsPage::start(const Address& address) {
  nexa::text::Result<ListeningSockets> sockets = open_listening_sockets(address);
  if (!sockets.ok()) return std::move(sockets).failure();
  sockets_ = std::move(sockets).value();
  wake_ = Socket(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
  try {
    if (wake_.get() >= 0) thread_ = std::thread([this] { run(); });
  } catch (const std::system_error&) {
    // Told below.
  }
  if (thread_.joinable()) return {};
  sockets_ = {};
  return nexa::text::unusable(address.text(), "no thread or descriptor to be had");
}

void MetricsPage::stop() {
  if (!thread_.joinable()) return;
  const std::uint64_t one = 1;
  while (::write(wake_.get(), &one, sizeof one) < 0 && errno == EINTR) {
  }
  thread_.join();
  connections_.clear();
  sockets_.sockets.clear();
}

// For want of memory those who ask now get no answer; those who ask later may.
void MetricsPage::run() {
  while (true) {
    try {
      return serve();
    } catch (const std::exception&) {
      connections_.clear();
      pollfd woken{wake_.get(), POLLIN, 0};
      if (poll(&woken, 1, kPauseMs) > 0) return;
    }
  }
}

// Until the page is stopped.
void MetricsPage::serve() {
  std::vector<pollfd> watched;
  for (;;) {
    watched.assign(1, {wake_.get(), POLLIN, 0});
    for (const Socket& socket : sockets_.sockets) watched.push_back({socket.get(), POLLIN, 0});
    for (const Connection& connection : connections_) {
      const short event = connection.answer.empty() ? POLLIN : POLLOUT;
      watched.push_back({connection.socket.get(), event, 0});
    }
    const int wait = connections_.empty() ? -1 : kPauseMs;
    if (poll(watched.data(), watched.size(), wait) < 0 && errno != EINTR) return;
    if (watched.front().revents != 0) return;
    const auto now = Clock::now();
    std::size_t index = 1 + sockets_.sockets.size();
    std::erase_if(connections_, [&](Connection& connection) {
      const bool ready = watched[index++].revents != 0;
      return connection.end < now || (ready && !go_on(connection));
    });
    for (std::size_t i = 1; i <= sockets_.sockets.size(); ++i) {
      if (watched[i].revents != 0) accept_from(watched[i].fd);
    }
  }
}

void MetricsPage::accept_from(int listening_socket) {
  Socket socket(accept4(listening_socket, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
  if (socket.get() < 0) {
    if (is_passing(errno) || errno == ECONNABORTED) return;
    // For want of descriptors or memory: the loop does not turn at full speed until there are some.
    pollfd woken{wake_.get(), POLLIN, 0};
    poll(&woken, 1, kPauseMs);
    return;
  }
  if (connections_.size() >= kMostConnections) connections_.erase(connections_.begin());
  connections_.push_back({std::move(socket), Clock::now() + kPatience, {}, {}});
}

bool MetricsPage::go_on(Connection& connection) const {
  if (connection.answer.empty() && !read_request(connection)) return false;
  while (connection.sent < connection.answer.size()) {
    const ssize_t count =
        send(connection.socket.get(), connection.answer.data() + connection.sent,
             connection.answer.size() - connection.sent, MSG_NOSIGNAL | MSG_DONTWAIT);
    if (count < 0) return is_passing(errno);
    connection.sent += static_cast<std::size_t>(count);
  }
  return connection.answer.empty();
}

bool MetricsPage::read_request(Connection& connection) const {
  std::array<char, 4096> buffer{};
  const ssize_t count = recv(connection.socket.get(), buffer.data(), buffer.size(), MSG_DONTWAIT);
  if (count < 0) return is_passing(errno);
  if (count == 0) return false;
  std::string& request = connection.request;
  request.append(buffer.data(), static_cast<std::size_t>(count));
  if (request.find("\r\n\r\n") != std::string::npos) {
    connection.answer = answer_metrics_request(request, text_);
  } else if (request.size() > kMostRequestBytes) {
    connection.answer = refusal("431 Request Header Fields Too Large");
  }
  return true;
}

}  // namespace nexad
