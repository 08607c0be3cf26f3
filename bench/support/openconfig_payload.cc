// The texts of a unit, with places for the unit's number and for values drawn from the seed.
#include "support/openconfig_payload.h"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <initializer_list>
#include <string_view>

namespace nexa_bench {
namespace {

// The entries that a unit has of each kind.
constexpr std::uint32_t kRoutes = 12;
constexpr std::uint32_t kNeighbors = 4;
constexpr std::uint32_t kPrefixes = 16;
constexpr std::uint32_t kAclEntries = 10;
constexpr std::uint32_t kSpareInstances = 2;
// The units whose policy asks for sets and whose filter is bound to a port. libyang walks the tree
// for each such reference, so one a unit would make its own time quadratic in the size, and a ratio
// to it would hide what it is compared with.
constexpr std::uint32_t kBoundUnits = 16;

// SplitMix64 over the seed, the unit and a counter: a value does not depend on the units before.
class Values {
 public:
  Values(std::uint32_t seed, std::uint32_t unit)
      : state_((static_cast<std::uint64_t>(seed) << 32U) | unit) {}

  std::string number(std::uint32_t least, std::uint32_t most) {
    return std::to_string(least + next() % (most - least + 1));
  }
  // A description.
  std::string words() {
    static constexpr std::array<std::string_view, 8> kWords = {
        "uplink", "border", "access", "backup", "metro-", "remote", "office", "tenant"};
    std::string text;
    for (int word = 0; word < 4; ++word) {
      text += kWords[next() % kWords.size()];
      text += ' ';
    }
    return text + number(1000, 9999);
  }
  std::string one_of(std::initializer_list<std::string_view> values) {
    return std::string(values.begin()[next() % values.size()]);
  }
  std::string octet() { return number(100, 249); }
  std::string address(std::string_view two_octets) {
    return std::string(two_octets) + "." + octet() + "." + octet();
  }

 private:
  std::uint64_t next() {
    state_ += 0x9E3779B97F4A7C15U;
    std::uint64_t mixed = state_;
    mixed = (mixed ^ (mixed >> 30U)) * 0xBF58476D1CE4E5B9U;
    mixed = (mixed ^ (mixed >> 27U)) * 0x94D049BB133111EBU;
    return (mixed ^ (mixed >> 31U)) >> 8U;
  }

  std::uint64_t state_;
};

// Appends `form` with each "$0" to "$9" replaced by that argument.
void put(std::string& text, std::string_view form, std::initializer_list<std::string_view> given) {
  for (std::size_t at = 0; at < form.size(); ++at) {
    if (form[at] != '$') {
      text += form[at];
      continue;
    }
    text += given.begin()[form[++at] - '0'];
  }
}

// One text for each list that the units add entries to.
struct Lists {
  std::string interfaces;
  std::string instances;
  std::string prefix_sets;
  std::string community_sets;
  std::string policies;
  std::string acl_sets;
  std::string acl_interfaces;

  std::size_t size() const {
    return interfaces.size() + instances.size() + prefix_sets.size() + community_sets.size() +
           policies.size() + acl_sets.size() + acl_interfaces.size();
  }
};

// "10.x.y" for the unit: a /24 of its own.
std::string network_of(std::uint32_t unit) {
  return std::to_string(10 + unit / 65536) + "." + std::to_string(unit / 256 % 256) + "." +
         std::to_string(unit % 256);
}

std::string port_of(std::uint32_t unit) {
  return "Ethernet" + std::to_string(unit / 64 + 1) + "/" + std::to_string(unit % 64 + 1);
}

constexpr std::string_view kPort =
    R"({"name":"$0","config":{"name":"$0","type":"iana-if-type:ethernetCsmacd","mtu":$1,)"
    R"("description":"$2","enabled":$3},"hold-time":{"config":{"up":$4,"down":$5}},)"
    R"("openconfig-if-ethernet:ethernet":{"config":{"mac-address":"02:00:5e:00:$6:$7",)"
    R"("auto-negotiate":$3,"port-speed":"openconfig-if-ethernet:$8"}},)"
    R"("subinterfaces":{"subinterface":[)";

constexpr std::string_view kSubinterface =
    R"({"index":$0,"config":{"index":$0,"description":"$1","enabled":$2},)"
    R"("openconfig-vlan:vlan":{"match":{"single-tagged":{"config":{"vlan-id":$3}}}},)"
    R"("openconfig-if-ip:ipv4":{"config":{"enabled":true,"mtu":$4},"addresses":{"address":[)"
    R"({"ip":"$5.$6","config":{"ip":"$5.$6","prefix-length":$7}}]}},)"
    R"("openconfig-if-ip:ipv6":{"config":{"enabled":true,"mtu":$4},"addresses":{"address":[)"
    R"({"ip":"2001:db8:$8:$0::1","config":{"ip":"2001:db8:$8:$0::1","prefix-length":64}}]}}})";

void add_port(Lists& lists, std::uint32_t unit, Values& values) {
  std::string& text = lists.interfaces;
  const std::string network = network_of(unit);
  std::array<char, 8> group{};
  std::snprintf(group.data(), group.size(), "%x", unit + 1);
  const std::string flag = values.one_of({"true", "false"});
  put(text, kPort,
      {port_of(unit), values.number(1500, 9200), values.words(), flag, values.number(1000, 9000),
       values.number(1000, 9000), values.number(10, 99), values.number(10, 99),
       values.one_of({"SPEED_10GB", "SPEED_25GB", "SPEED_40GB"})});
  for (int index = 0; index < 2; ++index) {
    if (index > 0) text += ',';
    put(text, kSubinterface,
        {std::to_string(index), values.words(), flag, values.number(1000, 4000),
         values.number(1400, 9000), network, std::to_string(1 + 64 * index), values.number(26, 30),
         group.data()});
  }
  text += "]}}";
}

constexpr std::string_view kInstance =
    R"({"name":"$0","config":{"name":"$0","type":"openconfig-network-instance-types:L3VRF",)"
    R"("description":"$1","route-distinguisher":"65$2:$3"},)"
    R"("interfaces":{"interface":[)"
    R"({"id":"$4.0","config":{"id":"$4.0","interface":"$4","subinterface":0}},)"
    R"({"id":"$4.1","config":{"id":"$4.1","interface":"$4","subinterface":1}}]},)"
    R"("protocols":{"protocol":[)"
    R"({"identifier":"openconfig-policy-types:DIRECTLY_CONNECTED","name":"connected","config":)"
    R"({"identifier":"openconfig-policy-types:DIRECTLY_CONNECTED","name":"connected"}},)";

constexpr std::string_view kStatics =
    R"({"identifier":"openconfig-policy-types:STATIC","name":"static","config":)"
    R"({"identifier":"openconfig-policy-types:STATIC","name":"static"},"static-routes":{"static":[)";

constexpr std::string_view kStatic =
    R"({"prefix":"172.$0.$1.0/24","config":{"prefix":"172.$0.$1.0/24","set-tag":$2},)"
    R"("next-hops":{"next-hop":[{"index":"0","config":{"index":"0","next-hop":"$3","metric":$4}}]}})";

constexpr std::string_view kBgp =
    R"({"identifier":"openconfig-policy-types:BGP","name":"bgp","config":)"
    R"({"identifier":"openconfig-policy-types:BGP","name":"bgp","enabled":true,)"
    R"("default-metric":$0},"bgp":{"global":{"config":{"as":65$1,"router-id":"$2"},)"
    R"("afi-safis":{"afi-safi":[{"afi-safi-name":"openconfig-bgp-types:IPV4_UNICAST","config":)"
    R"({"afi-safi-name":"openconfig-bgp-types:IPV4_UNICAST","enabled":true}}]}},)"
    R"("peer-groups":{"peer-group":[{"peer-group-name":"customer","config":)"
    R"({"peer-group-name":"customer","peer-as":64$1,"description":"$3"},)"
    R"("apply-policy":{"config":{"import-policy":["$4"],"export-policy":["shared-out"]}}}]},)"
    R"("neighbors":{"neighbor":[)";

constexpr std::string_view kNeighbor =
    R"({"neighbor-address":"$0","config":{"neighbor-address":"$0","peer-group":"customer",)"
    R"("enabled":true,"description":"$1","auth-password":"$2"},)"
    R"("timers":{"config":{"hold-time":$3,"keepalive-interval":$4}},)"
    R"("afi-safis":{"afi-safi":[{"afi-safi-name":"openconfig-bgp-types:IPV4_UNICAST","config":)"
    R"({"afi-safi-name":"openconfig-bgp-types:IPV4_UNICAST","enabled":true},)"
    R"("ipv4-unicast":{"prefix-limit":{"config":{"max-prefixes":$5}}}}]}})";

void add_instance(Lists& lists, std::uint32_t unit, Values& values) {
  std::string& text = lists.instances;
  const std::string number = std::to_string(unit);
  const std::string network = network_of(unit);
  put(text, kInstance,
      {"customer-" + number, values.words(), values.number(100, 500), number, port_of(unit)});
  text += kStatics;
  for (std::uint32_t route = 0; route < kRoutes; ++route) {
    if (route > 0) text += ',';
    put(text, kStatic,
        {std::to_string(16 + route), std::to_string(unit % 256), values.number(1000, 9999),
         network + ".2", values.number(100, 999)});
  }
  text += "]}},";
  put(text, kBgp,
      {values.number(100, 999), values.number(100, 500), values.address("192.168"), values.words(),
       "in-" + number});
  for (std::uint32_t peer = 0; peer < kNeighbors; ++peer) {
    if (peer > 0) text += ',';
    put(text, kNeighbor,
        {network + "." + std::to_string(2 + peer), values.words(),
         values.number(10000000, 99999999), values.number(90, 99), values.number(20, 30),
         values.number(1000, 9999)});
  }
  text += "]}}}]}}";
}

// Instances with nothing in them: their price is the defaults below conditions that do not hold.
void add_bare_instance(Lists& lists, std::uint32_t unit, Values& values) {
  put(lists.instances,
      R"(,{"name":"spare-$0","config":{"name":"spare-$0","type":)"
      R"("openconfig-network-instance-types:$1","description":"$2"}})",
      {std::to_string(unit), values.one_of({"L3VRF", "L2VSI"}), values.words()});
}

constexpr std::string_view kMatchPrefixes =
    R"("conditions":{"match-prefix-set":{"config":)"
    R"({"prefix-set":"own-$0","match-set-options":"$1"}}},)";

constexpr std::string_view kMatchCommunities =
    R"("conditions":{"openconfig-bgp-policy:bgp-conditions":{"match-community-set":{"config":)"
    R"({"community-set":"tags-$0","match-set-options":"$1"}}}},)";

constexpr std::string_view kPolicy =
    R"({"name":"in-$0","config":{"name":"in-$0"},"statements":{"statement":[)"
    R"({"name":"10","config":{"name":"10"},$4"actions":{"config":)"
    R"({"policy-result":"$1"},"openconfig-bgp-policy:bgp-actions":{"config":)"
    R"({"set-local-pref":$2,"set-med":$3,"set-med-action":"SET"}}}},)"
    R"({"name":"20","config":{"name":"20"},$5"actions":{"config":)"
    R"({"policy-result":"$1"},"openconfig-bgp-policy:bgp-actions":{"config":)"
    R"({"set-med":$3,"set-med-action":"ADD"}}}}]}})";

void add_policy(Lists& lists, std::uint32_t unit, Values& values) {
  const std::string number = std::to_string(unit);
  put(lists.prefix_sets,
      R"({"name":"own-$0","config":{"name":"own-$0","mode":"IPV4"},"prefixes":{"prefix":[)",
      {number});
  for (std::uint32_t entry = 0; entry < kPrefixes; ++entry) {
    put(lists.prefix_sets,
        R"($0{"ip-prefix":"$1.$2/32","masklength-range":"exact","config":{"ip-prefix":"$1.$2/32",)"
        R"("masklength-range":"exact"}})",
        {entry > 0 ? "," : "", network_of(unit), std::to_string(entry)});
  }
  lists.prefix_sets += "]}}";
  put(lists.community_sets,
      R"({"community-set-name":"tags-$0","config":{"community-set-name":"tags-$0",)"
      R"("community-member":["$1:$2","$3:$4"],"match-set-options":"ANY"}})",
      {number, values.number(10000, 29999), values.number(1000, 9999), values.number(30000, 60000),
       values.number(1000, 9999)});
  std::string prefixes;
  std::string communities;
  if (unit < kBoundUnits) {
    put(prefixes, kMatchPrefixes, {number, values.one_of({"ANY", "INVERT"})});
    put(communities, kMatchCommunities, {number, values.one_of({"ANY", "ALL"})});
  }
  put(lists.policies, kPolicy,
      {number, values.one_of({"ACCEPT_ROUTE", "REJECT_ROUTE"}), values.number(100, 999),
       values.number(100, 999), prefixes, communities});
}

constexpr std::string_view kAclEntry =
    R"({"sequence-id":$0,"config":{"sequence-id":$0,"description":"$1"},"ipv4":{"config":)"
    R"({"source-address":"$2.0/24","destination-address":"$3/32","protocol":$4,"dscp":$5}},)"
    R"("transport":{"config":{"source-port":"$6..65535","destination-port":$7}},"actions":{"config":)"
    R"({"forwarding-action":"openconfig-acl:$8","log-action":"openconfig-acl:LOG_NONE"}}})";

void add_acl(Lists& lists, std::uint32_t unit, Values& values) {
  std::string& text = lists.acl_sets;
  const std::string number = std::to_string(unit);
  put(text,
      R"({"name":"filter-$0","type":"openconfig-acl:ACL_IPV4","config":{"name":"filter-$0",)"
      R"("type":"openconfig-acl:ACL_IPV4","description":"$1"},"acl-entries":{"acl-entry":[)",
      {number, values.words()});
  for (std::uint32_t entry = 1; entry <= kAclEntries; ++entry) {
    if (entry > 1) text += ',';
    const std::string protocol =
        "\"openconfig-packet-match-types:" + values.one_of({"IP_TCP", "IP_UDP"}) + "\"";
    put(text, kAclEntry,
        {std::to_string(entry * 10), values.words(), network_of(unit), values.address("198.51"),
         protocol, values.number(10, 63), values.number(1024, 9999), values.number(1024, 9999),
         values.one_of({"ACCEPT", "REJECT"})});
  }
  text += "]}}";
  std::string bound;
  if (unit < kBoundUnits) {
    put(bound,
        R"(,"ingress-acl-sets":{"ingress-acl-set":[{"set-name":"filter-$0",)"
        R"("type":"openconfig-acl:ACL_IPV4","config":{"set-name":"filter-$0",)"
        R"("type":"openconfig-acl:ACL_IPV4"}}]})",
        {number});
  }
  put(lists.acl_interfaces,
      R"({"id":"$0","config":{"id":"$0"},"interface-ref":{"config":{"interface":"$0",)"
      R"("subinterface":0}}$1})",
      {port_of(unit), bound});
}

// What a router has once.
void add_router(Lists& lists, Values& values) {
  put(lists.instances,
      R"({"name":"DEFAULT","config":{"name":"DEFAULT","type":)"
      R"("openconfig-network-instance-types:DEFAULT_INSTANCE","router-id":"$0"}},)",
      {values.address("192.168")});
  put(lists.policies,
      R"({"name":"shared-out","config":{"name":"shared-out"},"statements":{"statement":[)"
      R"({"name":"10","config":{"name":"10"},"actions":{"config":{"policy-result":)"
      R"("$0"},"openconfig-bgp-policy:bgp-actions":{"config":{"set-med":$1,)"
      R"("set-med-action":"SET"}}}}]}},)",
      {values.one_of({"ACCEPT_ROUTE", "REJECT_ROUTE"}), values.number(100, 999)});
}

void add_unit(Lists& lists, std::uint32_t unit, std::uint32_t seed, bool is_first) {
  Values values(seed, unit);
  if (!is_first) {
    for (std::string* list :
         {&lists.interfaces, &lists.instances, &lists.prefix_sets, &lists.community_sets,
          &lists.policies, &lists.acl_sets, &lists.acl_interfaces}) {
      *list += ',';
    }
  }
  if (unit == 0) add_router(lists, values);
  add_port(lists, unit, values);
  add_instance(lists, unit, values);
  for (std::uint32_t spare = 0; spare < kSpareInstances; ++spare) {
    add_bare_instance(lists, unit * kSpareInstances + spare, values);
  }
  add_policy(lists, unit, values);
  add_acl(lists, unit, values);
}

constexpr std::string_view kSystem =
    R"("openconfig-system:system":{"config":{"hostname":"pe$0","domain-name":"example.net",)"
    R"("login-banner":"$1"},"ntp":{"config":{"enabled":true},"servers":{"server":[)"
    R"({"address":"192.0.2.1","config":{"address":"192.0.2.1","iburst":true}}]}}},)";

}  // namespace

std::string openconfig_folder() {
  const char* published = std::getenv("NEXA_PUBLISHED_MODELS");
  if (published == nullptr || *published == '\0') return {};
  std::string folder = published;
  folder.append("/yang/openconfig");
  std::error_code fault;
  return std::filesystem::is_directory(folder, fault) ? folder : std::string();
}

std::uint32_t units_of(std::size_t bytes) {
  Lists lists;
  std::uint32_t count = 0;
  std::size_t size = 0;
  while (count == 0 || size < bytes) {
    // One unit at a time, so that a size costs no memory.
    add_unit(lists, count, 1, count == 0);
    size += lists.size();
    lists = Lists();
    ++count;
  }
  return count;
}

std::string openconfig_payload(const PayloadUnits& units) {
  Lists lists;
  for (std::uint32_t unit = units.first; unit < units.first + units.count; ++unit) {
    add_unit(lists, unit, units.seed, unit == units.first);
  }
  std::string text = "{";
  if (units.first == 0) {
    Values values(units.seed, ~0U);
    put(text, kSystem, {values.number(100, 999), values.words()});
  }
  text += "\"openconfig-interfaces:interfaces\":{\"interface\":[" + lists.interfaces + "]},";
  text += "\"openconfig-routing-policy:routing-policy\":{\"defined-sets\":{\"prefix-sets\":";
  text += "{\"prefix-set\":[" + lists.prefix_sets + "]},";
  text += "\"openconfig-bgp-policy:bgp-defined-sets\":{\"community-sets\":{\"community-set\":[";
  text += lists.community_sets + "]}}},\"policy-definitions\":{\"policy-definition\":[";
  text += lists.policies + "]}},";
  text += "\"openconfig-network-instance:network-instances\":{\"network-instance\":[";
  text += lists.instances + "]},";
  text += "\"openconfig-acl:acl\":{\"acl-sets\":{\"acl-set\":[" + lists.acl_sets + "]},";
  text += "\"interfaces\":{\"interface\":[" + lists.acl_interfaces + "]}}}";
  return text;
}

std::string openconfig_payload(std::size_t bytes, std::uint32_t seed) {
  return openconfig_payload({0, units_of(bytes), seed});
}

}  // namespace nexa_bench
