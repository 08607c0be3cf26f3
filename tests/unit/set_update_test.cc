// One Set update from path and JSON_IETF value to the text for the configuration database.
#include "nexa/nexa_srv_rpc_msg_helpers.h"
#include "support/conversion.h"
#include "support/unit_test.h"
#include "support/xml_trees.h"

namespace {

using nexa::cJsonCsnode;
using nexa::KestrelPath;
using nexa::ServiceRpcMsgHelpers;
using nexa_test::Conversion;
using nexa_test::text_of;
using nexa_test::XmlString;
using nexa_test::XmlTree;

using Element = std::pair<std::string, std::vector<std::pair<std::string, std::string>>>;

gnmi::Path make_path(const std::vector<Element>& elements) {
  gnmi::Path path;
  for (const auto& [name, keys] : elements) {
    gnmi::PathElem* elem = path.add_elem();
    elem->set_name(name);
    for (const auto& [key, value] : keys) (*elem->mutable_key())[key] = value;
  }
  return path;
}

class SetUpdate : public testing::Test {
 protected:
  enum class Converter { kFamily, kSingle };

  // The text for an update whose value is bound to the last node of `path` and hung below the last
  // element of `wrapper_path`: the same path for an entry or a container; for a leaf, a leaf-list
  // and a whole list, which are elements of their own, the path of their parent.
  std::string convert(const gnmi::Path& path, const gnmi::Path& wrapper_path,
                      const std::string& value, Converter converter) {
    KestrelPath kestrel_path(path, value);
    KestrelPath parent_path(wrapper_path, value);
    if (!kestrel_path.path2cs_nodes() || !parent_path.path2cs_nodes()) return "no such path";
    cJSON* json = c.parse(value);
    nexa::Json2cJsonCsnodeHash hash;
    c.status = cJsonCsnode::walk_breathfirst_cjson_and_swap_contents(json, c.token.get(),
                                                                     &kestrel_path, &hash);
    if (!c.status.ok()) return c.verdict();
    XmlTree value_root(
        converter == Converter::kFamily
            ? ServiceRpcMsgHelpers::start_json2xml(c.token, json, &c.status, &hash, &c.mapper)
            : ServiceRpcMsgHelpers::json2xml(c.token, json, &hash, &c.mapper));
    if (value_root == nullptr) return c.verdict();
    xmlNodePtr attach_point = nullptr;
    XmlTree top(ServiceRpcMsgHelpers::build_xml_parent_wrapper(&wrapper_path, &attach_point,
                                                               &parent_path, &c.mapper));
    // A leaf-list of a leaf's type would be taken for a leaf; its values go where an entry's
    // members do.
    cJsonCsnode::attach_xml_path_wrapper_2_xml_value(
        kestrel_path.last_cs_node_is_leaflist() ? parent_path : kestrel_path, attach_point,
        value_root.get(), json);
    if (value_root->parent != nullptr) static_cast<void>(value_root.release());
    const XmlString text(ServiceRpcMsgHelpers::build_xml_str(top.release()));
    return text_of(text);
  }

  std::string family(const gnmi::Path& path, const std::string& value) {
    return convert(path, path, value, Converter::kFamily);
  }
  std::string single(const gnmi::Path& path, const std::string& value) {
    return convert(path, path, value, Converter::kSingle);
  }
  // For a value that is an element of its own.
  std::string family_below_parent(const gnmi::Path& path, const std::string& value) {
    gnmi::Path parent = path;
    parent.mutable_elem()->RemoveLast();
    return convert(path, parent, value, Converter::kFamily);
  }

  static std::string document(const std::string& content) {
    return "<?xml version=\"1.0\"?>\n<config xmlns=\"urn:if\">" + content + "</config>\n";
  }

  Conversion c;
  const gnmi::Path kInterfaces = make_path({{"if:interfaces", {}}});
  const gnmi::Path kEntry = make_path({{"if:interfaces", {}}, {"interface", {{"name", "eth0"}}}});
};

constexpr char kAddressJson[] =
    "{\"mtu\":1500,\"ietf-ip:ipv4\":{\"address\":[{\"prefix-length\":24,\"ip\":\"192.0.2.1\"}]}}";

TEST_F(SetUpdate, AnInterfaceWithAnAugmentedAddress) {
  EXPECT_EQ(family(kEntry, kAddressJson),
            document("<interface><name>eth0</name><mtu>1500</mtu><ipv4 xmlns=\"urn:ip\"><address>"
                     "<ip>192.0.2.1</ip><prefix-length>24</prefix-length></address></ipv4>"
                     "</interface>"));
}

TEST_F(SetUpdate, TheSingleConverterKeepsAnElementAroundAList) {
  EXPECT_EQ(single(kEntry, kAddressJson),
            document("<interface><name>eth0</name><mtu>1500</mtu><ipv4 xmlns=\"urn:ip\"><address>"
                     "<address><ip>192.0.2.1</ip><prefix-length>24</prefix-length></address>"
                     "</address></ipv4></interface>"));
}

TEST_F(SetUpdate, AnEntryThatRepeatsItsKeyHasItOnce) {
  const std::string json = "{\"mtu\":1500,\"name\":\"eth0\",\"enabled\":false}";
  const std::string expected =
      document("<interface><name>eth0</name><mtu>1500</mtu><enabled>false</enabled></interface>");
  EXPECT_EQ(family(kEntry, json), expected);
  EXPECT_EQ(single(kEntry, json), expected);
}

TEST_F(SetUpdate, AnIdentityDeclaresItsPrefix) {
  const std::string json = "{\"type\":\"iana-if-type:ethernetCsmacd\"}";
  const std::string expected = document(
      "<interface><name>eth0</name><type xmlns:ianaift=\"urn:ianaift\">ianaift:ethernetCsmacd"
      "</type></interface>");
  EXPECT_EQ(family(kEntry, json), expected);
  EXPECT_EQ(single(kEntry, json), expected);
}

TEST_F(SetUpdate, AListInsideAContainer) {
  const std::string json =
      "{\"interface\":[{\"mtu\":1,\"name\":\"eth0\"},{\"name\":\"eth1\",\"alias\":[\"a\",\"b\"]}]}";
  EXPECT_EQ(family(kInterfaces, json),
            document("<interface><name>eth0</name><mtu>1</mtu></interface><interface>"
                     "<name>eth1</name><alias>a</alias><alias>b</alias></interface>"));
}

TEST_F(SetUpdate, ALeafAtTheTipOfThePath) {
  gnmi::Path path = kEntry;
  path.add_elem()->set_name("mtu");
  EXPECT_EQ(family_below_parent(path, "9000"),
            document("<interface><name>eth0</name><mtu>9000</mtu></interface>"));
  path.mutable_elem(2)->set_name("type");
  EXPECT_EQ(family_below_parent(path, "\"iana-if-type:tunnel\""),
            document("<interface><name>eth0</name><type xmlns:ianaift=\"urn:ianaift\">"
                     "ianaift:tunnel</type></interface>"));
}

TEST_F(SetUpdate, ALeafBelowAnElementOfItsOwnStandsTwice) {
  // Why a leaf is hung below its parent.
  gnmi::Path path = kEntry;
  path.add_elem()->set_name("mtu");
  EXPECT_EQ(family(path, "9000"),
            document("<interface><name>eth0</name><mtu><mtu>9000</mtu></mtu></interface>"));
}

TEST_F(SetUpdate, ALeafListAtTheTipOfThePath) {
  gnmi::Path path = kEntry;
  path.add_elem()->set_name("alias");
  EXPECT_EQ(family_below_parent(path, "[\"uplink\",\"wan\"]"),
            document("<interface><name>eth0</name><alias>uplink</alias><alias>wan</alias>"
                     "</interface>"));
}

TEST_F(SetUpdate, AWholeArrayForAListWithoutKeysInThePath) {
  const gnmi::Path path = make_path({{"if:interfaces", {}}, {"interface", {}}});
  EXPECT_EQ(
      family_below_parent(path, "[{\"mtu\":1,\"name\":\"eth0\"},{\"mtu\":2,\"name\":\"eth1\"}]"),
      document("<interface><name>eth0</name><mtu>1</mtu></interface>"
               "<interface><name>eth1</name><mtu>2</mtu></interface>"));
}

TEST_F(SetUpdate, AnObjectForAListWithoutKeysInThePathIsRefused) {
  const gnmi::Path path = make_path({{"if:interfaces", {}}, {"interface", {}}});
  EXPECT_EQ(family(path, "{\"mtu\":1}"),
            "3: When list keys are not fully specified json_ietf val should be array ");
}

TEST_F(SetUpdate, KeysOfTheLastListEntryCanBeGivenBySchemaOrder) {
  // A wrapper without keys, which then come from the resolved path.
  KestrelPath kestrel_path(kEntry, "");
  ASSERT_TRUE(kestrel_path.path2cs_nodes());
  const XmlTree entry = nexa_test::parse_xml("<interface><mtu>1</mtu></interface>");
  ASSERT_TRUE(ServiceRpcMsgHelpers::add_keys_as_first_xml_children(entry.get(), kestrel_path).ok());
  EXPECT_EQ(text_of(entry), "<interface><name>eth0</name><mtu>1</mtu></interface>");
}

TEST_F(SetUpdate, SpecialCharactersSurvive) {
  EXPECT_EQ(family(kEntry, "{\"alias\":[\"<a> & \\\"b\\\"\",\"\xC3\xA9\"]}"),
            document("<interface><name>eth0</name><alias>&lt;a&gt; &amp; \"b\"</alias>"
                     "<alias>&#xE9;</alias></interface>"));
}

}  // namespace
