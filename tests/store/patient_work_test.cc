// Work that gives way.
#include "store/log/patient_work.h"

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <algorithm>
#include <stdexcept>
#include <thread>

namespace nexa::store {
namespace {

TEST(PatientWork, IsDoneAtALowerPriorityOnAnotherThread) {
  const int before = getpriority(PRIO_PROCESS, 0);
  int during = before;
  std::thread::id thread = std::this_thread::get_id();
  do_patiently([&] {
    during = getpriority(PRIO_PROCESS, 0);
    thread = std::this_thread::get_id();
  });
  EXPECT_NE(thread, std::this_thread::get_id());
  EXPECT_EQ(during, std::min(before + 10, 19));
  EXPECT_EQ(getpriority(PRIO_PROCESS, 0), before);
}

TEST(PatientWork, ThrowsWhatTheWorkThrows) {
  EXPECT_THROW(do_patiently([] { throw std::runtime_error("no"); }), std::runtime_error);
}

}  // namespace
}  // namespace nexa::store
