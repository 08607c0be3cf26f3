// Appointments are kept in the order of their times; the thread sleeps until the first.
#include "telemetry/sampler.h"

#include <exception>
#include <utility>

namespace nexa::telemetry {
namespace {

// Where memory is wanting now, there may be some then.
constexpr std::chrono::milliseconds kNextTry{100};

// False when it could not be done.
bool tell(const std::weak_ptr<Sampler::Sampled>& sampled) {
  try {
    if (const std::shared_ptr<Sampler::Sampled> living = sampled.lock()) living->due();
    return true;
  } catch (const std::exception&) {
    return false;
  }
}

}  // namespace

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
    // Kept as it is, so that it needs no memory to be made again.
    auto kept = appointments_.extract(first);
    lock.unlock();
    const bool is_told = tell(kept.mapped());
    if (is_told) kept = {};
    lock.lock();
    if (is_told) continue;
    kept.key().first = std::chrono::steady_clock::now() + kNextTry;
    appointments_.insert(std::move(kept));
  }
}

}  // namespace nexa::telemetry
