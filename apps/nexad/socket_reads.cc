// gRPC offers no hook here: the program's recvmsg comes before the C library's in the search order
// of the dynamic linker, and calls it.
#include "socket_reads.h"

#include <dlfcn.h>
#include <sys/types.h>

#include <algorithm>
#include <mutex>
#include <shared_mutex>
#include <utility>
#include <vector>

namespace nexad {
namespace {

struct Observers {
  std::shared_mutex mutex;
  std::vector<const SocketReads::Observer*> all;
};

// Never destroyed: gRPC's threads may read while the process ends.
Observers& observers() {
  static auto& result = *new Observers;
  return result;
}

}  // namespace

SocketReads::SocketReads(Observer before_read) : before_read_(std::move(before_read)) {
  const std::unique_lock lock(observers().mutex);
  observers().all.push_back(&before_read_);
}

SocketReads::~SocketReads() {
  const std::unique_lock lock(observers().mutex);
  auto& all = observers().all;
  all.erase(std::find(all.begin(), all.end(), &before_read_));
}

}  // namespace nexad

// The name is given apart, for <sys/socket.h> renames the function where time has 64 bits on a
// machine of 32, and gRPC calls the one without them.
extern "C" __attribute__((visibility("default"))) ssize_t nexad_recvmsg(
    int descriptor, void* message, int flags) __asm__("recvmsg");

ssize_t nexad_recvmsg(int descriptor, void* message, int flags) {
  using Receive = ssize_t (*)(int, void*, int);
  static const auto receive = reinterpret_cast<Receive>(dlsym(RTLD_NEXT, "recvmsg"));
  {
    const std::shared_lock lock(nexad::observers().mutex);
    for (const auto* const before_read : nexad::observers().all) (*before_read)(descriptor);
  }
  return receive(descriptor, message, flags);
}
