// One nexad of this build, started over an empty data folder and ended with its owner.
#ifndef BENCH_NEXAD_SERVER_PROCESS_H_
#define BENCH_NEXAD_SERVER_PROCESS_H_

#include <sys/types.h>

#include <cstddef>
#include <string>

namespace nexa_bench {

enum class Sync : unsigned char { kDurable, kLeftOut };

class ServerProcess {
 public:
  // Starts the server and waits until it serves; address() is empty when it does not, and the
  // reason is on standard error.
  explicit ServerProcess(Sync sync);
  ~ServerProcess();
  ServerProcess(const ServerProcess&) = delete;
  ServerProcess& operator=(const ServerProcess&) = delete;

  const std::string& address() const { return address_; }

  // Resident memory now, in bytes; 0 when it cannot be read.
  std::size_t resident_bytes() const;

 private:
  void wait_ready();

  std::string folder_;
  std::string address_;
  pid_t process_ = -1;
};

}  // namespace nexa_bench

#endif  // BENCH_NEXAD_SERVER_PROCESS_H_
