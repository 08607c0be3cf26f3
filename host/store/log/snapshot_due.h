// When is the next snapshot due? A start reads the newest image and what was logged after it, so
// the log may grow to about the size of the image before a new one is worth writing.
#ifndef HOST_STORE_LOG_SNAPSHOT_DUE_H_
#define HOST_STORE_LOG_SNAPSHOT_DUE_H_

#include <cstdint>

#include "store/log/log_types.h"

namespace nexa::store {

// Whether what lies after the newest snapshot weighs more than that snapshot: the bytes of the
// effects and a cost for each commit, against the image's bytes (at least 64 KiB). A commit costs
// 200 bytes, or more when `interval` is small: with an image below 64 KiB one is due after at most
// `interval` commits (0 counts as 1). After 100,000 commits one is always due; after the first one
// only with an interval of 1: a large commit is read as fast as the image that it leaves.
bool snapshot_due(const LogTail& tail, std::uint64_t interval);

}  // namespace nexa::store

#endif  // HOST_STORE_LOG_SNAPSHOT_DUE_H_
