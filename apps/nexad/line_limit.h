// How many lines may somebody else's code write for strangers? Each failed handshake and each bad
// path is a line of gRPC's or the library's, and a night of them must not fill a disk.
#ifndef APPS_NEXAD_LINE_LIMIT_H_
#define APPS_NEXAD_LINE_LIMIT_H_

#include <chrono>
#include <cstdint>

namespace nexad {

// A bucket of lines that fills again with time. Not thread-safe.
class LineLimit {
 public:
  using Time = std::chrono::steady_clock::time_point;

  static constexpr double kBurst = 200;     // lines at once
  static constexpr double kPerSecond = 10;  // lines in the long run

  // Whether a line may be written at `now`; times do not go back.
  bool take(Time now);

  // The lines that were refused since the last call.
  std::uint64_t take_left_out();

 private:
  double room_ = kBurst;
  Time last_{};
  std::uint64_t left_out_ = 0;
};

}  // namespace nexad

#endif  // APPS_NEXAD_LINE_LIMIT_H_
