// What an operator hears of the store: a line when something about it changes.
#ifndef APPS_NEXAD_STORE_WATCH_H_
#define APPS_NEXAD_STORE_WATCH_H_

#include "store/config_store.h"

namespace nexad {

// Belongs to one thread.
class StoreWatch {
 public:
  // Logs what has changed since the last look; the first look logs what is wrong. True when commits
  // can be expected to reach the disk and the configuration is not known to break a rule.
  bool look(const nexa::store::StoreHealth& health);

 private:
  bool has_looked_ = false;
  nexa::store::StoreHealth last_;
};

}  // namespace nexad

#endif  // APPS_NEXAD_STORE_WATCH_H_
