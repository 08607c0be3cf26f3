// The full profile: Set (rows 20 and 22 to 29) and master arbitration (row 40).
#include <functional>

#include "google/rpc/status.pb.h"
#include "server/support/conformance.h"

namespace nexa_test {
namespace {

gnmi::TypedValue typed(const std::function<void(gnmi::TypedValue&)>& set) {
  gnmi::TypedValue value;
  set(value);
  return value;
}

TEST_F(Conformance, Row20DeletesThenReplacesThenUpdatesEachInOrder) {
  gnmi::SetRequest change;
  *change.add_update() = update_of("/example-device:device/name", "\"first\"");
  *change.add_update() = update_of("/example-device:device/name", "\"last\"");
  *change.add_replace() = update_of("/example-device:device/name", "\"replaced\"");
  *change.add_delete_() = path_of("/example-device:device");
  EXPECT_EQ(apply(change), "0 ");
  EXPECT_EQ(get_text("/device/name", gnmi::PROTO), "/device/name string_val: \"last\"\n");
}

TEST_F(Conformance, Row22AnEmptySetIsNoError) { EXPECT_EQ(apply(gnmi::SetRequest()), "0 "); }

TEST_F(Conformance, Row23EachOperationHasItsResultInAppliedOrder) {
  gnmi::SetRequest change;
  *change.add_update() = update_of("/example-device:device/name", "\"b\"");
  *change.add_replace() = update_of("/example-device:device/location", "\"l\"");
  *change.add_delete_() = path_of("/example-device:device/search");
  gnmi::SetResponse answer;
  ASSERT_TRUE(set(change, answer).ok());
  ASSERT_EQ(answer.response_size(), 3);
  EXPECT_EQ(answer.response(0).op(), gnmi::UpdateResult::DELETE);
  EXPECT_EQ(answer.response(1).op(), gnmi::UpdateResult::REPLACE);
  EXPECT_EQ(answer.response(2).op(), gnmi::UpdateResult::UPDATE);
  EXPECT_EQ(nexa::translate::format_path_string(answer.response(2).path()),
            "/example-device:device/name");
  EXPECT_GT(answer.timestamp(), 0);
}

TEST_F(Conformance, Row24AllOrNothing) {
  gnmi::SetRequest change;
  *change.add_update() = update_of("/example-device:device/name", "\"box\"");
  *change.add_update() = update_of("/example-device:device/uplink", "\"nowhere\"");
  EXPECT_NE(apply(change).substr(0, 2), "0 ");
  EXPECT_EQ(get_text("/device/name"), "5 path[0] /device/name: no data");
}

TEST_F(Conformance, Row25ReplaceRemovesWhatWasNotSentAndUpdateDeletesNothing) {
  ASSERT_EQ(update(kDevicePath, R"({"name":"box","location":"here","search":["a"],
      "port":[{"name":"a"},{"name":"b"}]})"),
            "0 ");
  ASSERT_EQ(replace("/example-device:device/port", R"([{"name":"b"},{"name":"c"}])"), "0 ");
  EXPECT_EQ(get_text("/device/port/name", gnmi::PROTO),
            "/device/port[name=b]/name string_val: \"b\"\n"
            "/device/port[name=c]/name string_val: \"c\"\n");
  ASSERT_EQ(update("/example-device:device/port", R"([{"name":"d"}])"), "0 ");
  get_text("/device/port/name", gnmi::PROTO);
  EXPECT_EQ(response.notification(0).update_size(), 3);
  ASSERT_EQ(replace(kDevicePath, R"({"search":["z"]})"), "0 ");
  EXPECT_EQ(get_text("/device", gnmi::PROTO),
            "/device/location string_val: \"unknown\"\n"
            "/device/search leaflist_val { element { string_val: \"z\" } }\n");
  ASSERT_EQ(update("/example-device:device/limits/count8", "9"), "0 ");
  EXPECT_EQ(get_text("/device/limits/count8", gnmi::PROTO), "/device/limits/count8 uint_val: 9\n");
}

TEST_F(Conformance, Row25TheRootIsUpdatedAndReplaced) {
  ASSERT_EQ(update("/", R"({"example-device:device":{"name":"box"}})"), "0 ");
  ASSERT_EQ(update("/", R"({"example-device:services":{"ntp":true}})"), "0 ");
  EXPECT_EQ(get_text("/", gnmi::PROTO),
            "/example-device:device/name string_val: \"box\"\n"
            "/example-device:device/location string_val: \"unknown\"\n"
            "/example-device:services/ntp bool_val: true\n");
  ASSERT_EQ(replace("/", R"({"example-device:services":{"ntp":false}})"), "0 ");
  EXPECT_EQ(get_text("/device/name"), "5 path[0] /device/name: no data");
  EXPECT_EQ(get_text("/services/ntp", gnmi::PROTO), "/services/ntp bool_val: false\n");
}

TEST_F(Conformance, Row26ReplacesWithoutAValueAreRefused) {
  for (const auto& [path, json] : std::vector<std::pair<std::string, std::string>>{
           {"/example-device:device", "null"},
           {"/example-device:device/port[name=a]", "null"},
           {"/example-device:device/port[name=a]", "{}"},
           {"/example-device:device/name", "null"},
           {"/example-device:device/name", ""},
           {"/", "null"}}) {
    EXPECT_EQ(replace(path, json).substr(0, 2), "3 ") << path << " " << json;
  }
  gnmi::SetRequest change;
  *change.add_replace()->mutable_path() = path_of("/example-device:device/name");
  EXPECT_EQ(apply(change), "3 No value field provided");
}

TEST_F(Conformance, Row27PartialAndContradictingKeysAreRefused) {
  const std::string route = "/example-device:device/port[name=a]/route[prefix=p]";
  for (const std::string& text :
       {update(route + "/next-hop", "\"h\""), replace(route + "/next-hop", "\"h\""),
        update(route, R"({"next-hop":"h"})"),
        update("/example-device:device/port[name=a]", R"({"name":"b"})"),
        update("/example-device:device/port[name=a]/name", "\"b\"")}) {
    EXPECT_EQ(text.substr(0, 2), "3 ") << text;
  }
}

TEST_F(Conformance, Row28DeletesTakeWildcardsPartialKeysAndAbsentNodes) {
  ASSERT_EQ(update("/example-device:device/port[name=a]",
                   R"({"route":[{"prefix":"p","metric":1},{"prefix":"p","metric":2},
                                {"prefix":"q","metric":1}],"speed":"1"})"),
            "0 ");
  EXPECT_EQ(remove("/example-device:device/port[name=none]"), "0 ");
  EXPECT_EQ(remove("/example-device:device/port[name=a]/route[prefix=p]"), "0 ");
  EXPECT_EQ(get_text("/device/port/route/prefix", gnmi::PROTO),
            "/device/port[name=a]/route[metric=1][prefix=q]/prefix string_val: \"q\"\n");
  EXPECT_EQ(remove("/example-device:device/*/speed"), "0 ");
  EXPECT_EQ(get_text("/device/port/speed"), "5 path[0] /device/port/speed: no data");
  EXPECT_EQ(remove("/example-device:device"), "0 ");
  EXPECT_EQ(get_text("/device/port"), "5 path[0] /device/port: no data");
}

TEST_F(Conformance, Row29TheCodeIsThatOfTheOperationAtFault) {
  EXPECT_EQ(update("/example-device:device/colour", "1"),
            "5 update[0] of /example-device:device/colour: no node \"colour\" below "
            "\"/example-device:device\"");
  EXPECT_EQ(update("/example-device:device/limits/tiny", "\"x\"").substr(0, 12), "3 update[0] ");
  EXPECT_EQ(set_typed("/example-device:device/name",
                      typed([](gnmi::TypedValue& value) { value.set_ascii_val("x"); })),
            "12 Requested encoding \"ASCII\" not supported");
  gnmi::SetRequest change;
  *change.add_update() = update_of("/example-device:device/name", "\"a\"");
  *change.add_update() = update_of("/device/*", "1");
  EXPECT_EQ(apply(change), "12 Wildcard not implemented for UPDATE nor REPLACE");
  google::rpc::Status details;
  ASSERT_TRUE(details.ParseFromString(last_status.error_details()));
  gnmi::UpdateResult blamed;
  ASSERT_EQ(details.details_size(), 1);
  ASSERT_TRUE(details.details(0).UnpackTo(&blamed));
  EXPECT_EQ(nexa::translate::format_path_string(blamed.path()), "/device/*");
}

TEST_F(Conformance, Row29EveryKindOfScalarIsConvertedByTheTypeOfItsLeaf) {
  using Value = gnmi::TypedValue;
  struct Case {
    const char* leaf;
    Value value;
    const char* stored;  // as PROTO, or the beginning of the refusal
  };
  const auto decimal = [](std::int64_t digits, std::uint32_t precision) {
    return typed([=](Value& value) {
      value.mutable_decimal_val()->set_digits(digits);
      value.mutable_decimal_val()->set_precision(precision);
    });
  };
  const std::vector<Case> cases = {
      {"tiny", typed([](Value& v) { v.set_int_val(-5); }), "int_val: -5"},
      {"count64", typed([](Value& v) { v.set_int_val(7); }), "uint_val: 7"},
      {"large", typed([](Value& v) { v.set_uint_val(8); }), "int_val: 8"},
      {"tiny", typed([](Value& v) { v.set_uint_val(200); }), "3 update[0]"},
      {"tiny", typed([](Value& v) { v.set_string_val("12"); }), "int_val: 12"},
      {"enabled", typed([](Value& v) { v.set_bool_val(false); }), "bool_val: false"},
      {"enabled", typed([](Value& v) { v.set_int_val(1); }), "3 update[0]"},
      {"marker", typed([](Value& v) { v.set_bool_val(true); }), "bool_val: true"},
      {"marker", typed([](Value& v) { v.set_bool_val(false); }), "3 update[0]"},
      {"blob", typed([](Value& v) { v.set_bytes_val(std::string("\0\xFF", 2)); }),
       R"(bytes_val: "\000\377")"},
      {"state", typed([](Value& v) { v.set_bytes_val("up"); }), "3 update[0]"},
      {"state", typed([](Value& v) { v.set_string_val("down"); }), R"(string_val: "down")"},
      {"load", typed([](Value& v) { v.set_double_val(1.25); }), "double_val: 1.25"},
      {"load", typed([](Value& v) { v.set_float_val(0.1F); }), "double_val: 0.1"},
      {"load", typed([](Value& v) { v.set_int_val(3); }), "double_val: 3"},
      {"load", typed([](Value& v) { v.set_double_val(1.23456); }), "3 update[0]"},
      {"load", typed([](Value& v) { v.set_double_val(std::numeric_limits<double>::infinity()); }),
       "3 update[0]"},
      {"load", decimal(-5, 2), "double_val: -0.05"},
      {"load", decimal(1500000, 6), "double_val: 1.5"},
      {"load", decimal(0, 4000000000U), "double_val: 0"},
      {"load", decimal(1, 19), "3 update[0]"},
      {"tiny", typed([](Value& v) { v.set_double_val(7); }), "int_val: 7"},
      {"tiny", typed([](Value& v) { v.set_double_val(7.5); }), "3 update[0]"},
  };
  for (const Case& each : cases) {
    const std::string path = std::string(kLimitsPath) + "/" + each.leaf;
    const std::string what = each.value.ShortDebugString() + " at " + each.leaf;
    ASSERT_EQ(remove(path), "0 ");
    const std::string verdict = set_typed(path, each.value);
    if (verdict != "0 ") {
      EXPECT_EQ(verdict.substr(0, std::string(each.stored).size()), each.stored) << what << verdict;
      continue;
    }
    EXPECT_EQ(get_text(path, gnmi::PROTO), path + " " + each.stored + "\n") << what;
  }
  const auto array = typed([](Value& value) {
    value.mutable_leaflist_val()->add_element()->set_string_val("b");
    value.mutable_leaflist_val()->add_element()->set_string_val("a");
  });
  EXPECT_EQ(set_typed("/example-device:device/search", array), "0 ");
  EXPECT_EQ(get_text("/example-device:device/search", gnmi::PROTO),
            "/example-device:device/search " + array.ShortDebugString() + "\n");
  const auto nested =
      typed([&array](Value& value) { *value.mutable_leaflist_val()->add_element() = array; });
  EXPECT_EQ(set_typed("/example-device:device/search", nested),
            "3 update[0] of /example-device:device/search: an array is no element of leaflist_val");
}

TEST_F(Conformance, Row40OnlyTheHighestElectionIdOfARoleSets) {
  gnmi::SetRequest change;
  *change.add_update() = update_of("/example-device:device/name", "\"a\"");
  EXPECT_EQ(apply(change), "0 ");
  gnmi_ext::MasterArbitration& claim = *change.add_extension()->mutable_master_arbitration();
  EXPECT_EQ(apply(change), "3 Extension master_arbitration without an election_id");
  claim.mutable_election_id()->set_low(7);
  EXPECT_EQ(apply(change), "0 ");
  EXPECT_EQ(apply(change), "0 ");
  claim.mutable_election_id()->set_low(6);
  EXPECT_EQ(apply(change),
            "7 Another client is master, the highest election_id is "
            "0x00000000000000000000000000000007");
  claim.mutable_role()->set_id("");
  EXPECT_EQ(apply(change).substr(0, 2), "7 ");
  claim.mutable_election_id()->set_low(8);
  EXPECT_EQ(apply(change), "0 ");
  change.clear_extension();
  EXPECT_EQ(apply(change), "0 ");
}

}  // namespace
}  // namespace nexa_test
