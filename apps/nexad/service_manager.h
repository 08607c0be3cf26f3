// What the service manager is told (sd_notify(3)). Without one, nothing happens.
#ifndef APPS_NEXAD_SERVICE_MANAGER_H_
#define APPS_NEXAD_SERVICE_MANAGER_H_

#include <chrono>
#include <string>

namespace nexad {

class ServiceManager {
 public:
  // Reads the watchdog's interval from the environment.
  ServiceManager();

  void ready(const std::string& status) const;
  void reloading() const;
  void stopping() const;

  // Tells the watchdog that the server lives when it is time to; call it more often than every
  // second. One thread.
  void tick();

 private:
  using Clock = std::chrono::steady_clock;
  std::chrono::microseconds watchdog_{0};  // half of what the manager grants; 0: none
  Clock::time_point next_{};
};

}  // namespace nexad

#endif  // APPS_NEXAD_SERVICE_MANAGER_H_
