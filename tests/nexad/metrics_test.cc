// What the page of metrics shows.
#include "metrics.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <string>

#include "support/results.h"

namespace {

using nexa_test::line_of;
using nexad::Address;
using nexad::Metrics;

std::string page(int port) {
  const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in to{};
  to.sin_family = AF_INET;
  to.sin_port = htons(static_cast<std::uint16_t>(port));
  to.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  EXPECT_EQ(connect(fd, reinterpret_cast<sockaddr*>(&to), sizeof to), 0);
  const std::string request = "GET /metrics HTTP/1.1\r\nHost: l\r\nConnection: close\r\n\r\n";
  EXPECT_EQ(send(fd, request.data(), request.size(), 0), static_cast<ssize_t>(request.size()));
  std::string text;
  std::array<char, 4096> buffer{};
  for (ssize_t n = 0; (n = recv(fd, buffer.data(), buffer.size(), 0)) > 0;) {
    text.append(buffer.data(), static_cast<std::size_t>(n));
  }
  close(fd);
  return text;
}

TEST(Metrics, ShowsWhatWasCounted) {
  Metrics metrics;
  ASSERT_EQ(line_of(metrics.expose({"127.0.0.1", 0})), "");
  metrics.call_ended("Set", grpc::StatusCode::OK, std::chrono::milliseconds(3));
  metrics.call_ended("Set", grpc::StatusCode::INVALID_ARGUMENT, std::chrono::milliseconds(3));
  metrics.call_ended("Set", grpc::StatusCode::OK, std::chrono::milliseconds(300));
  metrics.call_ended("Subscribe", grpc::StatusCode::CANCELLED, std::chrono::hours(1));
  metrics.call_ended("Unknown", grpc::StatusCode::OK, std::chrono::hours(1));
  metrics.stream_opened();
  metrics.stream_opened();
  metrics.stream_closed();
  metrics.updates_sent(20);
  metrics.stream_overflowed();
  metrics.login_failed("login of a stranger");
  metrics.fault("disk on fire");
  metrics.add_value("nexad_commit_number", "Number of the newest commit", true, [] { return 7.0; });
  metrics.add_values("nexad_failures_total", "Failures, by reason", "reason", [] {
    return std::map<std::string, double>{{"died", 2.0}, {"too_long", 0.0}};
  });
  const std::string text = page(metrics.port());
  for (const char* line :
       {"nexad_calls_total{code=\"OK\",method=\"Set\"} 2",
        "nexad_calls_total{code=\"INVALID_ARGUMENT\",method=\"Set\"} 1",
        "nexad_calls_total{code=\"CANCELLED\",method=\"Subscribe\"} 1",
        "nexad_call_seconds_count{method=\"Set\"} 3",
        "nexad_call_seconds_bucket{method=\"Set\",le=\"0.005\"} 2", "nexad_subscriptions 1",
        "nexad_updates_sent_total 20", "nexad_subscription_overflows_total 1",
        "nexad_failed_logins_total 1", "nexad_faults_total 1", "# TYPE nexad_commit_number counter",
        "nexad_commit_number 7", "# TYPE nexad_failures_total counter",
        "nexad_failures_total{reason=\"died\"} 2", "nexad_failures_total{reason=\"too_long\"} 0"}) {
    EXPECT_NE(text.find(std::string(line) + "\n"), std::string::npos) << line << "\n" << text;
  }
  EXPECT_EQ(text.find("Unknown"), std::string::npos);
}

TEST(Metrics, EndsAtOnce) {
  for (int i = 0; i < 3; ++i) {
    Metrics metrics;
    ASSERT_EQ(line_of(metrics.expose({"127.0.0.1", 0})), "");
    EXPECT_NE(page(metrics.port()), "");
    const auto began = std::chrono::steady_clock::now();
    metrics.unexpose();
    EXPECT_LT(std::chrono::steady_clock::now() - began, std::chrono::milliseconds(400));
    EXPECT_EQ(metrics.port(), 0);
  }
}

TEST(Metrics, SaysWhenThePageCannotBeHad) {
  Metrics first;
  ASSERT_EQ(line_of(first.expose({"127.0.0.1", 0})), "");
  Metrics second;
  const Address taken{"127.0.0.1", static_cast<std::uint16_t>(first.port())};
  EXPECT_EQ(line_of(second.expose(taken)).substr(0, taken.text().size() + 2), taken.text() + ": ");
  EXPECT_EQ(second.port(), 0);
}

}  // namespace
