// prometheus-cpp's part of the server.
#include "metrics.h"

#include <prometheus/counter.h>
#include <prometheus/gauge.h>
#include <prometheus/histogram.h>
#include <prometheus/text_serializer.h>

#include <array>
#include <atomic>
#include <mutex>
#include <utility>

#include "log.h"
#include "metrics_page.h"

namespace nexad {
namespace {

constexpr std::array<const char*, 4> kMethods{"Capabilities", "Get", "Set", "Subscribe"};
constexpr std::array<const char*, 17> kCodes{
    "OK",
    "CANCELLED",
    "UNKNOWN",
    "INVALID_ARGUMENT",
    "DEADLINE_EXCEEDED",
    "NOT_FOUND",
    "ALREADY_EXISTS",
    "PERMISSION_DENIED",
    "RESOURCE_EXHAUSTED",
    "FAILED_PRECONDITION",
    "ABORTED",
    "OUT_OF_RANGE",
    "UNIMPLEMENTED",
    "INTERNAL",
    "UNAVAILABLE",
    "DATA_LOSS",
    "UNAUTHENTICATED",
};

prometheus::Histogram::BucketBoundaries seconds() {
  return {0.0005, 0.001, 0.0025, 0.005, 0.01, 0.025, 0.05, 0.1, 0.25, 0.5, 1, 2.5, 5, 10};
}

prometheus::Counter& add_counter(prometheus::Registry& registry, const char* name,
                                 const char* help) {
  return prometheus::BuildCounter().Name(name).Help(help).Register(registry).Add({});
}

}  // namespace

// One method's calls by code, and their times. A stream has no time worth a histogram.
class Metrics::Method {
 public:
  Method(prometheus::Registry& registry, const char* name)
      : name_(name),
        calls_(prometheus::BuildCounter()
                   .Name("nexad_calls_total")
                   .Help("Calls that ended, by method and status code")
                   .Register(registry)) {
    if (name_ == "Subscribe") return;
    times_ = &prometheus::BuildHistogram()
                  .Name("nexad_call_seconds")
                  .Help("Time that calls took, by method")
                  .Register(registry)
                  .Add({{"method", name_}}, seconds());
  }

  const std::string& name() const { return name_; }

  void count(grpc::StatusCode code, std::chrono::nanoseconds time) {
    const auto index = static_cast<std::size_t>(code);
    const std::size_t unknown = grpc::StatusCode::UNKNOWN;
    counter(index < kCodes.size() ? index : unknown).Increment();
    if (times_ != nullptr) times_->Observe(std::chrono::duration<double>(time).count());
  }

 private:
  // A look-up by labels takes a lock and allocates; it is done once for each code.
  prometheus::Counter& counter(std::size_t index) {
    auto& known = counters_.at(index);
    if (auto* found = known.load(std::memory_order_acquire)) return *found;
    auto& made = calls_.Add({{"method", name_}, {"code", kCodes.at(index)}});
    known.store(&made, std::memory_order_release);
    return made;
  }

  const std::string name_;
  prometheus::Family<prometheus::Counter>& calls_;
  prometheus::Histogram* times_ = nullptr;
  std::array<std::atomic<prometheus::Counter*>, kCodes.size()> counters_{};
};

class Metrics::Values {
 public:
  // What is read: by value of the label, or one value without a label.
  using Read = std::function<std::map<std::string, double>()>;

  struct Value {
    std::string name;
    std::string help;
    bool counter;
    std::string label;
    Read read;
  };

  void add(Value value) {
    const std::lock_guard lock(mutex_);
    values_.push_back(std::move(value));
  }

  std::vector<prometheus::MetricFamily> Collect() const {
    const std::lock_guard lock(mutex_);
    std::vector<prometheus::MetricFamily> families;
    for (const Value& value : values_) families.push_back(family(value));
    return families;
  }

 private:
  static prometheus::MetricFamily family(const Value& value) {
    prometheus::MetricFamily result;
    result.name = value.name;
    result.help = value.help;
    result.type = value.counter ? prometheus::MetricType::Counter : prometheus::MetricType::Gauge;
    for (const auto& [label, number] : value.read()) {
      prometheus::ClientMetric metric;
      (value.counter ? metric.counter.value : metric.gauge.value) = number;
      if (!value.label.empty()) metric.label.push_back({value.label, label});
      result.metric.push_back(std::move(metric));
    }
    return result;
  }

  mutable std::mutex mutex_;
  std::vector<Value> values_;
};

Metrics::Metrics()
    : registry_(std::make_shared<prometheus::Registry>()),
      values_(std::make_shared<Values>()),
      streams_(prometheus::BuildGauge()
                   .Name("nexad_subscriptions")
                   .Help("Subscribe calls that are open")
                   .Register(*registry_)
                   .Add({})),
      updates_(
          add_counter(*registry_, "nexad_updates_sent_total", "Updates sent to Subscribe calls")),
      overflows_(add_counter(*registry_, "nexad_subscription_overflows_total",
                             "Subscribe calls ended because the client did not read")),
      failed_logins_(
          add_counter(*registry_, "nexad_failed_logins_total", "Logins that were refused")),
      faults_(add_counter(*registry_, "nexad_faults_total", "Faults of the server's own")) {
  for (const char* name : kMethods) methods_.push_back(std::make_unique<Method>(*registry_, name));
}

Metrics::~Metrics() { unexpose(); }

void Metrics::call_ended(std::string_view method, grpc::StatusCode code,
                         std::chrono::nanoseconds time) {
  for (const auto& known : methods_) {
    if (known->name() == method) return known->count(code, time);
  }
}

void Metrics::stream_opened() { streams_.Increment(); }
void Metrics::stream_closed() { streams_.Decrement(); }
void Metrics::updates_sent(std::size_t leaves) { updates_.Increment(static_cast<double>(leaves)); }
void Metrics::stream_overflowed() { overflows_.Increment(); }
void Metrics::audit(const std::string& line) { log_audit(line); }

void Metrics::login_failed(const std::string& line) {
  failed_logins_.Increment();
  log_failed_login(line);
}

void Metrics::fault(const std::string& line) {
  faults_.Increment();
  log_error(line);
}

void Metrics::add_value(const std::string& name, const std::string& help, bool counter,
                        std::function<double()> value) {
  const auto read = [value = std::move(value)] {
    return std::map<std::string, double>{{std::string(), value()}};
  };
  values_->add({name, help, counter, std::string(), read});
}

void Metrics::add_values(const std::string& name, const std::string& help, const std::string& label,
                         std::function<std::map<std::string, double>()> values) {
  values_->add({name, help, true, label, std::move(values)});
}

nexa::text::Done Metrics::expose(const Address& address) {
  page_ = std::make_unique<MetricsPage>([this] { return page_text(); });
  nexa::text::Done done = page_->start(address);
  if (!done.ok()) page_.reset();
  return done;
}

void Metrics::unexpose() { page_.reset(); }

int Metrics::port() const { return page_ == nullptr ? 0 : page_->port(); }

std::string Metrics::page_text() const {
  std::vector<prometheus::MetricFamily> families = registry_->Collect();
  for (auto& family : values_->Collect()) families.push_back(std::move(family));
  return prometheus::TextSerializer().Serialize(families);
}

}  // namespace nexad
