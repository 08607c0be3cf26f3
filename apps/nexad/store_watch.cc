// A violation that a verification finds is logged by whoever ran it; here it is only noticed.
#include "store_watch.h"

#include "log.h"

namespace nexad {

bool StoreWatch::look(const nexa::store::StoreHealth& health) {
  if (!health.writable && last_.writable) {
    log_warning("Sets are refused: " + health.obstacle);
  } else if (health.writable && !last_.writable) {
    log_info("the store can be written again");
  }
  if (!has_looked_ && !health.violation.empty()) {
    log_error("the stored configuration is not valid: " + health.violation +
              "; the next Set has to mend it");
  } else if (health.violation.empty() && !last_.violation.empty()) {
    log_info("the configuration is valid again");
  }
  last_ = health;
  has_looked_ = true;
  return health.writable && health.violation.empty();
}

}  // namespace nexad
