// Logins whose password has to be hashed, which takes as long as a thousand reads: who waits, for
// how long, and who is sent away.
#ifndef HOST_SERVER_LOGIN_QUEUE_H_
#define HOST_SERVER_LOGIN_QUEUE_H_

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace nexa::server {

// Addresses take turns, so that one that guesses passwords holds up no other. Of one address the
// newest login is next: whoever floods it pushes his own attempts back, and not a person who comes
// from there later. After a few wrong passwords an address waits between attempts, longer with
// each.
class LoginQueue {
 public:
  using Clock = std::chrono::steady_clock;

  struct Limits {
    unsigned threads = 2;
    std::size_t of_one = 50;  // that wait, from one address
    std::size_t of_all = 200;
    unsigned free_failures = 5;
    std::chrono::milliseconds first_delay{50};
    std::chrono::milliseconds longest_delay{1000};
    std::chrono::seconds memory{60};  // after which an address's failures are forgotten
    std::size_t addresses = 10000;    // whose failures are remembered
  };

  struct Login {
    std::function<bool()> judge;   // on a thread of the queue; whether the password was wrong
    std::function<void()> refuse;  // instead of it, on any thread: there is no room
  };

  using FaultSink = std::function<void(const std::string&)>;

  // `on_fault` is told of an exception that a login let out.
  LoginQueue(const Limits& limits, FaultSink on_fault);
  ~LoginQueue();  // stop()
  LoginQueue(const LoginQueue&) = delete;
  LoginQueue& operator=(const LoginQueue&) = delete;

  // Judges the login when its turn comes, or refuses it, or an older one, when too many wait. False
  // when the queue was stopped; the login is dropped then. Any thread.
  bool post(const std::string& address, Login login);

  // Judges those that wait, without delays; joins the threads.
  void stop();

 private:
  struct Address {
    std::deque<Login> waiting;  // the newest is last
    std::uint64_t served = 0;   // the turn it had last
    unsigned judged = 0;        // that are judged now; the address stays meanwhile
    unsigned failures = 0;
    Clock::time_point not_before{};
    Clock::time_point last_failure{};
  };
  using Addresses = std::map<std::string, Address>;

  void run();
  // With the mutex held.
  Addresses::iterator next(Clock::time_point now, Clock::time_point& wake);
  Login take_oldest(Address& address);
  Addresses::iterator longest();
  static bool is_idle(const Address& address);
  void note_failure(Address& failed) const;
  void forget(Clock::time_point now);
  std::chrono::milliseconds delay_after(unsigned failures) const;

  const Limits limits_;
  const FaultSink on_fault_;
  std::mutex mutex_;
  std::condition_variable wake_;
  Addresses addresses_;
  std::size_t waiting_ = 0;
  std::uint64_t turn_ = 0;
  bool stopped_ = false;
  std::vector<std::thread> threads_;
};

}  // namespace nexa::server

#endif  // HOST_SERVER_LOGIN_QUEUE_H_
