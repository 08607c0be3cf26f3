// One queue, one lock, one condition variable.
#include "server/worker_pool.h"

#include <exception>
#include <utility>

#include "server/want_of_memory.h"

namespace nexa::server {

WorkerPool::WorkerPool(unsigned threads, std::size_t limit, FaultSink on_fault)
    : limit_(limit), on_fault_(std::move(on_fault)) {
  threads_.reserve(threads);
  for (unsigned index = 0; index < threads; ++index) threads_.emplace_back([this] { run(); });
}

WorkerPool::~WorkerPool() { stop(); }

bool WorkerPool::post(Task task) { return add(std::move(task), true); }

bool WorkerPool::post_unbounded(Task task) { return add(std::move(task), false); }

bool WorkerPool::add(Task task, bool bounded) {
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (stopped_ || (bounded && waiting_.size() >= limit_)) return false;
    waiting_.push_back(std::move(task));
  }
  wake_.notify_one();
  return true;
}

void WorkerPool::stop() {
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    stopped_ = true;
  }
  wake_.notify_all();
  for (std::thread& thread : threads_) {
    if (thread.joinable()) thread.join();
  }
}

void WorkerPool::run() {
  std::unique_lock<std::mutex> lock(mutex_);
  for (;;) {
    wake_.wait(lock, [this] { return stopped_ || !waiting_.empty(); });
    if (waiting_.empty()) return;
    Task task = std::move(waiting_.front());
    waiting_.pop_front();
    lock.unlock();
    try {
      task();
    } catch (const std::exception& fault) {
      attempt([&] { on_fault_(std::string("a task failed: ") + fault.what()); });
    } catch (...) {
      attempt([&] { on_fault_("a task failed"); });
    }
    task = nullptr;  // what it holds is released without the lock
    lock.lock();
  }
}

}  // namespace nexa::server
