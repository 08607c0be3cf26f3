// What is looked at before anything is opened, and what gives pause.
#include "preflight.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "support/results.h"

namespace {

using namespace nexad;
using testing::ElementsAre;
using testing::IsEmpty;

class Preflight : public testing::Test {
 protected:
  Preflight() {
    std::filesystem::create_directory(folder_);
    config_.data = folder_ + "/data";
  }
  ~Preflight() override { std::filesystem::remove_all(folder_); }

  std::string file(const std::string& name, mode_t mode) const {
    const std::string path = folder_ + "/" + name;
    std::ofstream(path) << "#!/bin/sh\n";
    chmod(path.c_str(), mode);
    return path;
  }

  std::string fault() const {
    const auto done = check_folders_and_programs(config_);
    EXPECT_FALSE(done.ok());
    return nexa_test::line_of(done);
  }

  bool passes() const {
    const auto done = check_folders_and_programs(config_);
    EXPECT_EQ(nexa_test::line_of(done), "");
    return done.ok();
  }

  const std::string folder_ = testing::TempDir() + "nexad_preflight_" + std::to_string(getpid());
  ServerConfig config_;
};

TEST_F(Preflight, TakesADataFolderThatIsThereOrCanBeMade) {
  EXPECT_TRUE(passes());
  EXPECT_FALSE(std::filesystem::exists(config_.data));
  std::filesystem::create_directory(config_.data);
  EXPECT_TRUE(passes());
  config_.data += "/deeper/";
  EXPECT_TRUE(passes());
}

TEST_F(Preflight, RefusesADataFolderThatWouldNotBeMade) {
  config_.data += "/deeper";
  EXPECT_EQ(fault(), "--data: there is no folder " + folder_ + "/data to make it in");
}

TEST_F(Preflight, RefusesADataFolderThatIsAFile) {
  config_.data = file("data", 0644);
  EXPECT_EQ(fault(), "--data: " + config_.data + " is not a folder");
  config_.data += "/below";
  EXPECT_EQ(fault(), "--data: " + folder_ + "/data is not a folder");
}

TEST_F(Preflight, LooksForTheHookAsItWillBeStarted) {
  config_.hook = {"true", "argument"};
  EXPECT_TRUE(passes());
  config_.hook = {file("hook", 0755)};
  EXPECT_TRUE(passes());
  config_.hook = {file("text", 0644)};
  EXPECT_EQ(fault(), "--hook: there is no program " + folder_ + "/text");
  config_.hook = {"no-such-program"};
  config_.origins["hook"] = "NEXAD_HOOK";
  EXPECT_EQ(fault(), "NEXAD_HOOK: there is no program no-such-program");
}

TEST_F(Preflight, WarnsOfAHookThatIsNotThere) {
  config_.listen = "127.0.0.1:0";
  config_.hook = {"/no/such/program"};
  EXPECT_EQ(warnings_of(config_),
            std::vector<std::string>{"--hook: there is no program /no/such/program; until there "
                                     "is, every Set is refused"});
  config_.hook = {"/bin/sh"};
  EXPECT_EQ(warnings_of(config_), std::vector<std::string>{});
}

TEST_F(Preflight, LooksForTheListenName) {
  config_.listen = "no-such-host.invalid:9339";
  EXPECT_EQ(fault().substr(0, 37), "--listen: no-such-host.invalid:9339: ");
}

TEST_F(Preflight, WarnsOfSecretsThatAllCanRead) {
  config_.tls_key = file("key", 0600);
  config_.users = file("users", 0640);
  EXPECT_THAT(warnings_of(config_), IsEmpty());
  chmod(config_.tls_key.c_str(), 0644);
  EXPECT_THAT(warnings_of(config_),
              ElementsAre(config_.tls_key + " can be read by every user of this machine"));
}

TEST_F(Preflight, WarnsOfDoorsThatAreOpen) {
  config_.insecure = true;
  EXPECT_THAT(warnings_of(config_), IsEmpty());
  config_.listen = ":9339";
  EXPECT_THAT(
      warnings_of(config_),
      ElementsAre(
          ":9339 can be reached from other machines, and connections to it are not encrypted",
          ":9339 can be reached from other machines, and everybody who connects may read and "
          "write"));
  config_.insecure = false;
  config_.tls_ca = "ca.crt";
  EXPECT_THAT(warnings_of(config_), IsEmpty());
}

}  // namespace
