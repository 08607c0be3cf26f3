// Who waits for whose password to be hashed? Addresses take turns, the newest login of one is
// first.
#include "server/login_queue.h"

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <memory>
#include <string>
#include <vector>

#include "server/support/service_fixture.h"

namespace nexa_test {
namespace {

using nexa::server::LoginQueue;
using namespace std::chrono_literals;

class LoginQueueTest : public testing::Test {
 protected:
  static LoginQueue::Limits one_thread() {
    LoginQueue::Limits limits;
    limits.threads = 1;
    return limits;
  }

  void make(const LoginQueue::Limits& limits) {
    queue_ = std::make_unique<LoginQueue>(limits, [](const std::string&) {});
  }

  // Keeps the one thread busy until release().
  void hold() {
    std::promise<void> begun;
    EXPECT_TRUE(queue_->post("holder", {[&] {
                                          begun.set_value();
                                          released_.get_future().wait();
                                          return false;
                                        },
                                        {}}));
    begun.get_future().wait();
  }
  void release() { released_.set_value(); }

  // A login that leaves its name behind: "name" when it was judged, "-name" when it was refused.
  bool post(const std::string& address, const std::string& name, bool is_wrong = false) {
    return queue_->post(address, {[=, this] {
                                    note(name);
                                    return is_wrong;
                                  },
                                  [=, this] { note("-" + name); }});
  }

  std::string notes() {
    const std::lock_guard<std::mutex> lock(mutex_);
    return notes_;
  }

  std::unique_ptr<LoginQueue> queue_;

 private:
  void note(const std::string& name) {
    const std::lock_guard<std::mutex> lock(mutex_);
    notes_ += name + " ";
  }

  std::promise<void> released_;
  std::mutex mutex_;
  std::string notes_;
};

TEST_F(LoginQueueTest, TheNewestOfAnAddressIsFirst) {
  make(one_thread());
  hold();
  for (const char* name : {"a", "b", "c"}) post("x", name);
  release();
  EXPECT_TRUE(eventually([this] { return notes() == "c b a "; })) << notes();
}

TEST_F(LoginQueueTest, AddressesTakeTurns) {
  make(one_thread());
  hold();
  for (const char* name : {"a", "b", "c"}) post("x", name);
  post("y", "d");
  post("y", "e");
  release();
  EXPECT_TRUE(eventually([this] { return notes() == "c e b d a "; })) << notes();
}

TEST_F(LoginQueueTest, TooManyOfAnAddressPushTheOldestOut) {
  LoginQueue::Limits limits = one_thread();
  limits.of_one = 2;
  make(limits);
  hold();
  for (const char* name : {"a", "b", "c"}) post("x", name);
  EXPECT_EQ(notes(), "-a ");
  release();
  EXPECT_TRUE(eventually([this] { return notes() == "-a c b "; })) << notes();
}

TEST_F(LoginQueueTest, TooManyOfAllPushThoseOfTheFullestAddressOut) {
  LoginQueue::Limits limits = one_thread();
  limits.of_all = 3;
  make(limits);
  hold();
  post("y", "a");
  post("x", "b");
  post("x", "c");
  post("z", "d");
  EXPECT_EQ(notes(), "-b ");
  release();
  EXPECT_TRUE(eventually([this] { return notes().size() == 9; })) << notes();
}

TEST_F(LoginQueueTest, WrongOnesSlowTheirOwnAddressDown) {
  LoginQueue::Limits limits = one_thread();
  limits.free_failures = 2;
  limits.first_delay = 150ms;
  limits.longest_delay = 300ms;
  make(limits);
  const auto wait_for = [this](const std::string& name) {
    const auto begin = LoginQueue::Clock::now();
    EXPECT_TRUE(eventually([&] { return notes().ends_with(name + " "); })) << notes();
    return LoginQueue::Clock::now() - begin;
  };
  const auto wrong = [&](const std::string& name) {
    post("x", name, true);
    return wait_for(name);
  };
  wrong("a");
  wrong("b");
  EXPECT_LT(wrong("c"), 100ms);
  EXPECT_GE(wrong("d"), 140ms);  // less what passed between the verdict and its note
  post("y", "other");
  EXPECT_LT(wait_for("other"), 100ms);
  EXPECT_GE(wrong("e"), 280ms);
  EXPECT_GE(wrong("f"), 280ms);
  EXPECT_LT(wrong("g"), 500ms);  // no longer than the longest
}

TEST_F(LoginQueueTest, FailuresAreForgotten) {
  LoginQueue::Limits limits = one_thread();
  limits.free_failures = 1;
  limits.first_delay = 1ms;
  limits.longest_delay = 10s;
  limits.memory = 0s;
  make(limits);
  for (int turn = 0; turn < 40; ++turn) post("x", "a", true);
  EXPECT_TRUE(eventually([this] { return notes().size() == 80; }, 5s)) << notes();
}

TEST_F(LoginQueueTest, AStoppedQueueJudgesThoseThatWaitAndTakesNoMore) {
  LoginQueue::Limits limits = one_thread();
  limits.free_failures = 0;
  limits.first_delay = limits.longest_delay = 10s;
  make(limits);
  post("x", "a", true);
  EXPECT_TRUE(eventually([this] { return notes() == "a "; }));
  post("x", "b");
  queue_->stop();
  EXPECT_EQ(notes(), "a b ");
  EXPECT_FALSE(post("x", "c"));
  EXPECT_EQ(notes(), "a b ");
}

}  // namespace
}  // namespace nexa_test
