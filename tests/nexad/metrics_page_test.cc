// The page of metrics against clients that are in order, slow, wrong, or too many.
#include "metrics_page.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <chrono>
#include <new>
#include <string>
#include <vector>

#include "support/results.h"

namespace {

using nexad::MetricsPage;
using nexad::Socket;
using Clock = std::chrono::steady_clock;

constexpr char kGet[] = "GET /metrics HTTP/1.1\r\nHost: here\r\n\r\n";

class MetricsPageTest : public testing::Test {
 protected:
  MetricsPageTest() { EXPECT_EQ(nexa_test::line_of(page_.start({"127.0.0.1", 0})), ""); }

  Socket client() const {
    Socket socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_in to{};
    to.sin_family = AF_INET;
    to.sin_port = htons(page_.port());
    to.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    EXPECT_EQ(connect(socket.get(), reinterpret_cast<sockaddr*>(&to), sizeof to), 0);
    return socket;
  }

  static void say(const Socket& socket, const std::string& text) {
    EXPECT_EQ(send(socket.get(), text.data(), text.size(), MSG_NOSIGNAL),
              static_cast<ssize_t>(text.size()));
  }

  // Until the page closes the connection.
  static std::string rest(const Socket& socket) {
    std::string text;
    std::array<char, 65536> buffer{};
    for (ssize_t n = 0; (n = recv(socket.get(), buffer.data(), buffer.size(), 0)) > 0;) {
      text.append(buffer.data(), static_cast<std::size_t>(n));
    }
    return text;
  }

  std::string ask(const std::string& request) const {
    const Socket socket = client();
    say(socket, request);
    return rest(socket);
  }

  std::string text_ = "a 1\n";
  std::atomic<bool> has_memory_ = true;
  MetricsPage page_{[this] {
    if (!has_memory_) throw std::bad_alloc();
    return text_;
  }};
};

TEST_F(MetricsPageTest, AnswersAndCloses) {
  const std::string expected =
      "HTTP/1.1 200 OK\r\nContent-Type: text/plain; version=0.0.4; charset=utf-8\r\n"
      "Content-Length: 4\r\nConnection: close\r\n\r\na 1\n";
  EXPECT_EQ(ask(kGet), expected);
  EXPECT_EQ(ask("GET /metrics?name=a HTTP/1.0\r\n\r\n"), expected);
}

TEST_F(MetricsPageTest, WithoutMemoryForOnePageTheNextIsAnswered) {
  has_memory_ = false;
  EXPECT_EQ(ask(kGet).substr(0, 34), "HTTP/1.1 500 Internal Server Error");
  has_memory_ = true;
  EXPECT_EQ(ask(kGet).substr(0, 15), "HTTP/1.1 200 OK");
}

TEST_F(MetricsPageTest, TakesARequestInPieces) {
  const Socket socket = client();
  for (const char c : std::string(kGet)) say(socket, std::string(1, c));
  EXPECT_EQ(rest(socket).substr(0, 15), "HTTP/1.1 200 OK");
}

TEST_F(MetricsPageTest, RefusesWhatIsNoRequestForIt) {
  EXPECT_EQ(ask("GET / HTTP/1.1\r\n\r\n").substr(0, 22), "HTTP/1.1 404 Not Found");
  EXPECT_EQ(ask("GET /metricsx HTTP/1.1\r\n\r\n").substr(0, 12), "HTTP/1.1 404");
  EXPECT_EQ(ask("POST /metrics HTTP/1.1\r\n\r\n").substr(0, 12), "HTTP/1.1 405");
  EXPECT_EQ(ask("GET /metrics\r\n\r\n").substr(0, 12), "HTTP/1.1 400");
  EXPECT_EQ(ask("\r\n\r\n").substr(0, 12), "HTTP/1.1 400");
  EXPECT_EQ(ask(std::string(8193, 'a')).substr(0, 12), "HTTP/1.1 431");
}

TEST_F(MetricsPageTest, WritesAPageThatIsLongerThanTheSocketsBuffers) {
  text_.assign(32U << 20U, 'x');
  const std::string answer = ask(kGet);
  EXPECT_EQ(answer.size() - answer.find("\r\n\r\n") - 4, text_.size());
}

TEST_F(MetricsPageTest, SilentClientsAreInNobodysWay) {
  std::vector<Socket> silent;
  for (int i = 0; i < 40; ++i) silent.push_back(client());
  say(silent.back(), "GET /me");
  const auto began = Clock::now();
  EXPECT_EQ(ask(kGet).substr(0, 12), "HTTP/1.1 200");
  EXPECT_LT(Clock::now() - began, std::chrono::seconds(2));
  // The oldest had to go for those that came later.
  pollfd oldest{silent.front().get(), POLLIN, 0};
  EXPECT_EQ(poll(&oldest, 1, 1000), 1);
  EXPECT_EQ(rest(silent.front()), "");
}

TEST_F(MetricsPageTest, ASilentClientIsDismissedAfterAWhile) {
  const Socket socket = client();
  say(socket, "GET");
  pollfd watched{socket.get(), POLLIN, 0};
  EXPECT_EQ(poll(&watched, 1, 1000), 0);
  EXPECT_EQ(poll(&watched, 1, 10000), 1);
  EXPECT_EQ(rest(socket), "");
}

TEST_F(MetricsPageTest, EndsAtOnceWhateverClientsDo) {
  text_.assign(32U << 20U, 'x');
  const Socket silent = client();
  const Socket deaf = client();
  say(deaf, kGet);
  EXPECT_EQ(ask("GET / HTTP/1.1\r\n\r\n").substr(0, 12), "HTTP/1.1 404");
  const auto began = Clock::now();
  page_.stop();
  EXPECT_LT(Clock::now() - began, std::chrono::milliseconds(500));
  EXPECT_EQ(rest(silent), "");
  page_.stop();
}

}  // namespace
