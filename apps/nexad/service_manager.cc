// Only the messages; when they are sent is the main loop's affair.
#include "service_manager.h"

#include <systemd/sd-daemon.h>

#include <cstdint>

namespace nexad {

ServiceManager::ServiceManager() {
  std::uint64_t interval = 0;
  if (sd_watchdog_enabled(0, &interval) > 0) watchdog_ = std::chrono::microseconds(interval / 2);
}

void ServiceManager::ready(const std::string& status) const {
  sd_notify(0, ("READY=1\nSTATUS=" + status).c_str());
}

void ServiceManager::reloading() const { sd_notify(0, "RELOADING=1"); }

void ServiceManager::stopping() const { sd_notify(0, "STOPPING=1\nSTATUS=stopping"); }

void ServiceManager::tick() {
  if (watchdog_.count() == 0 || Clock::now() < next_) return;
  next_ = Clock::now() + watchdog_;
  sd_notify(0, "WATCHDOG=1");
}

}  // namespace nexad
