// A folder that stands for /proc over openconfig-system, and this machine.
#include "state/openconfig_system.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <ctime>
#include <memory>

#include "kestrel/kestrel.h"
#include "real/temp_folder.h"
#include "real/yang_folders.h"
#include "state/cpu_usage.h"
#include "state_documents.h"

namespace nexa::state {
namespace {

using nexa_test::load_from;
using nexa_test::read_strictly;
using nexa_test::xml_of;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;

class OpenConfigSystem : public ::testing::Test {
 protected:
  void SetUp() override {
    NEXA_NEED_FOLDER(nexa_test::openconfig_folder());
    ASSERT_EQ(load_from({nexa_test::openconfig_folder().path}, {"openconfig-system"}), "");
    std::filesystem::create_directories(proc_.file("sys/kernel"));
    proc_.write("sys/kernel/hostname", "switch-1\n");
    proc_.write("stat",
                "cpu  10 0 10 80 0 0 0 0 0 0\ncpu0 10 0 10 80 0 0 0 0 0 0\n"
                "intr 1 2 3\nbtime 1600000000\n");
    proc_.write("meminfo",
                "MemTotal:        1000 kB\nMemFree:          100 kB\nMemAvailable:     400 kB\n");
  }

  std::string json() { return read_strictly(xml_of(*make_openconfig_system(proc_.path()))); }

  nexa_test::TempFolder proc_;
};

TEST_F(OpenConfigSystem, GivesNameTimesAndMemory) {
  const std::string text = json();
  EXPECT_THAT(text, HasSubstr(R"("hostname":"switch-1")"));
  EXPECT_THAT(text, HasSubstr(R"("boot-time":"1600000000000000000")"));
  EXPECT_THAT(text, HasSubstr(R"("up-time":")"));
  EXPECT_THAT(text, HasSubstr(R"("current-datetime":"20)"));
  EXPECT_THAT(text, HasSubstr(R"("memory":{"state":{"physical":"1024000","used":"614400",)"
                              R"("free":"102400","available":"409600"}})"));
}

TEST_F(OpenConfigSystem, ProcessorsAreInPercentOfTheTimeSinceTheReadingBefore) {
  const auto provider = make_openconfig_system(proc_.path());
  EXPECT_THAT(xml_of(*provider), Not(HasSubstr("<cpu>")));
  proc_.write("stat", "cpu  40 0 20 110 20 5 5 0 0 0\ncpu0 40 0 20 110 20 5 5 0 0 0\n");
  const std::string text = read_strictly(xml_of(*provider));
  EXPECT_THAT(text, HasSubstr(R"({"index":"ALL","state":{"index":"ALL","total":{"instant":50,)"));
  EXPECT_THAT(text, HasSubstr(R"({"index":0,"state":{"index":0,"total":{"instant":50,)"));
  EXPECT_THAT(text, HasSubstr(R"("user":{"instant":30,)"));
  EXPECT_THAT(text, HasSubstr(R"("kernel":{"instant":10,)"));
  EXPECT_THAT(text, HasSubstr(R"("idle":{"instant":30,)"));
  EXPECT_THAT(text, HasSubstr(R"("wait":{"instant":20,)"));
  EXPECT_THAT(text, HasSubstr(R"("software-interrupt":{"instant":5,)"));
}

TEST_F(OpenConfigSystem, LeavesOutNamesThatAreNoDomainName) {
  for (const char* const name : {"", "-a", "a-", "a..b", ".", "a b", "(none)", "\xC3\xA9"}) {
    proc_.write("sys/kernel/hostname", std::string(name) + "\n");
    EXPECT_THAT(json(), Not(HasSubstr("hostname"))) << name;
  }
  for (const char* const name : {"a", "_a", "a-b_c", "a.b.example"}) {
    proc_.write("sys/kernel/hostname", std::string(name) + "\n");
    EXPECT_THAT(json(), HasSubstr("\"hostname\":\"" + std::string(name) + "\"")) << name;
  }
}

TEST_F(OpenConfigSystem, WhatCannotBeReadIsLeftOut) {
  const nexa_test::TempFolder empty;
  const std::string text = read_strictly(xml_of(*make_openconfig_system(empty.path())));
  EXPECT_THAT(text, HasSubstr("current-datetime"));
  for (const char* const name : {"hostname", "boot-time", "up-time", "memory", "cpus", "refused"}) {
    EXPECT_THAT(text, Not(HasSubstr(name))) << name;
  }
}

TEST_F(OpenConfigSystem, ThisMachine) {
  const std::string text = read_strictly(xml_of(*make_openconfig_system()));
  EXPECT_THAT(text, Not(HasSubstr("refused")));
  EXPECT_THAT(text, HasSubstr("\"physical\":"));
}

TEST(CpuUsage, CountersThatFallBackCountNothing) {
  const std::vector<CpuTimes> before = {{"ALL", {10, 0, 0, 50}}, {"1", {1, 1, 1, 1}}};
  const std::vector<CpuTimes> after = {
      {"ALL", {20, 0, 0, 40}}, {"1", {1, 1, 1, 1}}, {"2", {5, 5, 5, 5}}};
  const std::vector<CpuShares> shares = shares_between(before, after);
  ASSERT_EQ(shares.size(), 1U);
  EXPECT_EQ(shares[0].index, "ALL");
  EXPECT_EQ(shares[0].busy, 100U);
  EXPECT_THAT(shares[0].percent, ElementsAre(100, 0, 0, 0, 0, 0, 0, 0));
}

}  // namespace
}  // namespace nexa::state
