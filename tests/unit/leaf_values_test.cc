// Booleans, numbers, null, and the choice of a leaf's conversion.
#include "nexa/nexa_srv_rpc_msg_helpers.h"
#include "support/conversion.h"
#include "support/unit_test.h"
#include "support/xml_trees.h"

namespace leaf_values_test {

using nexa::ServiceRpcMsgHelpers;
using nexa_test::Conversion;
using nexa_test::errors_of;
using nexa_test::LogCapture;
using nexa_test::text_of;
using nexa_test::traces_of;
using nexa_test::XmlTree;
using Texts = std::vector<std::string>;

constexpr char kUnit[] = "nexa_srv_rpc_msg_helpers/leaf_values.cc: ";

class LeafValues : public testing::Test {
 protected:
  std::string converted(Conversion::Converter converter, const std::string& json,
                        kestrel_cs_node* node) {
    return text_of(c.convert(converter, c.bound(json, node)));
  }
  std::string boolean(const std::string& json) {
    return converted(&ServiceRpcMsgHelpers::json_bool2xml, json, c.enabled);
  }
  std::string number(const std::string& json) {
    return converted(&ServiceRpcMsgHelpers::json_number2xml, json, c.mtu);
  }

  Conversion c;
};

TEST_F(LeafValues, TrueAndFalseBecomeTheirWords) {
  EXPECT_EQ(boolean("true"), "<enabled>true</enabled>");
  EXPECT_EQ(boolean("false"), "<enabled>false</enabled>");
  EXPECT_TRUE(c.status.ok());
}

TEST_F(LeafValues, AFlaggedTrueIsFalse) {
  // The whole type is compared, flags included.
  cJSON* item = c.bound("true", c.enabled);
  item->type |= cJSON_StringIsConst;
  EXPECT_EQ(text_of(c.convert(&ServiceRpcMsgHelpers::json_bool2xml, item)),
            "<enabled>false</enabled>");
  item->type &= ~cJSON_StringIsConst;
}

TEST_F(LeafValues, NumbersAreIntegers) {
  EXPECT_EQ(number("42"), "<mtu>42</mtu>");
  EXPECT_EQ(number("-7"), "<mtu>-7</mtu>");
  EXPECT_EQ(number("0"), "<mtu>0</mtu>");
}

TEST_F(LeafValues, TheFractionOfANumberIsDropped) {
  EXPECT_EQ(number("3.9"), "<mtu>3</mtu>");
  EXPECT_EQ(number("1.5"), "<mtu>1</mtu>");
  EXPECT_EQ(number("0.1"), "<mtu>0</mtu>");
}

TEST_F(LeafValues, NumbersBeyond32BitsAreSaturated) {
  EXPECT_EQ(number("4294967295"), "<mtu>2147483647</mtu>");
  EXPECT_EQ(number("-4294967295"), "<mtu>-2147483648</mtu>");
}

TEST_F(LeafValues, AMemberGivesTheElementItsName) {
  cJSON* item = c.parse("{\"ietf-interfaces:mtu\":9}")->child;
  c.hash.bind(item, c.mtu);
  EXPECT_EQ(text_of(c.convert(&ServiceRpcMsgHelpers::json_number2xml, item)),
            "<mtu xmlns=\"urn:if\">9</mtu>");
}

TEST_F(LeafValues, AnUnboundBooleanFailsWithItsIntegerValueAndLeavesANullEntry) {
  cJSON* item = c.parse("{\"enabled\":true}")->child;
  LogCapture log;
  EXPECT_EQ(c.convert(&ServiceRpcMsgHelpers::json_bool2xml, item), nullptr);
  EXPECT_EQ(c.verdict(), "13: No schema info for 1");
  EXPECT_EQ(errors_of(log), (Texts{std::string(kUnit) +
                                   "in json_bool2xml at # Failed get_cjson_csnode() for enabled"}));
  EXPECT_TRUE(c.hash.contains(item));
  EXPECT_EQ(c.hash.find(item), nullptr);
}

TEST_F(LeafValues, AnUnboundNumberFailsWithItsIntegerValueAndLeavesANullEntry) {
  cJSON* item = c.parse("42.5");
  LogCapture log;
  EXPECT_EQ(c.convert(&ServiceRpcMsgHelpers::json_number2xml, item), nullptr);
  EXPECT_EQ(c.verdict(), "13: No schema info for 42");
  EXPECT_EQ(
      errors_of(log),
      (Texts{std::string(kUnit) + "in json_number2xml at # Failed get_cjson_csnode() for (null)"}));
  EXPECT_TRUE(c.hash.contains(item));
  EXPECT_EQ(c.hash.find(item), nullptr);
}

TEST_F(LeafValues, ABindingWithoutSchemaNodeFails) {
  EXPECT_EQ(boolean("false"), "<enabled>false</enabled>");
  EXPECT_EQ(converted(&ServiceRpcMsgHelpers::json_bool2xml, "false", nullptr), "(null)");
  EXPECT_EQ(c.verdict(), "13: No schema info for 0");
  EXPECT_EQ(converted(&ServiceRpcMsgHelpers::json_number2xml, "7", nullptr), "(null)");
  EXPECT_EQ(c.verdict(), "13: No schema info for 7");
}

TEST_F(LeafValues, ABooleanConversionRefusesOtherTypesWithAnEmptyMessage) {
  LogCapture log;
  EXPECT_EQ(converted(&ServiceRpcMsgHelpers::json_bool2xml, "1", c.enabled), "(null)");
  EXPECT_EQ(c.verdict(), "13: ");
  EXPECT_EQ(converted(&ServiceRpcMsgHelpers::json_bool2xml, "\"true\"", c.enabled), "(null)");
  EXPECT_EQ(converted(&ServiceRpcMsgHelpers::json_bool2xml, "null", c.enabled), "(null)");
  EXPECT_EQ(c.verdict(), "13: ");
  const std::string line = std::string(kUnit) + "in json_bool2xml at # Unhandled leaftype ";
  EXPECT_EQ(errors_of(log), (Texts{line + "2", line + "1", line + "0"}));
}

TEST_F(LeafValues, ANumberConversionRefusesOtherTypes) {
  LogCapture log;
  EXPECT_EQ(converted(&ServiceRpcMsgHelpers::json_number2xml, "true", c.mtu), "(null)");
  EXPECT_EQ(c.verdict(), "13: Unhandled number type 3 at #");
  EXPECT_EQ(converted(&ServiceRpcMsgHelpers::json_number2xml, "{}", c.mtu), "(null)");
  EXPECT_EQ(c.verdict(), "13: Unhandled number type 0 at #");
  const std::string line = std::string(kUnit) + "in json_number2xml at # Unhandled leaftype ";
  EXPECT_EQ(errors_of(log), (Texts{line + "3", line + "0"}));
}

TEST_F(LeafValues, NamingFailureReturnsNull) {
  c.schema.forget("mtu");
  LogCapture log;
  EXPECT_EQ(number("1"), "(null)");
  EXPECT_EQ(c.verdict(), "13: Internal error at #");
  EXPECT_EQ(errors_of(log),
            (Texts{"nexa_srv_rpc_msg_helpers/json2xml_name.cc: in json_name2xml at # Unable to "
                   "retrieve cs_node name at tip of path"}));
}

TEST_F(LeafValues, TracesTheStepsOfABoolean) {
  cJSON* item = c.bound("true", c.enabled);
  LogCapture log;
  const XmlTree element = c.convert(&ServiceRpcMsgHelpers::json_bool2xml, item);
  const Texts traces = traces_of(log);
  ASSERT_EQ(traces.size(), 8u);
  EXPECT_EQ(traces[0], std::string(kUnit) + "in json_bool2xml at # cjson_csnode 0x#, cs_node 0x#");
  EXPECT_EQ(traces[1],
            std::string(kUnit) + "in handle_json2xml_leaf_value at # csjon type 2 shallow type 23");
  EXPECT_EQ(traces[2], std::string(kUnit) + "in json_bool2xml at # ValueHandler 3");
  EXPECT_EQ(traces[3], std::string(kUnit) + "in json_bool2xml at # calling json_name2xml");
  EXPECT_EQ(traces[4],
            "nexa_srv_rpc_msg_helpers/json2xml_name.cc: in json_name2xml at #, cjson_root->string "
            "(null) cjson_root->type 2 xml_root->name number value placeholder parent tag enabled");
  EXPECT_EQ(traces[7], std::string(kUnit) + "in json_bool2xml at # returned from json_name2xml");
}

TEST_F(LeafValues, TracesTheStepsOfANumber) {
  cJSON* item = c.bound("5", c.mtu);
  LogCapture log;
  const XmlTree element = c.convert(&ServiceRpcMsgHelpers::json_number2xml, item);
  const Texts traces = traces_of(log);
  ASSERT_EQ(traces.size(), 8u);
  EXPECT_EQ(traces[0],
            std::string(kUnit) + "in json_number2xml at # cjson_csnode 0x#, cs_node 0x#");
  EXPECT_EQ(traces[1],
            std::string(kUnit) + "in handle_json2xml_leaf_value at # csjon type 8 shallow type 14");
  EXPECT_EQ(traces[2], std::string(kUnit) + "in json_number2xml at # ValueHandler 2");
  EXPECT_EQ(traces[3], std::string(kUnit) + "in json_number2xml at # calling json_name2xml");
  EXPECT_EQ(traces[4],
            "nexa_srv_rpc_msg_helpers/json2xml_name.cc: in json_name2xml at #, cjson_root->string "
            "(null) cjson_root->type 8 xml_root->name number value placeholder parent tag mtu");
  EXPECT_EQ(traces[7], std::string(kUnit) + "in json_number2xml at # returned from json_name2xml");
}

TEST_F(LeafValues, NullIsNotConvertedAndChangesNoStatus) {
  const grpc::Status before(grpc::StatusCode::ABORTED, "before");
  c.status = before;
  LogCapture log;
  for (const char* json : {"null", "true", "1", "\"x\"", "[]", "{}"}) {
    EXPECT_EQ(c.convert(&ServiceRpcMsgHelpers::json_null2xml, c.parse(json)), nullptr) << json;
  }
  EXPECT_EQ(c.verdict(), "10: before");
  EXPECT_EQ(log.take_texts(), Texts{});
  EXPECT_EQ(c.hash.size(), 0u);
}

TEST_F(LeafValues, TheHandlerIsChosenByTheLowByteOfTheType) {
  cJSON item{};
  const auto handler = [&](int type) {
    item.type = type;
    return nexa::handle_json2xml_leaf_value(&item, c.mtu);
  };
  EXPECT_EQ(handler(cJSON_String), 1);
  EXPECT_EQ(handler(cJSON_Number), 2);
  EXPECT_EQ(handler(cJSON_False), 3);
  EXPECT_EQ(handler(cJSON_True), 3);
  EXPECT_EQ(handler(cJSON_NULL), 0);
  EXPECT_EQ(handler(cJSON_Array), 0);
  EXPECT_EQ(handler(cJSON_Object), 0);
  EXPECT_EQ(handler(cJSON_Raw), 0);
  EXPECT_EQ(handler(cJSON_Invalid), 0);
  EXPECT_EQ(handler(cJSON_String | cJSON_StringIsConst | cJSON_IsReference), 1);
}

TEST_F(LeafValues, TheSchemaTypeIsOnlyLogged) {
  cJSON item{};
  item.type = cJSON_String | cJSON_StringIsConst;
  LogCapture log;
  EXPECT_EQ(nexa::handle_json2xml_leaf_value(&item, c.type), 1);
  EXPECT_EQ(nexa::handle_json2xml_leaf_value(&item, c.interfaces), 1);
  EXPECT_EQ(nexa::handle_json2xml_leaf_value(&item, nullptr), 1);
  const std::string line =
      std::string(kUnit) + "in handle_json2xml_leaf_value at # csjon type 16 shallow type ";
  EXPECT_EQ(traces_of(log), (Texts{line + "44", line + "0", line + "0"}));
}

}  // namespace leaf_values_test
