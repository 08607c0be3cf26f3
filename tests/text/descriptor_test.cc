// Who closes a descriptor, and when.
#include "text/descriptor.h"

#include <fcntl.h>
#include <gtest/gtest.h>

#include <cerrno>

namespace {

using nexa::text::Descriptor;

int open_null() { return open("/dev/null", O_RDONLY | O_CLOEXEC); }
bool is_open(int fd) { return fcntl(fd, F_GETFD) >= 0; }

TEST(Descriptor, ClosesAtItsEnd) {
  const int fd = open_null();
  {
    const Descriptor owner(fd);
    EXPECT_TRUE(owner.is_open());
    EXPECT_EQ(owner.get(), fd);
  }
  EXPECT_FALSE(is_open(fd));
}

TEST(Descriptor, MovesAndReleases) {
  const int one = open_null();
  const int two = open_null();
  Descriptor first(one);
  Descriptor second(two);
  first = std::move(second);
  EXPECT_FALSE(is_open(one));
  EXPECT_EQ(first.get(), two);
  Descriptor third(std::move(first));
  EXPECT_EQ(third.release(), two);
  EXPECT_FALSE(third.is_open());
  EXPECT_TRUE(is_open(two));
  Descriptor last(two);
  last.close();
  EXPECT_FALSE(is_open(two));
  last.close();
}

TEST(Descriptor, LeavesErrno) {
  {
    const Descriptor no_such(1 << 20);
    errno = ENOENT;
  }
  EXPECT_EQ(errno, ENOENT);
}

}  // namespace
