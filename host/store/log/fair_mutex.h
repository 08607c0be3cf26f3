// A mutex that comes round: who waits for it has it before who had it last has it again.
#ifndef HOST_STORE_LOG_FAIR_MUTEX_H_
#define HOST_STORE_LOG_FAIR_MUTEX_H_

#include <mutex>

namespace nexa::store {

// For std::lock_guard and std::unique_lock. A std::mutex goes to who asks first after it is free,
// and that is a thread that holds it again and again, not one that has to be woken for it: the
// other may wait for seconds. Here who waits has taken the next turn already.
class FairMutex {
 public:
  void lock() {
    const std::lock_guard<std::mutex> turn(next_);
    mutex_.lock();
  }
  void unlock() { mutex_.unlock(); }

 private:
  std::mutex next_;  // held by the one that waits for `mutex_`
  std::mutex mutex_;
};

}  // namespace nexa::store

#endif  // HOST_STORE_LOG_FAIR_MUTEX_H_
