// Interfaces of a folder that stands for /sys over openconfig-interfaces, and how their changes are
// told.
#include "state/openconfig_interfaces.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <utility>

#include "fake_sysfs.h"
#include "kestrel/kestrel.h"
#include "real/yang_folders.h"
#include "state_documents.h"

namespace nexa::state {
namespace {

using nexa_test::load_from;
using nexa_test::read_strictly;
using nexa_test::xml_of;
using ::testing::HasSubstr;
using ::testing::Not;

// Tells of a change when the test says so.
class FakeEvents : public InterfaceEvents {
 public:
  bool works() const override { return works_; }
  void listen(const void*, std::function<void()> changed) override {
    changed_ = std::move(changed);
  }

  bool is_listened_to() const { return changed_ != nullptr; }
  void tell() const { changed_(); }
  void fail() { works_ = false; }

 private:
  bool works_ = true;
  std::function<void()> changed_;
};

class OpenConfigInterfaces : public ::testing::Test {
 protected:
  void SetUp() override {
    NEXA_NEED_FOLDER(nexa_test::openconfig_folder());
    ASSERT_EQ(load({"openconfig-interfaces", "openconfig-if-ip", "iana-if-type"}), "");
  }

  static std::string load(std::vector<std::string> modules) {
    return load_from({nexa_test::openconfig_folder().path}, std::move(modules));
  }

  std::unique_ptr<StateProvider> make() {
    return make_openconfig_interfaces({fake_.sysfs(), [this] { return addresses_; }, events_});
  }
  std::string json() { return read_strictly(xml_of(*make())); }

  nexa_test::FakeSysfs fake_;
  std::vector<InterfaceAddress> addresses_;
  std::shared_ptr<FakeEvents> events_ = std::make_shared<FakeEvents>();
};

TEST_F(OpenConfigInterfaces, GivesWhatTheMachineSays) {
  fake_.add("eth0", {{"type", "1\n"},
                     {"flags", "0x1003\n"},
                     {"operstate", "up\n"},
                     {"ifindex", "2\n"},
                     {"mtu", "1500\n"},
                     {"carrier_changes", "4\n"},
                     {"statistics/rx_bytes", "18446744073709551615\n"},
                     {"statistics/rx_packets", "10\n"},
                     {"statistics/multicast", "3\n"},
                     {"statistics/rx_dropped", "4294967301\n"},
                     {"statistics/rx_errors", "6\n"},
                     {"statistics/rx_crc_errors", "1\n"},
                     {"statistics/tx_bytes", "7\n"},
                     {"statistics/tx_packets", "8\n"},
                     {"statistics/tx_dropped", "9\n"},
                     {"statistics/tx_errors", "11\n"}});
  EXPECT_EQ(json(), R"({"openconfig-interfaces:interfaces":{"interface":[{"name":"eth0","state":)"
                    R"({"name":"eth0","type":"iana-if-type:ethernetCsmacd","mtu":1500,"ifindex":2,)"
                    R"("admin-status":"UP","oper-status":"UP","counters":{)"
                    R"("in-octets":"18446744073709551615","in-pkts":"10","in-multicast-pkts":"3",)"
                    R"("in-errors":"6","in-discards":"4294967301","out-octets":"7","out-pkts":"8",)"
                    R"("out-discards":"9","out-errors":"11","in-fcs-errors":"1",)"
                    R"("carrier-transitions":"4"}}}]}})");
}

TEST_F(OpenConfigInterfaces, AddressesBelongToSubinterfaceZero) {
  fake_.add("eth0", {{"flags", "0x1002\n"}});
  fake_.add("eth1", {});
  addresses_ = {{"eth0", false, "192.0.2.1", 24},
                {"eth0", true, "2001:db8::1", 64},
                {"eth0", false, "192.0.2.2", 32},
                {"gone", false, "192.0.2.3", 32}};
  EXPECT_EQ(json(),
            R"({"openconfig-interfaces:interfaces":{"interface":[{"name":"eth0","state":)"
            R"({"name":"eth0","admin-status":"DOWN"},"subinterfaces":{"subinterface":[{"index":0,)"
            R"("state":{"index":0},"openconfig-if-ip:ipv4":{"addresses":{"address":[)"
            R"({"ip":"192.0.2.1","state":{"ip":"192.0.2.1","prefix-length":24}},)"
            R"({"ip":"192.0.2.2","state":{"ip":"192.0.2.2","prefix-length":32}}]}},)"
            R"("openconfig-if-ip:ipv6":{"addresses":{"address":[{"ip":"2001:db8::1","state":)"
            R"({"ip":"2001:db8::1","prefix-length":64}}]}}}]}},)"
            R"({"name":"eth1","state":{"name":"eth1"}}]}})");
}

TEST_F(OpenConfigInterfaces, WithoutTheModuleOfAddressesThereAreNone) {
  ASSERT_EQ(load({"openconfig-interfaces"}), "");
  fake_.add("eth0", {{"type", "1\n"}});
  addresses_ = {{"eth0", false, "192.0.2.1", 24}};
  const std::string text = json();
  EXPECT_THAT(text, HasSubstr(R"("subinterface":[{"index":0,"state":{"index":0}}])"));
  EXPECT_THAT(text, Not(HasSubstr("192.0.2.1")));
  EXPECT_THAT(text, Not(HasSubstr("ethernetCsmacd")));
}

TEST_F(OpenConfigInterfaces, WithoutItsModuleThereIsNothing) {
  ASSERT_EQ(load({"iana-if-type"}), "");
  fake_.add("eth0", {{"mtu", "1500\n"}});
  EXPECT_EQ(xml_of(*make()), "");
}

TEST_F(OpenConfigInterfaces, OperationalStates) {
  const std::pair<const char*, const char*> states[] = {
      {"up", "UP"},           {"down", "DOWN"},
      {"dormant", "DORMANT"}, {"testing", "TESTING"},
      {"unknown", "UNKNOWN"}, {"notpresent", "NOT_PRESENT"},
      {"<new>", "UNKNOWN"},   {"lowerlayerdown", "LOWER_LAYER_DOWN"}};
  for (const auto& [state, expected] : states) {
    fake_.add("eth0", {{"operstate", state}});
    EXPECT_THAT(json(), HasSubstr("\"oper-status\":\"" + std::string(expected) + "\"")) << state;
  }
}

TEST_F(OpenConfigInterfaces, LeavesOutWhatTheModelCannotHold) {
  fake_.add("a<b>&\"", {{"mtu", "65536\n"}, {"ifindex", "4294967296"}, {"flags", "up"}});
  EXPECT_EQ(json(), R"({"openconfig-interfaces:interfaces":{"interface":[{"name":"a<b>&\"",)"
                    R"("state":{"name":"a<b>&\""}}]}})");
}

TEST_F(OpenConfigInterfaces, TheLastChangeIsKnownOnceOneWasSeen) {
  const auto provider = make();
  fake_.add("eth0", {{"operstate", "down\n"}});
  int calls = 0;
  provider->watch([&calls] { ++calls; });
  EXPECT_THAT(xml_of(*provider), Not(HasSubstr("last-change")));
  fake_.add("eth0", {{"operstate", "up\n"}});
  events_->tell();
  EXPECT_EQ(calls, 1);
  const std::string seen = xml_of(*provider);
  EXPECT_THAT(seen, HasSubstr("<last-change>1"));
  EXPECT_EQ(xml_of(*provider), seen);
  provider->watch(nullptr);
  EXPECT_FALSE(events_->is_listened_to());
}

TEST_F(OpenConfigInterfaces, CountersAreGaugesAndTheRestChangesByEvents) {
  const kestrel_cs_node* const interfaces =
      kestrel_find_cs_root(kestrel_str2hash("http://openconfig.net/yang/interfaces"));
  const auto below = [](const kestrel_cs_node* node, const char* name) {
    return kestrel_find_cs_node_child(node, kestrel_str2hash(name), node->ns);
  };
  ASSERT_NE(interfaces, nullptr);
  const kestrel_cs_node* const state = below(below(interfaces, "interface"), "state");
  const kestrel_cs_node& status = *below(state, "oper-status");
  const kestrel_cs_node& octets = *below(below(state, "counters"), "in-octets");
  const auto provider = make();
  EXPECT_EQ(provider->pace(status), Pace::kEvents);
  EXPECT_EQ(provider->pace(octets), Pace::kGauge);
  events_->fail();
  EXPECT_EQ(provider->pace(status), Pace::kGauge);
  EXPECT_EQ(make_openconfig_interfaces({fake_.sysfs(), read_addresses, nullptr})->pace(status),
            Pace::kGauge);
}

TEST_F(OpenConfigInterfaces, EndsToListenWithItself) {
  {
    const auto provider = make();
    provider->watch([] {});
    EXPECT_TRUE(events_->is_listened_to());
  }
  EXPECT_FALSE(events_->is_listened_to());
}

TEST_F(OpenConfigInterfaces, ThisMachine) {
  if (!std::filesystem::exists("/sys/class/net/lo/statistics/rx_bytes")) {
    GTEST_SKIP() << "no /sys/class/net/lo here";
  }
  const std::string text = read_strictly(xml_of(*make_openconfig_interfaces({})));
  EXPECT_THAT(text, Not(HasSubstr("refused")));
  EXPECT_THAT(text, HasSubstr(R"("name":"lo","state":{"name":"lo")"));
  EXPECT_THAT(text, HasSubstr(R"("in-octets":)"));
}

}  // namespace
}  // namespace nexa::state
