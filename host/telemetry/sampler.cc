// Appointments are kept in the order of their times; the thread sleeps until the first.
#include "telemetry/sampler.h"

namespace nexa::telemetry {

MonotonicTime next_beat(MonotonicTime previous, std::chrono::nanoseconds interval,
                        MonotonicTime now) {
  if (previous + interval > now) return previous + interval;
  const std::int64_t missed = (now - previous) / interval;
  return previous + interval * (missed + 1);
}

Sampler::Sampler() : thread_([this] { run(); }) {}

Sampler::~Sampler() { stop(); }

Sampler::Appointment Sampler::schedule(MonotonicTime time, const std::weak_ptr<Sampled>& sampled) {
  const std::lock_guard<std::mutex> lock(mutex_);
  const Appointment appointment{time, ++last_number_};
  const auto place = appointments_.emplace(appointment, sampled).first;
  if (place == appointments_.begin()) wake_.notify_one();
  return appointment;
}

void Sampler::cancel(const Appointment& appointment) {
  const std::lock_guard<std::mutex> lock(mutex_);
  appointments_.erase(appointment);
}

void Sampler::stop() {
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    stopped_ = true;
  }
  wake_.notify_one();
  if (thread_.joinable()) thread_.join();
}

void Sampler::run() {
  std::unique_lock<std::mutex> lock(mutex_);
  while (!stopped_) {
    if (appointments_.empty()) {
      wake_.wait(lock);
      continue;
    }
    const auto first = appointments_.begin();
    const MonotonicTime time = first->first.first;
    if (time > std::chrono::steady_clock::now()) {
      wake_.wait_until(lock, time);
      continue;
    }
    const std::weak_ptr<Sampled> sampled = std::move(first->second);
    appointments_.erase(first);
    lock.unlock();
    if (const std::shared_ptr<Sampled> living = sampled.lock()) living->due();
    lock.lock();
  }
}

}  // namespace nexa::telemetry
