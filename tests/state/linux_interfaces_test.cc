// Interfaces of a folder that stands for /sys, and of this machine, over ietf-interfaces.
#include "state/linux_interfaces.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <ctime>
#include <memory>

#include "fake_sysfs.h"
#include "real/yang_folders.h"
#include "state_documents.h"

namespace nexa::state {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

using nexa_test::load;
using nexa_test::read_strictly;
using nexa_test::xml_of;

class LinuxInterfaces : public ::testing::Test {
 protected:
  void SetUp() override {
    NEXA_NEED_FOLDER(nexa_test::ietf_nmda_folder());
    NEXA_NEED_FOLDER(nexa_test::ietf_folder());
    ASSERT_EQ(load({"ietf-interfaces", "iana-if-type"}), "");
  }

  std::string json() { return read_strictly(xml_of(*make_linux_interfaces(fake_.sysfs()))); }

  nexa_test::FakeSysfs fake_;
};

TEST_F(LinuxInterfaces, GivesWhatTheMachineSays) {
  fake_.add("eth0", {{"type", "1\n"},
                     {"flags", "0x1003\n"},
                     {"operstate", "up\n"},
                     {"ifindex", "2\n"},
                     {"address", "00:1a:2B:00:00:01\n"},
                     {"speed", "1000\n"},
                     {"statistics/rx_bytes", "18446744073709551615\n"},
                     {"statistics/rx_packets", "10\n"},
                     {"statistics/multicast", "3\n"},
                     {"statistics/rx_dropped", "4294967301\n"},
                     {"statistics/rx_errors", "6\n"},
                     {"statistics/tx_bytes", "7\n"},
                     {"statistics/tx_packets", "8\n"},
                     {"statistics/tx_dropped", "9\n"},
                     {"statistics/tx_errors", "11\n"}});
  EXPECT_EQ(json(),
            R"({"ietf-interfaces:interfaces":{"interface":[{"name":"eth0",)"
            R"("type":"iana-if-type:ethernetCsmacd","admin-status":"up","oper-status":"up",)"
            R"("if-index":2,"phys-address":"00:1a:2B:00:00:01","speed":"1000000000",)"
            R"("statistics":{"discontinuity-time":"2020-09-13T12:26:40+00:00",)"
            R"("in-octets":"18446744073709551615","in-multicast-pkts":"3","in-discards":5,)"
            R"("in-errors":6,"out-octets":"7","out-discards":9,"out-errors":11}}]}})");
}

TEST_F(LinuxInterfaces, PacketsAreUnicastWhereThereIsNothingElse) {
  fake_.add(
      "lo",
      {{"flags", "0x9\n"}, {"statistics/rx_packets", "5\n"}, {"statistics/tx_packets", "6\n"}});
  fake_.add("p2p", {{"flags", "0x1010\n"}, {"statistics/rx_packets", "7\n"}});
  EXPECT_EQ(json(),
            R"({"ietf-interfaces:interfaces":{"interface":[{"name":"lo","admin-status":"up",)"
            R"("statistics":{"discontinuity-time":"2020-09-13T12:26:40+00:00",)"
            R"("in-unicast-pkts":"5","out-unicast-pkts":"6"}},)"
            R"({"name":"p2p","admin-status":"down"}]}})");
}

TEST_F(LinuxInterfaces, OperationalStatesAndTypes) {
  const struct {
    const char* state;
    const char* expected;
  } states[] = {{"up", "up"},
                {"down", "down"},
                {"dormant", "dormant"},
                {"testing", "testing"},
                {"unknown", "unknown"},
                {"notpresent", "not-present"},
                {"lowerlayerdown", "lower-layer-down"},
                {"<new>", "unknown"}};
  for (const auto& [state, expected] : states) {
    fake_.add("eth0", {{"operstate", state}});
    EXPECT_THAT(json(), HasSubstr("\"oper-status\":\"" + std::string(expected) + "\"")) << state;
  }
  const struct {
    const char* type;
    const char* expected;
  } types[] = {
      {"1", "ethernetCsmacd"}, {"772", "softwareLoopback"}, {"65534", "tunnel"}, {"801", "other"}};
  for (const auto& [type, expected] : types) {
    fake_.add("eth0", {{"type", type}});
    EXPECT_THAT(json(), HasSubstr("\"type\":\"iana-if-type:" + std::string(expected) + "\""));
  }
}

TEST_F(LinuxInterfaces, LeavesOutWhatIsNoValue) {
  fake_.add("eth0", {{"type", "one"},
                     {"flags", ""},
                     {"ifindex", "0"},
                     {"address", "0.0.0.0"},
                     {"speed", "-1"},
                     {"statistics/rx_bytes", "12x"},
                     {"statistics/tx_bytes", "99999999999999999999"}});
  std::filesystem::create_directory(fake_.folder("eth0") + "/operstate");
  fake_.add("eth1", {{"speed", "4294967295"}, {"ifindex", "2147483648"}, {"address", "00:1"}});
  EXPECT_EQ(json(), R"({"ietf-interfaces:interfaces":{"interface":[{"name":"eth0"},)"
                    R"({"name":"eth1"}]}})");
}

TEST_F(LinuxInterfaces, NamesCannotBreakTheDocument) {
  fake_.add("a<b>&\"'", {{"ifindex", "1"}});
  fake_.add("]]>", {{"ifindex", "2"}});
  fake_.add("\xC3\xA9", {{"ifindex", "3"}});
  EXPECT_EQ(json(), R"({"ietf-interfaces:interfaces":{"interface":[{"name":"]]>","if-index":2},)"
                    R"({"name":"a<b>&\"'","if-index":1},{"name":")"
                    "\xC3\xA9"
                    R"(","if-index":3}]}})");
}

TEST_F(LinuxInterfaces, NamesThatAreNoTextAreLeftOut) {
  fake_.add("bell\x07", {{"ifindex", "1"}});
  fake_.add("half\xC3", {{"ifindex", "2"}});
  fake_.add("long\xC0\xAF", {{"ifindex", "3"}});
  fake_.add("surrogate\xED\xA0\x80", {{"ifindex", "4"}});
  fake_.root().write("sys/class/net/bonding_masters", "bond0\n");
  EXPECT_EQ(xml_of(*make_linux_interfaces(fake_.sysfs())), "");
}

TEST_F(LinuxInterfaces, WithoutAFolderThereIsNothing) {
  EXPECT_EQ(xml_of(*make_linux_interfaces(fake_.root().file("nowhere"))), "");
}

TEST_F(LinuxInterfaces, WithoutIfMibItsNodesAreLeftOut) {
  ASSERT_EQ(load({"ietf-interfaces", "iana-if-type"}, {{"ietf-interfaces", {}}}), "");
  fake_.add("eth0", {{"flags", "0x1\n"}, {"ifindex", "2\n"}, {"operstate", "up\n"}});
  EXPECT_EQ(json(), R"({"ietf-interfaces:interfaces":{"interface":[)"
                    R"({"name":"eth0","oper-status":"up"}]}})");
}

TEST_F(LinuxInterfaces, WithoutTheIdentitiesThereIsNoType) {
  ASSERT_EQ(load({"ietf-interfaces"}), "");
  fake_.add("eth0", {{"type", "1\n"}, {"ifindex", "2\n"}});
  EXPECT_EQ(json(),
            R"({"ietf-interfaces:interfaces":{"interface":[{"name":"eth0","if-index":2}]}})");
  ASSERT_EQ(load({"iana-if-type"}), "");
  EXPECT_EQ(xml_of(*make_linux_interfaces(fake_.sysfs())), "");
}

// The time in the only discontinuity-time of the text.
std::string counting_since(const std::string& xml) {
  const std::string open = "<discontinuity-time>";
  const std::size_t begin = xml.find(open);
  if (begin == std::string::npos) return "";
  return xml.substr(begin + open.size(), 20);
}

TEST_F(LinuxInterfaces, CountersOfAnInterfaceThatComesAgainBeginAnew) {
  const auto provider = make_linux_interfaces(fake_.sysfs());
  fake_.add("veth", {{"ifindex", "7\n"}, {"statistics/rx_bytes", "1\n"}});
  EXPECT_EQ(counting_since(xml_of(*provider)), "2020-09-13T12:26:40Z");
  EXPECT_EQ(counting_since(xml_of(*provider)), "2020-09-13T12:26:40Z");
  fake_.add("veth", {{"ifindex", "8\n"}});
  const std::string again = counting_since(xml_of(*provider));
  EXPECT_GT(again, "2020-09-13T12:26:40Z");
  fake_.remove("veth");
  EXPECT_EQ(xml_of(*provider), "");
  fake_.add("veth", {{"ifindex", "8\n"}, {"statistics/rx_bytes", "1\n"}});
  EXPECT_GE(counting_since(xml_of(*provider)), again);
}

TEST_F(LinuxInterfaces, WithoutTheMachinesStartCountersCountFromTheObjects) {
  std::filesystem::remove(fake_.root().file("proc/stat"));
  fake_.add("eth0", {{"statistics/rx_bytes", "1\n"}});
  const std::int64_t before = std::time(nullptr);
  const std::string since = counting_since(xml_of(*make_linux_interfaces(fake_.sysfs())));
  std::tm parts{};
  ASSERT_NE(strptime(since.c_str(), "%Y-%m-%dT%H:%M:%SZ", &parts), nullptr) << since;
  EXPECT_GE(timegm(&parts), before);
}

TEST_F(LinuxInterfaces, NamesItself) {
  const auto provider = make_linux_interfaces(fake_.sysfs());
  EXPECT_EQ(provider->name(), "linux-interfaces");
  EXPECT_EQ(provider->module(), "ietf-interfaces");
}

TEST_F(LinuxInterfaces, LoopbackOfThisMachine) {
  if (!std::filesystem::exists("/sys/class/net/lo/statistics/rx_bytes")) {
    GTEST_SKIP() << "no /sys/class/net/lo here";
  }
  const std::string text = read_strictly(xml_of(*make_linux_interfaces()));
  EXPECT_THAT(text, Not(HasSubstr("refused")));
  EXPECT_THAT(text, HasSubstr(R"("name":"lo","type":"iana-if-type:softwareLoopback")"));
  EXPECT_THAT(text, HasSubstr(R"("phys-address":"00:00:00:00:00:00")"));
  EXPECT_THAT(text, HasSubstr(R"("in-octets":)"));
}

}  // namespace
}  // namespace nexa::state
