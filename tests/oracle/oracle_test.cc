// Updates of published models: what is stored says the same as the JSON.
#include <gtest/gtest.h>

#include "oracle.h"
#include "real/yang_folders.h"

namespace nexa_test {
namespace {

using nexa::translate::Mode;

// A refusal is part of the answer.
std::string outcome(Oracle& oracle, const std::string& path, const std::string& value, Mode mode) {
  const nexa::translate::Translation result = oracle.translate(path, value, mode);
  if (!result.status.ok()) return "refused: " + result.status.error_message();
  return oracle.difference(path, value, result.xml);
}

struct Update {
  const char* path;
  const char* value;
};

class OracleIetf : public ::testing::TestWithParam<Mode> {
 protected:
  static void SetUpTestSuite() {
    if (!has_modules(ietf_folder())) return;
    kestrel::LoadOptions options;
    options.search_dirs = {ietf_nmda_folder().path, ietf_folder().path};
    options.modules = {
        "ietf-interfaces", "ietf-ip",       "iana-if-type", "ietf-routing",
        "ietf-hardware",   "iana-hardware", "ietf-system",  "ietf-ipv4-unicast-routing"};
    oracle_ = std::make_unique<Oracle>(options);
  }
  static void TearDownTestSuite() { oracle_.reset(); }
  static std::unique_ptr<Oracle> oracle_;
};

std::unique_ptr<Oracle> OracleIetf::oracle_;

// The demo's updates, and others of their kind.
constexpr Update kIetfUpdates[] = {
    {"/ietf-interfaces:interfaces",
     R"({"interface": [{"type": "iana-if-type:ethernetCsmacd", "enabled": true,
         "ietf-ip:ipv4": {"mtu": 1500, "address": [{"prefix-length": 24, "ip": "192.0.2.1"}]},
         "name": "eth0"}]})"},
    {"/ietf-hardware:hardware/component[name=slot 1/port 3]",
     R"({"class": "iana-hardware:port", "parent": "slot 1", "alias": "uplink to the <core>"})"},
    {"/ietf-system:system/ntp/server[name=time-1]/udp/address", R"("198.51.100.7")"},
    {"/ietf-interfaces:interfaces/interface[name=eth0]/ietf-ip:ipv6/address",
     R"([{"ip": "2001:db8::1", "prefix-length": 64}, {"ip": "2001:db8::2", "prefix-length": 64}])"},
    {"/ietf-interfaces:interfaces/interface[name=eth0]/ietf-ip:ipv4/enabled", "false"},
    {"/ietf-system:system",
     R"({"hostname": "core-1", "dns-resolver": {"search": ["b.example", "a.example"]},
         "ntp": {"enabled": true, "server": [{"name": "n", "udp": {"address": "192.0.2.9"},
                                              "prefer": false}]}})"},
    {"/ietf-system:system/dns-resolver/search", R"(["one.example", "two.example"])"},
    {"/ietf-routing:routing/control-plane-protocols/"
     "control-plane-protocol[type=ietf-routing:static][name=s]",
     R"({"static-routes": {"ietf-ipv4-unicast-routing:ipv4": {"route": [
         {"next-hop": {"next-hop-address": "192.0.2.254"},
          "destination-prefix": "203.0.113.0/24"}]}}})"},
    {"/",
     R"({"ietf-system:system": {"location": "n"}, "ietf-interfaces:interfaces": {
         "interface": [{"name": "lo", "type": "iana-if-type:softwareLoopback"}]}})"},
};

TEST_P(OracleIetf, ReadsTheSameTree) {
  NEXA_NEED_FOLDER(ietf_folder());
  ASSERT_EQ(oracle_->load_error(), "");
  for (const Update& update : kIetfUpdates) {
    EXPECT_EQ(outcome(*oracle_, update.path, update.value, GetParam()), "") << update.path;
  }
}

std::string name_of(const ::testing::TestParamInfo<Mode>& mode) {
  return mode.param == Mode::kStrict ? "strict" : "tolerant";
}

INSTANTIATE_TEST_SUITE_P(Modes, OracleIetf, ::testing::Values(Mode::kStrict, Mode::kTolerant),
                         name_of);

}  // namespace
}  // namespace nexa_test
