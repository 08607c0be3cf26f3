// What the server counts, and the page on which Prometheus reads it.
#ifndef APPS_NEXAD_METRICS_H_
#define APPS_NEXAD_METRICS_H_

#include <prometheus/registry.h>

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "address.h"
#include "metrics_page.h"
#include "server/gnmi_service.h"

namespace nexad {

// Counts what the service tells, and writes its audit and faults to the log. Any thread.
class Metrics final : public nexa::server::ServiceObserver {
 public:
  Metrics();
  ~Metrics() override;

  void call_ended(std::string_view method, grpc::StatusCode code,
                  std::chrono::nanoseconds time) override;
  void stream_opened() override;
  void stream_closed() override;
  void updates_sent(std::size_t leaves) override;
  void stream_overflowed() override;
  void login_failed(const std::string& line) override;
  void audit(const std::string& line) override;
  void fault(const std::string& line) override;

  // A value that is asked for when the page is read, on the page's thread; `counter` when it only
  // grows. What it refers to outlives unexpose().
  void add_value(const std::string& name, const std::string& help, bool counter,
                 std::function<double()> value);

  // The same, with a value for each value of the label that `values` names.
  void add_values(const std::string& name, const std::string& help, const std::string& label,
                  std::function<std::map<std::string, double>()> values);

  // Opens the page, /metrics at the address; fails as MetricsPage::start() does.
  nexa::text::Done expose(const Address& address);
  void unexpose();

  // The port of the page; 0 when there is none.
  int port() const;

 private:
  class Method;
  class Values;

  std::string page_text() const;

  std::shared_ptr<prometheus::Registry> registry_;
  std::shared_ptr<Values> values_;
  std::vector<std::unique_ptr<Method>> methods_;
  prometheus::Gauge& streams_;
  prometheus::Counter& updates_;
  prometheus::Counter& overflows_;
  prometheus::Counter& failed_logins_;
  prometheus::Counter& faults_;
  std::unique_ptr<MetricsPage> page_;
};

}  // namespace nexad

#endif  // APPS_NEXAD_METRICS_H_
