// Strings: the empty value, identities with their namespaces, plain texts.
#include <stdexcept>

#include "nexa/nexa_srv_rpc_msg_helpers.h"
#include "support/conversion.h"
#include "support/unit_test.h"
#include "support/xml_trees.h"

namespace leaf_values_string_test {

using nexa::ServiceRpcMsgHelpers;
using nexa_test::Conversion;
using nexa_test::errors_of;
using nexa_test::LogCapture;
using nexa_test::text_of;
using nexa_test::traces_of;
using nexa_test::XmlTree;
using Texts = std::vector<std::string>;

constexpr char kUnit[] = "nexa_srv_rpc_msg_helpers/leaf_values_string.cc: ";

class StringValues : public testing::Test {
 protected:
  XmlTree convert(cJSON* item) { return c.convert(&ServiceRpcMsgHelpers::json_string2xml, item); }
  // The element of a string leaf, its text given as in JSON.
  std::string string(const std::string& text) { return leaf(text, c.name); }
  std::string leaf(const std::string& text, kestrel_cs_node* node) {
    return text_of(convert(c.bound("\"" + text + "\"", node)));
  }

  Conversion c;
};

TEST_F(StringValues, APlainTextStaysAsItIs) {
  EXPECT_EQ(string("up"), "<name>up</name>");
  EXPECT_EQ(string("a < b & c"), "<name>a &lt; b &amp; c</name>");
  EXPECT_TRUE(c.status.ok());
}

TEST_F(StringValues, AnIdentityGetsTheInternalPrefixAndDeclaresIt) {
  EXPECT_EQ(leaf("iana-if-type:ethernetCsmacd", c.type),
            "<type xmlns:ianaift=\"urn:ianaift\">ianaift:ethernetCsmacd</type>");
}

TEST_F(StringValues, AnyStringWithAModuleNameIsTranslated) {
  // Whether the schema node is an identityref is not asked.
  EXPECT_EQ(string("ietf-ip:x"), "<name xmlns:ip=\"urn:ip\">ip:x</name>");
}

TEST_F(StringValues, APrefixThatIsNoModuleStays) {
  EXPECT_EQ(string("fe80::1"), "<name>fe80::1</name>");
}

TEST_F(StringValues, TheEmptyValueGivesAnEmptyElement) {
  for (const char* text : {"n", "u", "l", "*", " ", "  ", " l ", "\\t"}) {
    EXPECT_EQ(string(text), "<name/>") << text;
  }
}

TEST_F(StringValues, TheWordNullIsAnOrdinaryString) {
  EXPECT_EQ(string("null"), "<name>null</name>");
  EXPECT_EQ(string("[null]"), "<name>[null]</name>");
}

TEST_F(StringValues, AnEmptyStringIsAnOrdinaryStringToo) {
  cJSON* item = c.bound("\"\"", c.name);
  LogCapture log;
  const XmlTree element = convert(item);
  ASSERT_NE(element, nullptr);
  EXPECT_EQ(text_of(element), "<name></name>");
  const Texts traces = traces_of(log);
  EXPECT_EQ(std::count(traces.begin(), traces.end(),
                       std::string(kUnit) + "in json_string2xml at #: Processing IdentityRef"),
            1);
}

TEST_F(StringValues, AMemberGivesTheElementItsName) {
  cJSON* item = c.parse("{\"ietf-interfaces:name\":\"eth0\"}")->child;
  c.hash.bind(item, c.name);
  EXPECT_EQ(text_of(convert(item)), "<name xmlns=\"urn:if\">eth0</name>");
}

TEST_F(StringValues, AnUnboundItemFailsAndLeavesANullEntry) {
  cJSON* item = c.parse("{\"name\":\"eth0\"}")->child;
  LogCapture log;
  EXPECT_EQ(convert(item), nullptr);
  EXPECT_EQ(c.verdict(), "13: No schema info for eth0");
  EXPECT_EQ(errors_of(log),
            (Texts{"nexa_srv_rpc_msg_helpers/leaf_values.cc: in json_string2xml at # Failed "
                   "get_cjson_csnode() for name"}));
  EXPECT_TRUE(c.hash.contains(item));
  EXPECT_EQ(c.hash.find(item), nullptr);
}

TEST_F(StringValues, ABindingWithoutSchemaNodeFails) {
  EXPECT_EQ(leaf("eth0", nullptr), "(null)");
  EXPECT_EQ(c.verdict(), "13: No schema info for eth0");
}

TEST_F(StringValues, AnItemOfAnotherTypeWithAStringFails) {
  cJSON* item = c.bound("\"eth0\"", c.name);
  item->type = cJSON_Raw;
  LogCapture log;
  EXPECT_EQ(convert(item), nullptr);
  EXPECT_EQ(c.verdict(), "13: Unhandled string type eth0 at #");
  EXPECT_EQ(errors_of(log), (Texts{std::string(kUnit) +
                                   "in json_string2xml at # unhandled 0 for cjson string eth0 "}));
}

TEST_F(StringValues, AnItemWithoutStringThrowsBeforeAnythingElse) {
  cJSON* item = c.parse("42");
  EXPECT_THROW(convert(item), std::logic_error);
  EXPECT_FALSE(c.hash.contains(item));
}

TEST_F(StringValues, AValueWhoseModuleHasNoNamespaceFails) {
  c.mapper.ympPrefixByModuleName_["half-loaded"] = "hl";
  cJSON* item = c.bound("\"half-loaded:x\"", c.type);
  LogCapture log;
  EXPECT_EQ(convert(item), nullptr);
  EXPECT_EQ(c.verdict(), "13: Failed to find namespace for half-loaded:x");
  EXPECT_EQ(errors_of(log), (Texts{std::string(kUnit) +
                                   "in json_string2xml at # failed internalizeExplodeValue for "
                                   "cjson->valuestring half-loaded:x"}));
}

TEST_F(StringValues, CopiesUpTo32767Bytes) {
  const std::string longest(32767, 'a');
  EXPECT_EQ(string(longest), "<name>" + longest + "</name>");
}

TEST_F(StringValues, ALongerTextFailsAsACopy) {
  const std::string too_long(32768, 'a');
  cJSON* item = c.bound("\"" + too_long + "\"", c.name);
  LogCapture log;
  EXPECT_EQ(convert(item), nullptr);
  EXPECT_EQ(c.verdict(), "8: Failed copy while processing " + too_long);
  EXPECT_EQ(errors_of(log),
            (Texts{std::string(kUnit) +
                   "in json_string2xml at # Error occurred while copying string during conversion "
                   "of JSON to XML"}));
}

TEST_F(StringValues, NamingFailureReturnsNull) {
  c.schema.forget("name");
  EXPECT_EQ(string("eth0"), "(null)");
  EXPECT_EQ(c.verdict(), "13: Internal error at #");
}

TEST_F(StringValues, TracesTheStepsOfAnIdentity) {
  cJSON* item = c.bound("\"iana-if-type:tunnel\"", c.type);
  LogCapture log;
  const XmlTree element = convert(item);
  const Texts traces = traces_of(log);
  ASSERT_EQ(traces.size(), 9u);
  EXPECT_EQ(traces[0],
            "nexa_srv_rpc_msg_helpers/leaf_values.cc: in handle_json2xml_leaf_value at # csjon "
            "type 16 shallow type 44");
  EXPECT_EQ(traces[1], std::string(kUnit) + "in json_string2xml at # ValueHandler 1");
  EXPECT_EQ(traces[2], std::string(kUnit) + "in json_string2xml at #: Processing IdentityRef");
  EXPECT_EQ(traces[3],
            std::string(kUnit) +
                "in json_string2xml at # str_val iana-if-type:tunnel internal_prefix ianaift, "
                "internal_value_no_prefix tunnel, xmlns urn:ianaift, internal_value_with_prefix "
                "ianaift:tunnel");
  EXPECT_EQ(traces[4],
            "nexa_srv_rpc_msg_helpers/leaf_values.cc: in json_string2xml at # calling "
            "json_name2xml");
  EXPECT_EQ(traces[5],
            "nexa_srv_rpc_msg_helpers/json2xml_name.cc: in json_name2xml at #, cjson_root->string "
            "(null) cjson_root->type 16 xml_root->name string value placeholder parent tag type");
  EXPECT_EQ(traces[8],
            "nexa_srv_rpc_msg_helpers/leaf_values.cc: in json_string2xml at # returned from "
            "json_name2xml");
}

TEST_F(StringValues, TracesTheEmptyValue) {
  cJSON* item = c.bound("\"n\"", c.name);
  LogCapture log;
  const XmlTree element = convert(item);
  const Texts traces = traces_of(log);
  ASSERT_EQ(traces.size(), 8u);
  EXPECT_EQ(traces[2], std::string(kUnit) + "in json_string2xml at # processing [ null ]");
}

}  // namespace leaf_values_string_test
