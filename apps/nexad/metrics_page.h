// The page on which Prometheus reads the metrics: HTTP, no more of it than that takes.
#ifndef APPS_NEXAD_METRICS_PAGE_H_
#define APPS_NEXAD_METRICS_PAGE_H_

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "address.h"
#include "sockets.h"

namespace nexad {

// The answer to a request, HTTP both: headers with the empty line behind them in, the whole answer
// out. `text` is the page, asked for when the request is for it. Any thread.
std::string answer_metrics_request(std::string_view request,
                                   const std::function<std::string()>& text);

// One thread answers one request for each connection and closes it. Who is slow is in nobody's way:
// a connection has a few seconds, and the oldest goes when there are too many.
class MetricsPage {
 public:
  // `text` is asked for each time the page is read, on the page's thread.
  explicit MetricsPage(std::function<std::string()> text);
  ~MetricsPage();
  MetricsPage(const MetricsPage&) = delete;
  MetricsPage& operator=(const MetricsPage&) = delete;

  // Opens /metrics at the address. A failure has the address as its path. Once.
  nexa::text::Done start(const Address& address);
  // Ends at once; after it `text` is not asked again.
  void stop();

  // Port 0 in the address given to start() is the real one here.
  std::uint16_t port() const { return sockets_.address.port; }

 private:
  using Clock = std::chrono::steady_clock;
  struct Connection {
    Socket socket;
    Clock::time_point end;
    std::string request;
    std::string answer;
    std::size_t sent = 0;
  };

  void run();
  void serve();
  void accept_from(int listening_socket);
  // Both: false when the connection has come to its end.
  bool go_on(Connection& connection) const;
  bool read_request(Connection& connection) const;

  const std::function<std::string()> text_;
  ListeningSockets sockets_;
  Socket wake_;
  std::vector<Connection> connections_;  // the oldest first; the thread's alone
  std::thread thread_;
};

}  // namespace nexad

#endif  // APPS_NEXAD_METRICS_PAGE_H_
