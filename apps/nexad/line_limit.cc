// The bucket is brought up to date when somebody asks, so that it needs no clock of its own.
#include "line_limit.h"

#include <algorithm>
#include <utility>

namespace nexad {

bool LineLimit::take(Time now) {
  const std::chrono::duration<double> passed = now - last_;
  last_ = now;
  room_ = std::min(kBurst, room_ + passed.count() * kPerSecond);
  if (room_ < 1) {
    ++left_out_;
    return false;
  }
  room_ -= 1;
  return true;
}

std::uint64_t LineLimit::take_left_out() { return std::exchange(left_out_, 0); }

}  // namespace nexad
