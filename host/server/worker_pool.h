// Threads that take tasks from one bounded queue, in order.
#ifndef HOST_SERVER_WORKER_POOL_H_
#define HOST_SERVER_WORKER_POOL_H_

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace nexa::server {

class WorkerPool {
 public:
  using Task = std::function<void()>;
  using FaultSink = std::function<void(const std::string&)>;

  // `limit` is the number of tasks that may wait. `on_fault` is told of an exception that a task
  // let out; any of the threads calls it.
  WorkerPool(unsigned threads, std::size_t limit, FaultSink on_fault);
  ~WorkerPool();  // stop()
  WorkerPool(const WorkerPool&) = delete;
  WorkerPool& operator=(const WorkerPool&) = delete;

  // False when `limit` tasks wait or the pool was stopped; the task is dropped then. Any thread.
  bool post(Task task);

  // The same without the limit: for tasks whose number something else bounds. Any thread.
  bool post_unbounded(Task task);

  // Takes no more tasks, runs those that wait, joins the threads. Not from a task.
  void stop();

 private:
  bool add(Task task, bool bounded);
  void run();

  const std::size_t limit_;
  const FaultSink on_fault_;
  std::mutex mutex_;
  std::condition_variable wake_;
  std::deque<Task> waiting_;
  bool stopped_ = false;
  std::vector<std::thread> threads_;
};

}  // namespace nexa::server

#endif  // HOST_SERVER_WORKER_POOL_H_
