// Who holds a data directory, also where nothing can be written in it.
#include "store/log/data_directory.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>

#include "real/temp_folder.h"

namespace nexa::store {
namespace {

namespace fs = std::filesystem;

TEST(DataDirectoryLock, IsHeldByOneAtATime) {
  const nexa_test::TempFolder folder;
  const std::string path = folder.file("data");
  std::string error;
  auto held = DataDirectory::hold(path, error);
  ASSERT_NE(held, nullptr) << error;
  EXPECT_EQ(DataDirectory::hold(path, error), nullptr);
  EXPECT_EQ(error, path + ": in use by process " + std::to_string(getpid()));
  held.reset();
  EXPECT_NE(DataDirectory::hold(path, error), nullptr) << error;
}

TEST(DataDirectoryLock, NeedsNoFileInADirectoryThatIsOnlyRead) {
  const nexa_test::TempFolder folder;
  fs::permissions(folder.path(), fs::perms(0755));
  const std::string path = folder.file("data");
  fs::create_directory(path);
  fs::permissions(path, fs::perms(0555));
  const bool was_root = geteuid() == 0;
  ASSERT_TRUE(!was_root || seteuid(65534) == 0);
  std::string error;
  const auto held = DataDirectory::hold(path, error);
  EXPECT_NE(held, nullptr) << error;
  EXPECT_EQ(DataDirectory::hold(path, error), nullptr);
  EXPECT_EQ(error, path + ": in use by process unknown");
  EXPECT_FALSE(fs::exists(path + "/lock"));
  ASSERT_TRUE(!was_root || seteuid(0) == 0);
  fs::permissions(path, fs::perms(0755));
}

TEST(DataDirectoryLock, SaysWhyItCannotBeMade) {
  std::string error;
  EXPECT_EQ(DataDirectory::hold("/proc/nothing/here", error), nullptr);
  EXPECT_EQ(error, "/proc/nothing/here: cannot make the data directory: No such file or directory");
}

}  // namespace
}  // namespace nexa::store
