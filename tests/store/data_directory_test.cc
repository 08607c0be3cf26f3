// Who holds a data directory, also where nothing can be written in it.
#include "store/log/data_directory.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <unistd.h>

#include <filesystem>

#include "real/temp_folder.h"

namespace nexa::store {
namespace {

namespace fs = std::filesystem;

// The line of why it cannot be held; empty when it can.
std::string refusal(const std::string& path) {
  const auto held = DataDirectory::hold(path);
  return held.ok() ? std::string() : held.failure().line();
}

TEST(DataDirectoryLock, IsHeldByOneAtATime) {
  const nexa_test::TempFolder folder;
  const std::string path = folder.file("data");
  {
    const auto held = DataDirectory::hold(path);
    ASSERT_TRUE(held.ok()) << held.failure().line();
    EXPECT_EQ(refusal(path), path + ": in use by process " + std::to_string(getpid()));
  }
  EXPECT_EQ(refusal(path), "");
}

TEST(DataDirectoryLock, NeedsNoFileInADirectoryThatIsOnlyRead) {
  const nexa_test::TempFolder folder;
  fs::permissions(folder.path(), fs::perms(0755));
  const std::string path = folder.file("data");
  fs::create_directory(path);
  fs::permissions(path, fs::perms(0555));
  const bool was_root = geteuid() == 0;
  ASSERT_TRUE(!was_root || seteuid(65534) == 0);
  const auto held = DataDirectory::hold(path);
  EXPECT_TRUE(held.ok()) << held.failure().line();
  EXPECT_EQ(refusal(path), path + ": in use by process unknown");
  EXPECT_FALSE(fs::exists(path + "/lock"));
  ASSERT_TRUE(!was_root || seteuid(0) == 0);
  fs::permissions(path, fs::perms(0755));
}

TEST(DataDirectoryLock, SaysWhyItCannotBeMade) {
  EXPECT_EQ(refusal("/proc/nothing/here"),
            "/proc/nothing/here: cannot make the data directory: No such file or directory");
}

// It is not for want of room that it cannot be made: another process would lock another file.
TEST(DataDirectoryLock, IsNoLinkToAnotherFile) {
  const nexa_test::TempFolder folder;
  const std::string path = folder.file("data");
  fs::create_directory(path);
  fs::create_symlink(folder.file("elsewhere"), path + "/lock");
  EXPECT_EQ(refusal(path), path + "/lock: cannot open: Too many levels of symbolic links");
}

TEST(DataDirectoryLock, IsOfADirectory) {
  const nexa_test::TempFolder folder;
  folder.write("data", "x");
  const std::string path = folder.file("data");
  EXPECT_EQ(refusal(path), path + ": cannot open: Not a directory");
}

// A program that knows nothing of the directory's lock holds the file's.
TEST(DataDirectoryLock, IsHeldByWhoeverLockedTheFile) {
  const nexa_test::TempFolder folder;
  const std::string path = folder.file("data");
  fs::create_directory(path);
  for (const auto& [written, holder] : {std::pair("", "unknown"), std::pair("123\n", "123"),
                                        std::pair("77 x 5", "77"), std::pair("x5", "unknown")}) {
    folder.write("data/lock", written);
    const text::Descriptor other(::open((path + "/lock").c_str(), O_RDWR | O_CLOEXEC));
    ASSERT_EQ(flock(other.get(), LOCK_EX | LOCK_NB), 0);
    EXPECT_EQ(refusal(path), path + ": in use by process " + holder);
    EXPECT_EQ(fs::file_size(path + "/lock"), std::string(written).size()) << "it is the other's";
  }
  EXPECT_EQ(refusal(path), "");
}

}  // namespace
}  // namespace nexa::store
