// Paths in every spelling that clients use, prefixes, keys, and what is refused.
#include <gmock/gmock.h>

#include "translate/fixture.h"

namespace nexa_test {
namespace {

class Paths : public ExampleModels {};

constexpr char kChannel[] =
    "<device xmlns=\"urn:example:device\"><port><name>a</name><radio xmlns=\"urn:example:radio\">"
    "<channel>3</channel></radio></port></device>";

TEST_F(Paths, ModuleNamesPrefixesAndBareNamesReachTheSameNode) {
  for (const char* path :
       {"/example-device:device/port[name=a]/example-radio:radio/channel",
        "/exd:device/exd:port[exd:name=a]/exr:radio/exr:channel",
        "/device/port[name=a]/radio/channel",
        "/example-device:device/port[example-device:name=a]/exr:radio/channel"}) {
    EXPECT_EQ(stored(path, "3"), kChannel) << path;
  }
}

TEST_F(Paths, APrefixPathIsJoined) {
  const gnmi::Update update = update_of("/example-radio:radio/channel", "3");
  const Translation result = set_->strict().translate(
      path_of("/example-device:device/port[name=a]"), update, Operation::kUpdate);
  EXPECT_EQ(content(result.xml), kChannel);
}

TEST_F(Paths, OriginsAreKnownOrRefused) {
  gnmi::Update update = update_of("/example-device:device/name", "\"x\"");
  update.mutable_path()->set_origin("rfc7951");
  EXPECT_TRUE(set_->strict().translate(gnmi::Path(), update, Operation::kUpdate).status.ok());
  update.mutable_path()->set_origin("cli");
  EXPECT_EQ(
      set_->strict().translate(gnmi::Path(), update, Operation::kUpdate).status.error_message(),
      "update of /example-device:device/name: origin \"cli\" not supported, the served ones are "
      "\"openconfig\", \"rfc7951\" and none");
  gnmi::Path prefix;
  prefix.set_origin("openconfig");
  EXPECT_EQ(
      set_->strict().translate(prefix, update, Operation::kUpdate).status.error_message(),
      "update of /example-device:device/name: an origin stands in the prefix or in the paths, "
      "not in both");
}

TEST_F(Paths, PartialWrongAndSurplusKeysAreRefused) {
  const std::string head = "update of /device/port[name=a]/route";
  EXPECT_EQ(refusal("/device/port[name=a]/route[prefix=p]", "{}"),
            head + "[prefix=p]: \"/device/port/route\" needs the key \"metric\"");
  EXPECT_EQ(refusal("/device/port[name=a]/route[metric=1][prefix=p][x=y]", "{}"),
            head + "[metric=1][prefix=p][x=y]: \"/device/port/route\" has no key \"x\"");
  EXPECT_EQ(refusal("/device/port[name=a]/route[metric=x][prefix=p]", "{}"),
            head +
                "[metric=x][prefix=p]: \"/device/port/route\" key \"metric\": Invalid type uint32 "
                "value \"x\".");
  EXPECT_EQ(refusal("/device[name=a]", "{}"), "update of /device[name=a]: \"/device\" has no keys");
  EXPECT_EQ(refusal("/device/port/speed", "\"1\""),
            "update of /device/port/speed: \"/device/port\" needs the key \"name\"");
}

TEST_F(Paths, AnEntryOfALeafListIsNamedByItsValue) {
  EXPECT_EQ(stored("/device/search[.=b]", "\"b\""),
            "<device xmlns=\"urn:example:device\"><search>b</search></device>");
  EXPECT_EQ(
      refusal("/device/search[.=b]", "\"c\""),
      "update of /device/search[.=b]: value \"c\": the path says search=\"b\" (line 1, column 1)");
}

TEST_F(Paths, AKeyLeafIsSetByItsEntry) {
  EXPECT_EQ(stored("/device/port[name=a]/name", "\"a\""),
            "<device xmlns=\"urn:example:device\"><port><name>a</name></port></device>");
}

TEST_F(Paths, WildcardsAndTheEmptyPathOfAnUpdateAreTheLibrarysToRefuse) {
  EXPECT_EQ(translate("/device/port[name=*]", "{}").status.error_code(),
            grpc::StatusCode::UNIMPLEMENTED);
  EXPECT_EQ(translate("/", "{}").status.error_code(), grpc::StatusCode::INVALID_ARGUMENT);
  EXPECT_TRUE(translate("/", "{}", Mode::kStrict, Operation::kReplace).status.ok());
}

TEST_F(Paths, TheLibrarysVerdictsReachTheClientUnchanged) {
  EXPECT_EQ(
      translate("/", "{}").status.error_message(),
      "Invalid argument.  Path with 0 elements (xpath = \"/\") is not supported for SET and GET "
      "requests");
  EXPECT_EQ(translate("/device/port[name=*]", "{}").status.error_message(),
            "Invalid key value * wild card is not supported for SET key value");
}

TEST_F(Paths, UnknownNamesAreRefused) {
  EXPECT_EQ(missing("/nope:device", "{}"), "update of /nope:device: unknown module \"nope\"");
  EXPECT_EQ(missing("/device/nope", "{}"),
            "update of /device/nope: no node \"nope\" below \"/device\"");
}

TEST_F(Paths, AListWithoutKeysTakesAnArrayAndAnEntryAnObject) {
  EXPECT_EQ(refusal("/device/port", "{}"),
            "update of /device/port: a list is written as an array of objects (line 1, column 1)");
  EXPECT_EQ(refusal("/example-device:device/port[name=a]", "[{}]", Mode::kStrict),
            "update of /example-device:device/port[name=a]: the path names one entry, and the "
            "value is an array (line "
            "1, column 1)");
}

TEST_F(Paths, TolerantModeResolvesBareNamesAndStrictModeDoesNot) {
  const std::string json = R"({"device":{"port":[{"name":"a","radio":{"channel":3}}]}})";
  EXPECT_EQ(stored_tree(json), kChannel);
  EXPECT_EQ(
      refusal("/", json, Mode::kStrict, Operation::kReplace),
      "replace of /: member device: the top-level name \"device\" needs its module in front (line "
      "1, column 11)");
  EXPECT_EQ(
      refusal("/example-device:device/port[name=a]", R"({"radio":{}})", Mode::kStrict),
      "update of /example-device:device/port[name=a]: member radio: no node \"radio\" of module "
      "\"example-device\" below \"port\" (line 1, column 10)");
}

TEST_F(Paths, NotesTellWhatTheLayerDid) {
  const Translation result =
      translate("/device/port", R"([{"medium":"fibre","name":"n","radio":{}}])");
  ASSERT_TRUE(result.status.ok()) << result.status.error_message();
  const std::vector<std::string> expected = {
      "path element \"device\" is example-device:device",
      "member [name=n]/medium: identity \"fibre\" is \"example-types:fibre\"",
      "member [name=n]/radio: is example-radio:radio", "member [name=n]: keys moved to the front",
      "value of name kept as it is: \"n\""};
  EXPECT_EQ(result.notes, expected);
}

TEST_F(Paths, PlainScalarsOfTheMessageAreTakenInTolerantModeOnly) {
  gnmi::Update update;
  *update.mutable_path() = path_of("/device/limits/count64");
  update.mutable_val()->set_uint_val(18446744073709551615ULL);
  EXPECT_EQ(content(set_->tolerant().translate(gnmi::Path(), update, Operation::kUpdate).xml),
            "<device xmlns=\"urn:example:device\"><limits><count64>18446744073709551615</count64>"
            "</limits></device>");
  *update.mutable_path() = path_of("/example-device:device/limits/count64");
  EXPECT_EQ(set_->strict().translate(gnmi::Path(), update, Operation::kUpdate).status.error_code(),
            grpc::StatusCode::UNIMPLEMENTED);
  update.clear_val();
  EXPECT_EQ(
      set_->tolerant().translate(gnmi::Path(), update, Operation::kUpdate).status.error_message(),
      "No value field provided");
}

}  // namespace
}  // namespace nexa_test
