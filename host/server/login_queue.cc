// Addresses that wait, or whose failures are remembered, are in one table. Those that wait are few,
// so the next one is searched for.
#include "server/login_queue.h"

#include <algorithm>
#include <exception>
#include <utility>

#include "server/want_of_memory.h"

namespace nexa::server {

LoginQueue::LoginQueue(const Limits& limits, FaultSink on_fault)
    : limits_(limits), on_fault_(std::move(on_fault)) {
  threads_.reserve(limits.threads);
  for (unsigned index = 0; index < limits.threads; ++index) {
    threads_.emplace_back([this] { run(); });
  }
}

LoginQueue::~LoginQueue() { stop(); }

bool LoginQueue::post(const std::string& address, Login login) {
  Login refused;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (stopped_) return false;
    forget(Clock::now());
    Address& posted = addresses_[address];
    posted.waiting.push_back(std::move(login));
    ++waiting_;
    if (posted.waiting.size() > limits_.of_one) {
      refused = take_oldest(posted);
    } else if (waiting_ > limits_.of_all) {
      refused = take_oldest(longest()->second);
    }
  }
  wake_.notify_one();
  if (refused.refuse) attempt(refused.refuse);
  return true;
}

LoginQueue::Login LoginQueue::take_oldest(Address& address) {
  Login oldest = std::move(address.waiting.front());
  address.waiting.pop_front();
  --waiting_;
  return oldest;
}

LoginQueue::Addresses::iterator LoginQueue::longest() {
  return std::max_element(addresses_.begin(), addresses_.end(), [](const auto& a, const auto& b) {
    return a.second.waiting.size() < b.second.waiting.size();
  });
}

// Of those whose delay is over the one that was served longest ago; otherwise end(), and `wake` is
// when the first delay is over.
LoginQueue::Addresses::iterator LoginQueue::next(Clock::time_point now, Clock::time_point& wake) {
  auto found = addresses_.end();
  for (auto at = addresses_.begin(); at != addresses_.end(); ++at) {
    const Address& address = at->second;
    if (address.waiting.empty()) continue;
    if (address.not_before > now && !stopped_) {
      wake = std::min(wake, address.not_before);
    } else if (found == addresses_.end() || address.served < found->second.served) {
      found = at;
    }
  }
  return found;
}

void LoginQueue::run() {
  std::unique_lock<std::mutex> lock(mutex_);
  for (;;) {
    Clock::time_point wake = Clock::time_point::max();
    const auto found = waiting_ == 0 ? addresses_.end() : next(Clock::now(), wake);
    if (found == addresses_.end()) {
      if (stopped_) return;
      if (wake == Clock::time_point::max()) {
        wake_.wait(lock);
      } else {
        wake_.wait_until(lock, wake);
      }
      continue;
    }
    Address& address = found->second;
    address.served = ++turn_;
    ++address.judged;
    Login login = std::move(address.waiting.back());
    address.waiting.pop_back();
    --waiting_;
    lock.unlock();
    bool is_wrong = false;
    try {
      is_wrong = login.judge();
    } catch (const std::exception& fault) {
      attempt([&] { on_fault_(std::string("a login failed: ") + fault.what()); });
    }
    login = Login();  // what it holds is released without the lock
    lock.lock();
    --address.judged;
    if (is_wrong) note_failure(address);
  }
}

bool LoginQueue::is_idle(const Address& address) {
  return address.waiting.empty() && address.judged == 0;
}

void LoginQueue::note_failure(Address& failed) const {
  const Clock::time_point now = Clock::now();
  if (now - failed.last_failure > limits_.memory) failed.failures = 0;
  ++failed.failures;
  failed.last_failure = now;
  failed.not_before = failed.last_failure + delay_after(failed.failures);
}

std::chrono::milliseconds LoginQueue::delay_after(unsigned failures) const {
  if (failures <= limits_.free_failures) return std::chrono::milliseconds(0);
  std::chrono::milliseconds delay = limits_.first_delay;
  for (unsigned more = failures - limits_.free_failures; more > 1 && delay < limits_.longest_delay;
       --more) {
    delay *= 2;
  }
  return std::min(delay, limits_.longest_delay);
}

// Looks at all of them only when there are many.
void LoginQueue::forget(Clock::time_point now) {
  if (addresses_.size() < limits_.addresses) return;
  std::erase_if(addresses_, [&](const auto& entry) {
    return is_idle(entry.second) && now - entry.second.last_failure > limits_.memory;
  });
  if (addresses_.size() < limits_.addresses) return;
  std::erase_if(addresses_, [](const auto& entry) { return is_idle(entry.second); });
}

void LoginQueue::stop() {
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    stopped_ = true;
  }
  wake_.notify_all();
  for (std::thread& thread : threads_) {
    if (thread.joinable()) thread.join();
  }
}

}  // namespace nexa::server
