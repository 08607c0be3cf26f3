// The order of a request's checks, the place of a refusal, and the refusals that are the host's
// own.
#include <google/protobuf/text_format.h>
#include <gtest/gtest.h>

#include <string>

#include "model/target.h"
#include "profile/request_check.h"

namespace request_check_test {

using google::protobuf::TextFormat;
using nexa::profile::Profile;
using nexa::profile::RequestVerdict;

// The device's verdicts, unless a test says otherwise.
constexpr Profile kDevice = Profile::kDevice;

RequestVerdict get(const std::string& text, Profile profile = kDevice) {
  gnmi::GetRequest request;
  EXPECT_TRUE(TextFormat::ParseFromString(text, &request));
  return nexa::profile::check_get(profile, request);
}

RequestVerdict set(const std::string& text, Profile profile = kDevice) {
  gnmi::SetRequest request;
  EXPECT_TRUE(TextFormat::ParseFromString(text, &request));
  return nexa::profile::check_set(profile, request);
}

RequestVerdict subscribe(const std::string& text, Profile profile = kDevice) {
  gnmi::SubscribeRequest request;
  EXPECT_TRUE(TextFormat::ParseFromString(text, &request));
  return nexa::profile::check_subscribe(profile, request);
}

void expect_ok(const RequestVerdict& verdict) {
  EXPECT_TRUE(verdict.ok()) << verdict.status.error_message();
  EXPECT_EQ(verdict.status.error_message(), "");
  EXPECT_EQ(verdict.place, "");
}

void expect_refused(const RequestVerdict& verdict, grpc::StatusCode code,
                    const std::string& message, const std::string& place) {
  EXPECT_EQ(verdict.status.error_code(), code);
  EXPECT_EQ(verdict.status.error_message(), message);
  EXPECT_EQ(verdict.place, place);
}

constexpr grpc::StatusCode kInvalid = grpc::StatusCode::INVALID_ARGUMENT;
constexpr grpc::StatusCode kUnimplemented = grpc::StatusCode::UNIMPLEMENTED;
constexpr char kEmptyPath[] =
    "Invalid argument.  Path with 0 elements (xpath = \"/\") is not supported for SET and GET "
    "requests";
constexpr char kElementList[] =
    "Path field \"element\" is deprecated and not supported, use \"elem\"";

TEST(JoinPaths, AppendsElementsAndPrefersThePathsOwnOrigin) {
  gnmi::Path prefix;
  gnmi::Path path;
  ASSERT_TRUE(TextFormat::ParseFromString(
      "origin: 'o' target: 't' elem { name: 'a' key { key: 'k' value: 'v' } }", &prefix));
  ASSERT_TRUE(TextFormat::ParseFromString("origin: 'p' elem { name: 'b' }", &path));
  EXPECT_EQ(nexa::model::join_paths(prefix, path).ShortDebugString(),
            "origin: \"p\" elem { name: \"a\" key { key: \"k\" value: \"v\" } } "
            "elem { name: \"b\" } target: \"t\"");
  EXPECT_EQ(nexa::model::join_paths(prefix, gnmi::Path()).ShortDebugString(),
            prefix.ShortDebugString());
}

TEST(CheckGet, AcceptsPathsBelowAPrefix) {
  expect_ok(get("prefix { elem { name: 'a' } } path { elem { name: '*' } } path {}"));
  expect_ok(get(""));
}

TEST(CheckGet, ReportsOptionsInOrderBeforePaths) {
  expect_refused(get("type: OPERATIONAL encoding: PROTO use_models {} path {}"), kUnimplemented,
                 "Requested data type \"OPERATIONAL\" not supported", "");
  expect_refused(get("encoding: PROTO use_models {} path {}"), kUnimplemented,
                 "Requested encoding \"PROTO\" not supported", "");
  expect_refused(get("use_models {} path {}"), kUnimplemented,
                 "Use of ModelData not currently supported.", "");
  expect_refused(get("path {}"), kInvalid, kEmptyPath, "path[0]");
}

TEST(CheckGet, RefusesNumbersThatAnEnumerationDoesNotHave) {
  expect_refused(get("type: 4 encoding: PROTO"), kInvalid,
                 "type: 4 is none of ALL, CONFIG, STATE, OPERATIONAL", "");
  expect_refused(get("encoding: 5"), kInvalid,
                 "encoding: 5 is none of JSON, BYTES, PROTO, ASCII, JSON_IETF", "");
}

TEST(CheckGet, ChecksThePrefixWithEachPath) {
  expect_refused(get("prefix { elem { name: '1' } } path { elem { name: 'a' } }"), kInvalid,
                 "Invalid PathElement.name 1 char 1 is invalid", "path[0]");
}

TEST(CheckGet, RefusesPathsInTheOldForm) {
  expect_refused(get("path { element: 'a' }"), kUnimplemented, kElementList, "path[0]");
  expect_ok(get("path { element: 'a' elem { name: 'a' } }"));  // gnmi_cli writes both
  expect_refused(get("prefix { element: 'a' }"), kUnimplemented, kElementList, "prefix");
}

TEST(CheckSet, AcceptsEveryOperation) {
  expect_ok(
      set("delete { elem { name: 'a' } } delete {} "
          "replace { path {} val { json_ietf_val: '{}' } } "
          "update { path { elem { name: 'a' } } val { json_val: '1' } } "
          "update { path { elem { name: 'a' } } val { string_val: '1' } }"));
}

TEST(CheckSet, AnUpdateOfThePrefixAloneIsNoEmptyPath) {
  expect_ok(set("prefix { elem { name: 'a' } } update { path {} val { json_ietf_val: '1' } }"));
}

TEST(CheckSet, RefusesUnionReplaceFirst) {
  expect_refused(set("union_replace {} delete { elem { name: '1' } }"), kUnimplemented,
                 "Operation union_replace not supported", "union_replace[0]");
}

TEST(CheckSet, ChecksDeletesThenReplacesThenUpdates) {
  expect_refused(set("update {} replace {} delete { elem { name: '1' } }"), kInvalid,
                 "Invalid PathElement.name 1 char 1 is invalid", "delete[0]");
  expect_refused(set("update {} replace {}"), kInvalid, "No path field provided", "replace[0]");
  expect_refused(set("update {}"), kInvalid, "No path field provided", "update[0]");
}

TEST(CheckSet, RefusesAnUpdateOfTheEmptyPath) {
  expect_refused(set("update { path {} val { json_ietf_val: '{}' } }"), kInvalid, kEmptyPath,
                 "update[0].path");
}

TEST(CheckSet, RefusesWildcardsInUpdatesOnly) {
  expect_ok(set("delete { elem { name: '*' key { key: 'k' value: '*' } } }"));
  expect_refused(set("update { path { elem { name: '*' } } val { json_ietf_val: '1' } }"),
                 kUnimplemented, "Wildcard not implemented for UPDATE nor REPLACE",
                 "update[0].path");
}

TEST(CheckSet, RefusesAnUpdateWithoutAValue) {
  constexpr char kNoValue[] = "No value field provided";
  expect_refused(set("update { path { elem { name: 'a' } } }"), kInvalid, kNoValue,
                 "update[0].val");
  expect_refused(set("update { path { elem { name: 'a' } } val {} }"), kInvalid, kNoValue,
                 "update[0].val");
}

TEST(CheckSet, RefusesTheEncodingsThatAreNotServed) {
  expect_refused(set("update { path { elem { name: 'a' } } val { ascii_val: '1' } }"),
                 kUnimplemented, "Requested encoding \"ASCII\" not supported", "update[0].val");
  expect_refused(set("replace { path { elem { name: 'a' } } val { proto_bytes: '1' } }"),
                 kUnimplemented, "Requested encoding \"PROTO\" not supported", "replace[0].val");
}

// A replace in the old form would otherwise replace the whole tree.
TEST(CheckSet, RefusesPathsInTheOldForm) {
  expect_refused(set("replace { path { element: 'a' } val { json_ietf_val: '{}' } }"),
                 kUnimplemented, kElementList, "replace[0].path");
  expect_refused(set("delete { element: 'a' }"), kUnimplemented, kElementList, "delete[0]");
  expect_refused(set("prefix { element: 'a' } delete { elem { name: 'a' } }"), kUnimplemented,
                 kElementList, "prefix");
}

TEST(CheckSubscribe, AcceptsSamples) {
  expect_ok(
      subscribe("subscribe { prefix { target: 't' } encoding: JSON_IETF "
                "subscription { mode: SAMPLE path { elem { name: '...' } } } "
                "subscription { mode: SAMPLE } }"));
}

TEST(CheckSubscribe, ReportsMethodListSubscriptionsEncodingThenPaths) {
  expect_refused(subscribe("poll {}"), kInvalid,
                 "Unsupported method[ Poll ] provided on initial subscribe request", "");
  expect_refused(subscribe("subscribe { mode: ONCE encoding: PROTO }"), kInvalid,
                 "Unsupported subscription list mode selection [ ONCE ]", "");
  expect_refused(subscribe("subscribe { encoding: PROTO }"), kInvalid, "Empty subscription list",
                 "");
  expect_refused(subscribe("subscribe { encoding: PROTO subscription { mode: SAMPLE "
                           "path { elem { name: '1' } } } }"),
                 kUnimplemented, "Requested encoding \"PROTO\" not supported", "");
  expect_refused(subscribe("subscribe { subscription { mode: SAMPLE } subscription { mode: SAMPLE "
                           "path { elem { name: '1' } } } }"),
                 kInvalid, "Invalid PathElement.name 1 char 1 is invalid",
                 "subscribe.subscription[1].path");
}

TEST(CheckSubscribe, RefusesNumbersThatAnEnumerationDoesNotHave) {
  expect_refused(subscribe("subscribe { mode: 7 subscription { mode: 8 } }"), kInvalid,
                 "subscribe.mode: 7 is none of STREAM, ONCE, POLL", "");
  expect_refused(subscribe("subscribe { encoding: 5 subscription { mode: SAMPLE } }"), kInvalid,
                 "subscribe.encoding: 5 is none of JSON, BYTES, PROTO, ASCII, JSON_IETF", "");
  expect_refused(
      subscribe("subscribe { subscription { mode: SAMPLE } subscription { mode: 3 } }"), kInvalid,
      "subscribe.subscription[1].mode: 3 is none of TARGET_DEFINED, ON_CHANGE, SAMPLE", "");
  expect_refused(subscribe("subscribe { subscription { mode: -1 } }"), kInvalid,
                 "subscribe.subscription[0].mode: -1 is none of TARGET_DEFINED, ON_CHANGE, SAMPLE",
                 "");
}

TEST(CheckSubscribe, TakesAMarkingOfZeroAsNone) {
  expect_ok(subscribe("subscribe { qos { marking: 0 } subscription { mode: SAMPLE } }"));
  expect_ok(subscribe("subscribe { qos {} subscription { mode: SAMPLE } }"));
  expect_refused(subscribe("subscribe { qos { marking: 1 } subscription { mode: SAMPLE } }"),
                 kInvalid, "Unsupported subscription list qos selection", "");
  expect_refused(subscribe("subscribe { qos { marking: 0 } updates_only: true }"), kInvalid,
                 "Unsupported subscription list updates_only selection [ true ]", "");
}

TEST(CheckSubscribe, RefusesPathsInTheOldForm) {
  expect_refused(subscribe("subscribe { prefix { element: 'a' } subscription { mode: SAMPLE } }"),
                 kUnimplemented, kElementList, "subscribe.prefix");
}

}  // namespace request_check_test
