// A commit without much of an effect still costs a start a row and a digest.
#include "store/log/snapshot_due.h"

#include <algorithm>

namespace nexa::store {
namespace {

constexpr std::uint64_t kLeastBytes = std::uint64_t{64} * 1024;
constexpr std::uint64_t kCommitCost = 200;
constexpr std::uint64_t kMostCommits = 100000;

}  // namespace

bool snapshot_due(const LogTail& tail, std::uint64_t interval) {
  const std::uint64_t distance = std::max<std::uint64_t>(interval, 1);
  const std::uint64_t cost = std::max(kCommitCost, (kLeastBytes + distance - 1) / distance);
  if (tail.commits >= kMostCommits) return true;
  // The effect of one commit is no larger than the image that it leaves or the one before it.
  if (tail.commits < std::min<std::uint64_t>(distance, 2)) return false;
  return tail.effect_bytes + tail.commits * cost >= std::max(kLeastBytes, tail.image_bytes);
}

}  // namespace nexa::store
