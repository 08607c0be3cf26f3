// What the family reports when a payload cannot be converted.
#include "nexa/nexa_srv_rpc_msg_helpers.h"
#include "support/conversion.h"
#include "support/unit_test.h"
#include "support/xml_trees.h"

namespace json2xml_family_failure_test {

using nexa::ServiceRpcMsgHelpers;
using nexa_test::Conversion;
using nexa_test::errors_of;
using nexa_test::LogCapture;
using nexa_test::text_of;
using Texts = std::vector<std::string>;

constexpr char kUnit[] = "nexa_srv_rpc_msg_helpers/json2xml_family.cc: ";
constexpr char kLeafUnit[] = "nexa_srv_rpc_msg_helpers/leaf_values.cc: ";
constexpr char kNameUnit[] = "nexa_srv_rpc_msg_helpers/json2xml_name.cc: ";

class FamilyFailure : public testing::Test {
 protected:
  // Converts an object whose first member has no binding of its own.
  void start_with_unbound_member(const std::string& json) {
    cJSON* item = c.bound(json, c.entry);
    LogCapture log;
    EXPECT_EQ(c.start(item), nullptr);
    errors = errors_of(log);
  }
  // Converts an array whose entries have no binding.
  void start_with_unbound_entry(const std::string& json) {
    cJSON* item = c.bound(json, c.alias);
    LogCapture log;
    EXPECT_EQ(c.start(item), nullptr);
    errors = errors_of(log);
  }

  Conversion c;
  Texts errors;
  const std::string unit = kUnit;
  const std::string top = unit + "In FUNCTION start_json2xml at line # failed json_value2xml";
  const std::string array_top = unit + "in json_value2xml at # json_array2xml failed";
};

TEST_F(FamilyFailure, AnUnhandledTypeAtTheTopIsRefusedWhole) {
  cJSON* item = c.bound("\"x\"", c.name);
  item->type |= cJSON_StringIsConst;
  LogCapture log;
  EXPECT_EQ(c.start(item), nullptr);
  EXPECT_EQ(c.verdict(), "13: Unhandled json->type 528 at #");
  EXPECT_EQ(errors_of(log),
            (Texts{unit + "in json_value2xml at #, UNHANDLED json2xml value 528", top}));
  item->type &= ~cJSON_StringIsConst;
}

TEST_F(FamilyFailure, AnUnboundObjectFails) {
  cJSON* item = c.parse("{\"ipv4\":{}}")->child;
  LogCapture log;
  EXPECT_EQ(c.convert(&ServiceRpcMsgHelpers::json_object2xml, item), nullptr);
  EXPECT_EQ(c.verdict(), "13: Failed to find schema information for JSON type 64 name ipv4");
  EXPECT_EQ(errors_of(log),
            (Texts{unit + "in json_object2xml at # failed to find cjson_csnode for cjson type 64 "
                          "cjson->string ipv4"}));
  EXPECT_TRUE(c.hash.contains(item));
}

TEST_F(FamilyFailure, AnUnboundObjectWithoutNameFails) {
  LogCapture log;
  EXPECT_EQ(c.start(c.parse("{}")), nullptr);
  EXPECT_EQ(c.verdict(), "13: Failed to find schema information for JSON type 64 name ");
  EXPECT_EQ(errors_of(log),
            (Texts{unit + "in json_object2xml at # failed to find cjson_csnode for cjson type 64 "
                          "cjson->string (null)",
                   top}));
}

TEST_F(FamilyFailure, AnObjectBoundToNoSchemaNodeFails) {
  EXPECT_EQ(c.start(c.bound("{}", nullptr)), nullptr);
  EXPECT_EQ(c.verdict(), "13: Failed to find schema information for JSON type 64 name ");
}

TEST_F(FamilyFailure, AnUnboundArrayFails) {
  cJSON* item = c.parse("{\"alias\":[1]}")->child;
  LogCapture log;
  EXPECT_EQ(c.convert(&ServiceRpcMsgHelpers::json_array2xml, item), nullptr);
  EXPECT_EQ(c.verdict(), "13: Failed to find schema info for json alias at #");
  EXPECT_EQ(errors_of(log),
            (Texts{unit + "in json_array2xml at #: Failed hash->get_cjson_csnode() for cjson ptr "
                          "0x# cjson->string alias"}));
  EXPECT_TRUE(c.hash.contains(item));
}

TEST_F(FamilyFailure, AnArrayWithoutSchemaNameFails) {
  cJSON* item = c.parse("{\"alias\":[1]}")->child;
  c.hash.bind(item, nullptr);
  LogCapture log;
  EXPECT_EQ(c.convert(&ServiceRpcMsgHelpers::json_array2xml, item), nullptr);
  EXPECT_EQ(c.verdict(), "13: Failed to find parent schema tag for json alias at #");
  EXPECT_EQ(errors_of(log),
            (Texts{unit + "in json_array2xml at #: Failed to find parent kestrel_cs_node_tag"}));
}

TEST_F(FamilyFailure, AnArrayAtTheTopIsLoggedOnTheWayUp) {
  LogCapture log;
  EXPECT_EQ(c.start(c.parse("[1]")), nullptr);
  EXPECT_EQ(c.verdict(), "13: Failed to find schema info for json  at #");
  EXPECT_EQ(errors_of(log),
            (Texts{unit + "in json_array2xml at #: Failed hash->get_cjson_csnode() for cjson ptr "
                          "0x# cjson->string (null)",
                   array_top, top}));
}

TEST_F(FamilyFailure, AFailedBooleanMemberPassesItsStatusOn) {
  start_with_unbound_member("{\"enabled\":true}");
  EXPECT_EQ(c.verdict(), "13: No schema info for 1");
  EXPECT_EQ(errors, (Texts{std::string(kLeafUnit) +
                               "in json_bool2xml at # Failed get_cjson_csnode() for enabled",
                           unit + "in json_object2xml at # Failed json_string2xml for Bool element "
                                  "child of Object",
                           top}));
}

TEST_F(FamilyFailure, AFailedNumberMemberPassesItsStatusOn) {
  start_with_unbound_member("{\"mtu\":9}");
  EXPECT_EQ(c.verdict(), "13: No schema info for 9");
  EXPECT_EQ(errors, (Texts{std::string(kLeafUnit) +
                               "in json_number2xml at # Failed get_cjson_csnode() for mtu",
                           unit + "in json_object2xml at # Failed json_string2xml for Number "
                                  "element child of Object",
                           top}));
}

TEST_F(FamilyFailure, AFailedStringMemberPassesItsStatusOn) {
  start_with_unbound_member("{\"name\":\"e\"}");
  EXPECT_EQ(c.verdict(), "13: No schema info for e");
  EXPECT_EQ(errors, (Texts{std::string(kLeafUnit) +
                               "in json_string2xml at # Failed get_cjson_csnode() for name",
                           unit + "in json_object2xml at # Failed json_string2xml for String "
                                  "element child of Object",
                           top}));
}

TEST_F(FamilyFailure, AFailedArrayMemberPassesItsStatusOn) {
  start_with_unbound_member("{\"alias\":[1]}");
  EXPECT_EQ(c.verdict(), "13: Failed to find schema info for json alias at #");
  ASSERT_EQ(errors.size(), 3u);
  EXPECT_EQ(errors[1],
            unit +
                "in json_object2xml at # Failed json_string2xml for Array element child of "
                "Object");
}

TEST_F(FamilyFailure, AFailedObjectMemberPassesItsStatusOn) {
  start_with_unbound_member("{\"ipv4\":{}}");
  EXPECT_EQ(c.verdict(), "13: Failed to find schema information for JSON type 64 name ipv4");
  ASSERT_EQ(errors.size(), 3u);
  EXPECT_EQ(errors[1],
            unit +
                "in json_object2xml at # Failed json_string2xml for cJSON_Object element child "
                "of Object");
}

TEST_F(FamilyFailure, AFailureAfterConvertedMembersFreesThem) {
  cJSON* item = c.bound("{\"name\":\"e\",\"sample\":[{\"id\":1}],\"mtu\":9}", c.entry);
  nexa::visit_value(item->child, c.name, &c.hash);
  nexa::visit_value(item->child->next, c.sample, &c.hash);
  EXPECT_EQ(c.start(item), nullptr);
  EXPECT_EQ(c.verdict(), "13: No schema info for 9");
}

TEST_F(FamilyFailure, AFailedBooleanEntryHasAStatusOfItsOwn) {
  start_with_unbound_entry("[true]");
  EXPECT_EQ(c.verdict(), "13: Failed json_bool2xml for Bool element at #");
  ASSERT_EQ(errors.size(), 4u);
  EXPECT_EQ(errors[1], unit + "in json_array2xml at # Failed json_string2xml for Bool element");
}

TEST_F(FamilyFailure, AFailedNumberEntryHasAStatusOfItsOwn) {
  start_with_unbound_entry("[1]");
  EXPECT_EQ(c.verdict(), "13: Failed json_number2xml for Number element at #");
  ASSERT_EQ(errors.size(), 4u);
  EXPECT_EQ(errors[1], unit + "in json_array2xml at # Failed json_string2xml for Number element");
}

TEST_F(FamilyFailure, AFailedStringEntryHasAStatusOfItsOwn) {
  start_with_unbound_entry("[\"x\"]");
  EXPECT_EQ(c.verdict(), "13: Failed json_string2xml for String element at #");
  ASSERT_EQ(errors.size(), 4u);
  EXPECT_EQ(errors[1], unit + "in json_array2xml at # Failed json_string2xml for String element");
}

TEST_F(FamilyFailure, AFailedArrayEntryHasAStatusOfItsOwn) {
  start_with_unbound_entry("[[1]]");
  EXPECT_EQ(c.verdict(), "13: Failed json_bool2xml for Array element at #");
  ASSERT_EQ(errors.size(), 4u);
  EXPECT_EQ(errors[1], unit + "in json_array2xml at # Failed json_array2xml for Array element");
}

TEST_F(FamilyFailure, AFailedObjectEntryHasAStatusOfItsOwn) {
  start_with_unbound_entry("[{}]");
  EXPECT_EQ(c.verdict(), "13: Failed json_bool2xml for Object element at #");
  ASSERT_EQ(errors.size(), 4u);
  EXPECT_EQ(errors[1], unit + "in json_array2xml at # Failed json_string2xml for  Object element");
}

TEST_F(FamilyFailure, ANullEntryIsUnsupported) {
  start_with_unbound_entry("[null]");
  EXPECT_EQ(c.verdict(), "13: UNSUPPORTED cjson_ele->type 4 at #");
  EXPECT_EQ(errors,
            (Texts{unit + "in json_array2xml at # UNSUPPORTED cjson_ele->type 4", array_top, top}));
}

TEST_F(FamilyFailure, AnObjectThatCannotBeNamedFails) {
  const std::string too_long(32768, 'a');
  cJSON* item = c.parse("{\"" + too_long + "\":{}}")->child;
  c.hash.bind(item, c.ipv4);
  LogCapture log;
  EXPECT_EQ(c.convert(&ServiceRpcMsgHelpers::json_object2xml, item), nullptr);
  EXPECT_EQ(c.verdict(), "13: Failed copy at #");
  EXPECT_EQ(errors_of(log),
            (Texts{unit + "in json_object2xml at # Empty object",
                   std::string(kNameUnit) +
                       "Error occurred while copying string during conversion of JSON to XML",
                   unit + "In FUNCTION json_object2xml at line # failed json_value2xml"}));
}

TEST_F(FamilyFailure, AnArrayThatCannotBeNamedFails) {
  const std::string too_long(32768, 'a');
  cJSON* item = c.parse("{\"" + too_long + "\":[]}")->child;
  c.hash.bind(item, c.alias);
  LogCapture log;
  EXPECT_EQ(c.convert(&ServiceRpcMsgHelpers::json_array2xml, item), nullptr);
  EXPECT_EQ(c.verdict(), "13: Failed copy at #");
  EXPECT_EQ(errors_of(log),
            (Texts{unit + "in json_array2xml at # Empty Array",
                   std::string(kNameUnit) +
                       "Error occurred while copying string during conversion of JSON to XML",
                   unit + "In FUNCTION json_array2xml at line # failed json_value2xml"}));
}

TEST_F(FamilyFailure, AnEntryWhoseListNameCannotBeCopiedFails) {
  const nexa_test::FakeNode list = c.entry.leaf_list(std::string(32768, 'a'));
  cJSON* item = c.bound("[1]", list);
  c.hash.bind(item->child, list);
  EXPECT_EQ(c.start(item), nullptr);
  EXPECT_EQ(c.verdict(), "13: Failed copy at #");
}

}  // namespace json2xml_family_failure_test
