// When a snapshot is due, as a table.
#include "store/log/snapshot_due.h"

#include <gtest/gtest.h>

namespace nexa::store {
namespace {

struct Case {
  const char* what;
  std::uint64_t commits;
  std::uint64_t effect_bytes;
  std::uint64_t image_bytes;
  std::uint64_t interval;
  bool due;
};

constexpr std::uint64_t kMega = 1000000;

constexpr Case kCases[] = {
    {"nothing was committed", 0, 0, 0, 1, false},
    {"nothing was committed, whatever the rest says", 0, kMega, 0, 1, false},
    {"a small log over a small image", 100, 10000, 1000, 1000, false},
    {"64 KiB in two commits", 2, 65136, 1000, 1000, true},
    {"just below", 2, 65135, 1000, 1000, false},
    {"one commit, however large", 1, 100 * kMega, 1000, 1000, false},
    {"many small commits weigh as much", 328, 0, 1000, 1000, true},
    {"a few less do not", 327, 0, 1000, 1000, false},
    {"an image of 100 MB is not written again for 1000 leaves", 1000, 100000, 100 * kMega, 1000,
     false},
    {"nor for 50,000", 50000, 5 * kMega, 100 * kMega, 1000, false},
    {"but when as much was logged", 10, 100 * kMega, 100 * kMega, 1000, true},
    {"or after 100,000 commits", 100000, 0, 1000 * kMega, 1000, true},
    {"not one before", 99999, 0, 1000 * kMega, 1000, false},
    {"an interval of 3, a small image", 3, 0, 1000, 3, true},
    {"two of three", 2, 0, 1000, 3, false},
    {"an interval of 1", 1, 0, 0, 1, true},
    {"an interval of 0 is one of 1", 1, 0, 0, 0, true},
    {"an interval of 1 over a large image", 100, 0, 100 * kMega, 1, false},
};

TEST(SnapshotDue, ComparesTheLogWithTheImage) {
  for (const Case& one : kCases) {
    EXPECT_EQ(snapshot_due({0, one.commits, one.effect_bytes, one.image_bytes}, one.interval),
              one.due)
        << one.what;
  }
}

}  // namespace
}  // namespace nexa::store
