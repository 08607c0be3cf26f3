// The full profile: union_replace (row 21).
#include "server/support/conformance.h"

namespace nexa_test {
namespace {

TEST_F(Conformance, Row21UnionReplaceIsTheUnionOfItsUpdates) {
  ASSERT_EQ(update(kDevicePath, R"({"name":"old","location":"here","limits":{"tiny":1}})"), "0 ");
  ASSERT_EQ(update("/example-device:services", R"({"ntp":true})"), "0 ");
  gnmi::SetRequest change;
  *change.add_union_replace() = update_of("/example-device:device/name", "\"new\"");
  *change.add_union_replace() =
      update_of("/example-device:device/port[name=a]", R"({"name":"a","tag":["x"]})");
  *change.add_union_replace() =
      update_of("/example-device:device/port[name=a]", R"({"name":"a","speed":"5","tag":["y"]})");
  gnmi::SetResponse answer;
  ASSERT_EQ(shown(set(change, answer)), "0 ");
  ASSERT_EQ(answer.response_size(), 3);
  EXPECT_EQ(answer.response(2).op(), gnmi::UpdateResult::UNION_REPLACE);
  EXPECT_EQ(get_text("/", gnmi::PROTO),
            "/example-device:device/name string_val: \"new\"\n"
            "/example-device:device/location string_val: \"unknown\"\n"
            "/example-device:device/port[name=a]/name string_val: \"a\"\n"
            "/example-device:device/port[name=a]/speed uint_val: 5\n"
            "/example-device:device/port[name=a]/tag leaflist_val { element { string_val: \"x\" } "
            "element { string_val: \"y\" } }\n");
}

TEST_F(Conformance, Row21UnionReplaceStandsAlone) {
  gnmi::SetRequest change;
  *change.add_union_replace() = update_of("/example-device:device/name", "\"a\"");
  *change.add_delete_() = path_of("/example-device:device");
  const std::string refusal =
      "3 union_replace stands alone in its request, without delete, replace and update";
  EXPECT_EQ(apply(change), refusal);
  change.clear_delete_();
  *change.add_update() = update_of("/example-device:device/name", "\"a\"");
  EXPECT_EQ(apply(change), refusal);
}

TEST_F(Conformance, Row21ContradictionsOfAUnionAreRefused) {
  ASSERT_EQ(update("/example-device:device/name", "\"old\""), "0 ");
  gnmi::SetRequest change;
  *change.add_union_replace() = update_of("/example-device:device/name", "\"a\"");
  *change.add_union_replace() = update_of("/example-device:device", R"({"name":"a"})");
  EXPECT_EQ(apply(change), "0 ");
  *change.add_union_replace() = update_of("/example-device:device", R"({"name":"b"})");
  EXPECT_EQ(apply(change),
            "3 union_replace[2] of /example-device:device: value {\"name\":\"b\"}: another update "
            "of the union says something else at /example-device:device/name");
  change.Clear();
  *change.add_union_replace() = update_of("/example-device:device/console", "true");
  *change.add_union_replace() = update_of("/example-device:device/ssh/port", "22");
  EXPECT_EQ(apply(change).substr(0, 2), "3 ");
  EXPECT_EQ(get_text("/device/name", gnmi::PROTO), "/device/name string_val: \"a\"\n");
}

TEST_F(Conformance, Row21AUnionReplacesTheOriginsThatItNames) {
  ASSERT_EQ(update(kDevicePath, R"({"name":"old","location":"here"})"), "0 ");
  gnmi::SetRequest change;
  *change.add_union_replace() = from("openconfig", "/", "{}");
  EXPECT_EQ(apply(change), "0 ");
  EXPECT_EQ(get_text("/device/name", gnmi::PROTO), "/device/name string_val: \"old\"\n");
  *change.add_union_replace() = from("example-device", "/device/name", "\"new\"");
  EXPECT_EQ(apply(change), "0 ");
  EXPECT_EQ(get_text("/device", gnmi::PROTO),
            "/device/name string_val: \"new\"\n"
            "/device/location string_val: \"unknown\"\n");
  change.Clear();
  *change.add_union_replace() = from("openconfig", "/example-device:device/name", "\"x\"");
  EXPECT_EQ(apply(change).substr(0, 2), "3 ");
}

TEST_F(Conformance, Row21AUnionThatCannotBeAppliedIsInternalAndChangesNothing) {
  ASSERT_EQ(update("/example-device:device/name", "\"old\""), "0 ");
  stop();
  approve = [](const nexa::store::Change&) {
    return grpc::Status(grpc::StatusCode::FAILED_PRECONDITION, "the port is broken");
  };
  start();
  gnmi::SetRequest change;
  *change.add_union_replace() = update_of("/example-device:device/name", "\"new\"");
  EXPECT_EQ(apply(change), "13 the port is broken");
  EXPECT_EQ(get_text("/device/name", gnmi::PROTO), "/device/name string_val: \"old\"\n");
}

}  // namespace
}  // namespace nexa_test
