// A folder that stands for the machine's root: sys/class/net with interfaces, proc/stat beside it.
#ifndef TESTS_STATE_FAKE_SYSFS_H_
#define TESTS_STATE_FAKE_SYSFS_H_

#include <map>
#include <string>

#include "real/temp_folder.h"

namespace nexa_test {

class FakeSysfs {
 public:
  FakeSysfs() {
    std::filesystem::create_directories(net());
    std::filesystem::create_directories(root_.file("proc"));
    root_.write("proc/stat", "cpu 1 2 3\nbtime 1600000000\nprocesses 7\n");
  }

  std::string sysfs() const { return root_.file("sys"); }
  std::string net() const { return root_.file("sys/class/net"); }
  std::string folder(const std::string& interface) const { return net() + "/" + interface; }

  // Adds an interface, or values to it. Files are named below its folder.
  void add(const std::string& interface, const std::map<std::string, std::string>& files) const {
    std::filesystem::create_directories(folder(interface) + "/statistics");
    for (const auto& [name, text] : files) {
      root_.write("sys/class/net/" + interface + "/" + name, text);
    }
  }

  void remove(const std::string& interface) const {
    std::filesystem::remove_all(folder(interface));
  }

  const TempFolder& root() const { return root_; }

 private:
  TempFolder root_;
};

}  // namespace nexa_test

#endif  // TESTS_STATE_FAKE_SYSFS_H_
