// When is a stream's next round due? One thread that waits on the monotonic clock for the earliest
// of all appointments; what is then to be done is done elsewhere.
#ifndef HOST_TELEMETRY_SAMPLER_H_
#define HOST_TELEMETRY_SAMPLER_H_

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>

namespace nexa::telemetry {

using MonotonicTime = std::chrono::steady_clock::time_point;

// The time that follows `previous` in steps of `interval` and lies after `now`: rounds that were
// missed are skipped, the beat stays. `interval` is above 0.
MonotonicTime next_beat(MonotonicTime previous, std::chrono::nanoseconds interval,
                        MonotonicTime now);

class Sampler {
 public:
  // Something with an appointment.
  class Sampled {
   public:
    virtual ~Sampled() = default;
    // Called on the sampler's thread: hands the work over and returns. After an exception, which
    // means that there was no memory, it is called again soon.
    virtual void due() = 0;
  };

  using Appointment = std::pair<MonotonicTime, std::uint64_t>;

  Sampler();
  ~Sampler();  // stop()
  Sampler(const Sampler&) = delete;
  Sampler& operator=(const Sampler&) = delete;

  // Calls `sampled`, if it still lives, once at `time`. Any thread.
  Appointment schedule(MonotonicTime time, const std::weak_ptr<Sampled>& sampled);

  // Forgets the appointment; none is no error. Any thread.
  void cancel(const Appointment& appointment);

  // Calls nothing any more and joins the thread. Not from due().
  void stop();

 private:
  void run();

  std::mutex mutex_;
  std::condition_variable wake_;
  std::map<Appointment, std::weak_ptr<Sampled>> appointments_;
  std::uint64_t last_number_ = 0;
  bool stopped_ = false;
  std::thread thread_;
};

}  // namespace nexa::telemetry

#endif  // HOST_TELEMETRY_SAMPLER_H_
