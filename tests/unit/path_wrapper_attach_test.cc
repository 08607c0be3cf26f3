// List keys as first children, and the value below the wrapper.
#include "nexa/nexa_srv_rpc_msg_helpers.h"
#include "support/conversion.h"
#include "support/unit_test.h"
#include "support/xml_trees.h"

namespace path_wrapper_attach_test {

using nexa::cJsonCsnode;
using nexa::KestrelPath;
using nexa::ServiceRpcMsgHelpers;
using nexa_test::Conversion;
using nexa_test::errors_of;
using nexa_test::LogCapture;
using nexa_test::parse_xml;
using nexa_test::text_of;
using nexa_test::traces_of;
using nexa_test::XmlTree;
using Texts = std::vector<std::string>;

constexpr char kUnit[] = "nexa_srv_rpc_msg_helpers/path_wrapper.cc: ";

class ListKeys : public testing::Test {
 protected:
  ListKeys() : path(gnmi::Path(), "") {}

  void give_schema_keys(std::initializer_list<const char*> names) {
    for (const char* name : names) {
      c.schema.intern(name);
      path.key_names_.push_back(kestrel_hash2str(kestrel_str2hash(name)));
    }
  }
  std::string add_to(const std::string& xml) {
    const XmlTree parent = parse_xml(xml);
    const grpc::Status status =
        ServiceRpcMsgHelpers::add_keys_as_first_xml_children(parent.get(), path);
    EXPECT_TRUE(status.ok());
    return text_of(parent);
  }

  Conversion c;
  KestrelPath path;
};

TEST_F(ListKeys, StandBeforeTheParentsChildrenInSchemaOrder) {
  give_schema_keys({"k1", "k2"});
  path.instantiated_keys_ = {{"k2", "2"}, {"k1", "1"}};
  EXPECT_EQ(add_to("<p><x/><y/></p>"), "<p><k1>1</k1><k2>2</k2><x/><y/></p>");
}

TEST_F(ListKeys, AreAppendedToAnEmptyParent) {
  give_schema_keys({"k1", "k2"});
  path.instantiated_keys_ = {{"k2", "2"}, {"k1", "1"}};
  EXPECT_EQ(add_to("<p/>"), "<p><k1>1</k1><k2>2</k2></p>");
}

TEST_F(ListKeys, AreOnlyAsManyAsThePathInstantiates) {
  // The first names in schema order are taken, whichever keys the path gives.
  give_schema_keys({"k1", "k2", "k3"});
  path.instantiated_keys_ = {{"k2", "2"}};
  EXPECT_EQ(add_to("<p><x/></p>"), "<p><k1></k1><x/></p>");
}

TEST_F(ListKeys, AreNoneWithoutInstantiatedKeys) {
  give_schema_keys({"k1"});
  EXPECT_EQ(add_to("<p><x/></p>"), "<p><x/></p>");
}

TEST_F(ListKeys, AreNoMoreThanTheSchemaHas) {
  give_schema_keys({"k1"});
  path.instantiated_keys_ = {{"k1", "1"}, {"other", "2"}};
  EXPECT_EQ(add_to("<p/>"), "<p><k1>1</k1></p>");
}

TEST_F(ListKeys, LeaveThePathAsItIs) {
  give_schema_keys({"k1", "k2"});
  path.instantiated_keys_ = {{"k1", "1"}, {"other", "2"}};
  add_to("<p/>");
  EXPECT_EQ(path.instantiated_keys_.size(), 2u);
}

TEST_F(ListKeys, AFailureFreesTheParentAndTakesItOutOfItsTree) {
  give_schema_keys({"k1", "k2"});
  path.instantiated_keys_ = {{"k1", "1"}, {"k2", std::string(32768, 'a')}};
  const XmlTree outer = parse_xml("<o><p><x/></p><q/></o>");
  LogCapture log;
  const grpc::Status status =
      ServiceRpcMsgHelpers::add_keys_as_first_xml_children(outer->children, path);
  EXPECT_EQ(status.error_code(), grpc::StatusCode::RESOURCE_EXHAUSTED);
  EXPECT_EQ(status.error_message(), "Memory Exhaustion while processing xml");
  EXPECT_EQ(text_of(outer), "<o><q/></o>");
  EXPECT_EQ(errors_of(log),
            (Texts{"nexa_srv_rpc_msg_helpers/xml_utilities.cc: in build_xml_node_and_value at # "
                   "Error occurred while copying string during during generation of XML",
                   std::string(kUnit) +
                       "in add_keys_as_first_xml_children at # failed build_xml_node_and_value"}));
}

TEST_F(ListKeys, AreTraced) {
  give_schema_keys({"k1"});
  path.instantiated_keys_ = {{"k1", "1"}};
  const XmlTree empty = parse_xml("<p/>");
  const XmlTree filled = parse_xml("<p><x/></p>");
  LogCapture log;
  ASSERT_TRUE(ServiceRpcMsgHelpers::add_keys_as_first_xml_children(empty.get(), path).ok());
  ASSERT_TRUE(ServiceRpcMsgHelpers::add_keys_as_first_xml_children(filled.get(), path).ok());
  Texts traces;
  for (const std::string& line : traces_of(log)) {
    if (line.compare(0, sizeof(kUnit) - 1, kUnit) == 0) traces.push_back(line);
  }
  const std::string line = std::string(kUnit) +
                           "in add_keys_as_first_xml_children at # adding child tag k1 val 1 to "
                           "parent tag p";
  EXPECT_EQ(traces, (Texts{line + " which HAD NO PREVIOUS CHILDREN", line}));
}

class AttachValue : public testing::Test {
 protected:
  AttachValue() : path(gnmi::Path(), "") {}

  // What stands at the attach point and what is left of the value.
  std::pair<std::string, std::string> attach(kestrel_cs_node* last, const std::string& value_xml,
                                             const std::string& json_text) {
    if (last != nullptr) path.cs_nodes_ = {last};
    XmlTree value = parse_xml(value_xml);
    const nexa_test::Json json = nexa_test::parse_json(json_text);
    cJsonCsnode::attach_xml_path_wrapper_2_xml_value(path, point.get(), value.get(), json.get());
    const std::string left = value->parent == nullptr ? text_of(value) : "attached";
    if (value->parent != nullptr) static_cast<void>(value.release());
    return {text_of(point), left};
  }
  using Result = std::pair<std::string, std::string>;

  Conversion c;
  KestrelPath path;
  XmlTree point = parse_xml("<point><key>1</key></point>");
};

TEST_F(AttachValue, ALeafIsHungAsItIs) {
  EXPECT_EQ(attach(c.name, "<name>eth0</name>", "\"eth0\""),
            (Result{"<point><key>1</key><name>eth0</name></point>", "attached"}));
}

TEST_F(AttachValue, EveryLeafTypeCounts) {
  for (std::uint32_t type = 0; type < 64; ++type) {
    const bool is_leaf = (type >= 4 && type <= 20) || type == 23 || (type >= 27 && type <= 30) ||
                         type == 35 || (type >= 39 && type <= 44) || (type >= 46 && type <= 50);
    point = parse_xml("<point/>");
    const nexa_test::FakeNode node = c.entry.leaf("typed", type);
    EXPECT_EQ(attach(node, "<typed>1</typed>", "1"),
              is_leaf ? (Result{"<point><typed>1</typed></point>", "attached"})
                      : (Result{"<point/>", "<typed>1</typed>"}))
        << type;
  }
}

TEST_F(AttachValue, TheMembersOfAnObjectAreMoved) {
  EXPECT_EQ(attach(c.entry, "<interface><name>e</name>text<mtu>9</mtu></interface>", "{}"),
            (Result{"<point><key>1</key><name>e</name>text<mtu>9</mtu></point>", "<interface/>"}));
}

TEST_F(AttachValue, TheEntriesOfAnArrayAreMoved) {
  EXPECT_EQ(
      attach(c.sample, "<sample><sample>1</sample><sample>2</sample></sample>", "[]"),
      (Result{"<point><key>1</key><sample>1</sample><sample>2</sample></point>", "<sample/>"}));
}

TEST_F(AttachValue, WithoutSchemaNodeAnObjectIsMoved) {
  EXPECT_EQ(attach(nullptr, "<a><b/></a>", "{}"),
            (Result{"<point><key>1</key><b/></point>", "<a/>"}));
}

TEST_F(AttachValue, AScalarBelowAnInnerNodeIsNotHung) {
  for (const char* json : {"true", "false", "null", "1", "\"x\""}) {
    EXPECT_EQ(attach(c.interfaces, "<a><b/></a>", json),
              (Result{"<point><key>1</key></point>", "<a><b/></a>"}))
        << json;
  }
}

TEST_F(AttachValue, NoValueHangsNothing) {
  path.cs_nodes_ = {c.name};
  const nexa_test::Json json = nexa_test::parse_json("null");
  cJsonCsnode::attach_xml_path_wrapper_2_xml_value(path, point.get(), nullptr, json.get());
  EXPECT_EQ(text_of(point), "<point><key>1</key></point>");
}

TEST_F(AttachValue, IsTraced) {
  LogCapture log;
  attach(c.name, "<name/>", "\"x\"");
  EXPECT_EQ(traces_of(log),
            (Texts{std::string(kUnit) +
                   "In FUNCTION attach_xml_path_wrapper_2_xml_value at line # Attaching leaf "
                   "xmlNode xmlValue_root->name  name to attach point point"}));
  attach(c.entry, "<interface><mtu/></interface>", "{}");
  EXPECT_EQ(traces_of(log),
            (Texts{std::string(kUnit) +
                   "In FUNCTION attach_xml_path_wrapper_2_xml_value at line # Attaching xmlNode "
                   "child->name  mtu to parent point"}));
}

}  // namespace path_wrapper_attach_test
