// One of the store's two trees, and who reads it.
#ifndef HOST_STORE_REPLICA_H_
#define HOST_STORE_REPLICA_H_

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <utility>

#include "store/tree.h"

namespace nexa::host {

// Readers hold it through shared_ptrs to snapshots; a writer changes it only while there are none.
class Replica {
 public:
  explicit Replica(TreePtr tree) : top_(tree.release()) {}
  ~Replica() { lyd_free_all(top_); }
  Replica(const Replica&) = delete;
  Replica& operator=(const Replica&) = delete;

  const lyd_node* top() const { return top_; }
  lyd_node*& mutable_top() { return top_; }

  void enter() {
    const std::lock_guard<std::mutex> lock(mutex_);
    ++readers_;
  }
  void leave() {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (--readers_ == 0) none_left_.notify_all();
  }
  // False when readers are still there after this time.
  bool wait_for_readers(std::chrono::milliseconds limit) {
    std::unique_lock<std::mutex> lock(mutex_);
    return none_left_.wait_for(lock, limit, [this] { return readers_ == 0; });
  }

 private:
  lyd_node* top_;
  std::mutex mutex_;
  std::condition_variable none_left_;
  int readers_ = 0;
};

}  // namespace nexa::host

#endif  // HOST_STORE_REPLICA_H_
