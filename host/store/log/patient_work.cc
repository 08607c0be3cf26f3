// A thread of its own each time: without a privilege no thread may go back to its old priority.
#include "store/log/patient_work.h"

#include <unistd.h>

#include <exception>
#include <system_error>
#include <thread>

namespace nexa::store {
namespace {

// More than the others': a tenth of the share of one of them where processors are wanting.
constexpr int kNiceness = 10;

}  // namespace

void do_patiently(const std::function<void()>& work) {
  std::exception_ptr thrown;
  const auto run = [&] {
    // On Linux the calling thread's alone. That it cannot be had changes nothing but the time.
    static_cast<void>(nice(kNiceness));
    try {
      work();
    } catch (...) {
      thrown = std::current_exception();
    }
  };
  try {
    std::thread(run).join();
  } catch (const std::system_error&) {
    work();  // no thread can be started now
  }
  if (thrown) std::rethrow_exception(thrown);
}

}  // namespace nexa::store
