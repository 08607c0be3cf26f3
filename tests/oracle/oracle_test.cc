// Real models and payloads: what converts says the same as the JSON, and what does not convert is
// listed here with the reason.
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>

#include "oracle.h"
#include "real/yang_folders.h"

namespace nexa_test {
namespace {

using nexa::host::Converter;

std::string content_of(const std::string& file) {
  std::ifstream in(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

// Both converters; a refusal is part of the answer.
std::string outcome(Oracle& oracle, const std::string& path, const std::string& value,
                    Converter converter) {
  std::string xml;
  const grpc::Status status = oracle.compose(path, value, converter, xml);
  if (!status.ok()) return "refused: " + status.error_message();
  return oracle.difference(path, value, xml);
}

struct Update {
  const char* path;
  const char* value;
};

class OracleIetf : public ::testing::TestWithParam<Converter> {
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

std::string name_of(const ::testing::TestParamInfo<Converter>& converter) {
  return converter.param == Converter::kStrict ? "strict" : "simple";
}

INSTANTIATE_TEST_SUITE_P(Converters, OracleIetf,
                         ::testing::Values(Converter::kStrict, Converter::kSimple), name_of);

struct Payload {
  const char* file;
  const char* path;
  const char* outcome;  // empty: converts, and reads the same
};

constexpr Payload kPayloads[] = {
    {"basic-extra.json", "/",
     "refused: Unknown module [ another-mod ] in path element [ another-mod:aug ]"},
    {"basic.json", "/", ""},
    {"bgp-example-opstate.json", "/", ""},
    {"bgp-example.json", "/", ""},
    {"bgp-ietf.json",
     "/openconfig-network-instance:network-instances/network-instance[name=d]/protocols/"
     "protocol[identifier=openconfig-policy-types:BGP][name=b]/bgp",
     ""},
    {"demo-ietf.json", "/",
     "refused: Unknown module [ network ] in path element [ network:country ]"},
    {"device-ietf.json", "/", "refused: Unknown member /openconfig-system:system/config/@hostname"},
    {"device.json", "/",
     "refused: No schema node for path element \"info\" of /info; write the first element as "
     "module-name:info"},
    {"gnxi-gnmi_target_openconfig-openflow.json", "/", ""},
    {"gnxi-oc_config_validate_demo_init_config.json", "/openconfig-system:system/config", ""},
    {"gnxi-oc_config_validate_demo_target_config.json", "/",
     "refused: Unknown member /openconfig-system:system/openconfig-aaa:aaa"},
    {"gnxi-oc_config_validate_init_configs_ap.json",
     "/openconfig-access-points:access-points/access-point[hostname=ap.example.com]",
     "libyang refuses the JSON: Invalid identityref \"FREQ_5GHZ\" value - identity not found in "
     "module \"openconfig-access-points\"."},
    {"gnxi-oc_config_validate_init_configs_example.json", "/openconfig-system:system/config", ""},
    {"gnxi-oc_config_validate_init_configs_interfaces.json", "/openconfig-interfaces:interfaces",
     ""},
    {"gnxi-oc_config_validate_init_configs_openflow.json", "/", ""},
    {"gnxi-oc_config_validate_init_configs_routing_instance.json",
     "/openconfig-network-instance:network-instances", ""},
    {"gnxi-oc_config_validate_init_configs_routing_instance_bgp.json",
     "/openconfig-network-instance:network-instances",
     "libyang refuses the JSON: Invalid identityref \"BGP\" value - identity not found in module "
     "\"openconfig-network-instance\"."},
    {"gnxi-oc_config_validate_init_configs_subif_static_ip.json",
     "/openconfig-interfaces:interfaces", ""},
    {"gnxi-oc_config_validate_init_configs_system.json", "/openconfig-system:system", ""},
    {"interfaceBenchmarkA.json", "/",
     "libyang refuses the JSON: Invalid non-string-encoded enumeration value \"false\"."},
    {"interfaceBenchmarkB.json", "/",
     "libyang refuses the JSON: Invalid non-string-encoded enumeration value \"false\"."},
    {"interfaces-example.json", "/",
     "refused: Unknown member "
     "/openconfig-interfaces:interfaces/interface[name=TenGigE0/1/0/0/0]/"
     "openconfig-if-ethernet:ethernet/openconfig-if-aggregate:config"},
    {"local-routing-example.json", "/", ""},
    {"optical-ietf.json", "/", ""},
    {"policy-example.json", "/", ""},
    {"relay-agent.json", "/", ""},
    {"system-cpu.json", "/", ""},
    {"unexpected-ntp-invalid-leaf-when.json", "/",
     "refused: Unknown member /system/ntp/servers/server[address=xx:xx:xx:xx:xx:xx]/state/when"},
};

class OraclePayloads : public ::testing::TestWithParam<Converter> {
 protected:
  static void SetUpTestSuite() {
    if (!has_modules(openconfig_folder())) return;
    kestrel::LoadOptions options;
    options.search_dirs = {openconfig_folder().path};
    oracle_ = std::make_unique<Oracle>(options);
  }
  static void TearDownTestSuite() { oracle_.reset(); }
  static std::unique_ptr<Oracle> oracle_;
};

std::unique_ptr<Oracle> OraclePayloads::oracle_;

TEST_P(OraclePayloads, ReadTheSameTreeOrAreRefusedForTheReasonGiven) {
  NEXA_NEED_FOLDER(openconfig_folder());
  if (!has_files(payload_folder(), ".json")) GTEST_SKIP() << absent(payload_folder());
  ASSERT_EQ(oracle_->load_error(), "");
  for (const Payload& payload : kPayloads) {
    const std::string value = content_of(payload_folder().path + "/" + payload.file);
    ASSERT_NE(value, "") << payload.file;
    EXPECT_EQ(outcome(*oracle_, payload.path, value, GetParam()), payload.outcome) << payload.file;
  }
}

INSTANTIATE_TEST_SUITE_P(Converters, OraclePayloads,
                         ::testing::Values(Converter::kStrict, Converter::kSimple), name_of);

}  // namespace
}  // namespace nexa_test
