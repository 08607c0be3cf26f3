// The program does it to itself: posix_spawn(3) has no way to ask for any of it.
#include "background.h"

#include <fcntl.h>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <csignal>
#include <string_view>

#include "text/descriptor.h"

namespace nexa_tool {
namespace {

constexpr int kLowestPriority = 19;
// linux/ioprio.h has no part for programs before glibc 2.36's kernel headers.
constexpr int kOfProcess = 1;
constexpr int kIdleDisk = 3 << 13;
constexpr std::string_view kFirstToGo = "1000";

void lower_priorities() {
  static_cast<void>(setpriority(PRIO_PROCESS, 0, kLowestPriority));
  static_cast<void>(syscall(SYS_ioprio_set, kOfProcess, 0, kIdleDisk));
  const sched_param none{};
  static_cast<void>(sched_setscheduler(0, SCHED_IDLE, &none));
}

void offer_memory() {
  const nexa::text::Descriptor file(open("/proc/self/oom_score_adj", O_WRONLY | O_CLOEXEC));
  if (!file.is_open()) return;
  const ssize_t written = write(file.get(), kFirstToGo.data(), kFirstToGo.size());
  static_cast<void>(written);
}

}  // namespace

bool work_in_background_for(std::uint64_t parent) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  // The parent may have ended before the line above; then another process has taken over.
  if (static_cast<std::uint64_t>(getppid()) != parent) return false;
  lower_priorities();
  offer_memory();
  return true;
}

}  // namespace nexa_tool
