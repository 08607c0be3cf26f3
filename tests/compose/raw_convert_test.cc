// What the library makes of an update when nothing stands around its functions: their behaviour,
// the surprising parts included, and the refusals of the caller.
#include "raw_convert.h"

#include <gtest/gtest.h>

#include <memory>

#include "kestrel/loader.h"
#include "translate/path_string.h"

namespace nexa_tool {
namespace {

constexpr char kDevice[] = "/example-device:device";
constexpr char kPort[] = "/example-device:device/port[name=p1]";
constexpr char kLimits[] = "/example-device:device/limits";

class RawConvert : public testing::TestWithParam<RawConverter> {
 protected:
  static void SetUpTestSuite() {
    kestrel::LoadOptions options;
    options.search_dirs = {NEXA_MODELS_DIR};
    const auto error = kestrel::load(options);
    ASSERT_FALSE(error) << error->text();
    mapper_ = std::make_unique<nexa::ServiceKestrelNamespaceMapperImpl>();
    ASSERT_TRUE(mapper_->populate().ok());
  }
  static void TearDownTestSuite() { mapper_.reset(); }

  static grpc::Status status(const std::string& path, const std::string& value,
                             RawConverter converter, std::string& xml,
                             nexa::RequestType mode = nexa::UPDATE) {
    const auto parsed = nexa::translate::parse_path_string(path, nullptr);
    if (!parsed) return {grpc::StatusCode::UNKNOWN, "no path"};
    return raw_convert(*mapper_, mode, *parsed, value, converter, xml);
  }

  // What stands in the one element `device`; a refusal fails the test.
  static std::string device(const std::string& path, const std::string& value,
                            RawConverter converter, nexa::RequestType mode = nexa::UPDATE) {
    std::string xml;
    const grpc::Status verdict = status(path, value, converter, xml, mode);
    EXPECT_TRUE(verdict.ok()) << verdict.error_message();
    const std::string head =
        "<?xml version=\"1.0\"?>\n<config><device xmlns=\"urn:example:device\">";
    const std::string tail = "</device></config>\n";
    if (xml.size() < head.size() + tail.size()) return xml;
    EXPECT_EQ(xml.substr(0, head.size()), head);
    EXPECT_EQ(xml.substr(xml.size() - tail.size()), tail);
    return xml.substr(head.size(), xml.size() - head.size() - tail.size());
  }
  std::string device(const std::string& path, const std::string& value) {
    return device(path, value, GetParam());
  }

  std::string refusal(const std::string& path, const std::string& value,
                      nexa::RequestType mode = nexa::UPDATE) {
    std::string xml = "unchanged";
    const grpc::Status verdict = status(path, value, GetParam(), xml, mode);
    EXPECT_EQ(verdict.error_code(), grpc::StatusCode::INVALID_ARGUMENT) << verdict.error_message();
    EXPECT_EQ(xml, "unchanged");
    return verdict.error_message();
  }

  static std::unique_ptr<nexa::ServiceKestrelNamespaceMapperImpl> mapper_;
};

std::unique_ptr<nexa::ServiceKestrelNamespaceMapperImpl> RawConvert::mapper_;

INSTANTIATE_TEST_SUITE_P(Converters, RawConvert,
                         testing::Values(RawConverter::kStrict, RawConverter::kSimple),
                         [](const auto& each) {
                           return each.param == RawConverter::kStrict ? "strict" : "simple";
                         });

TEST_P(RawConvert, PutsAValueWhereItsPathSays) {
  EXPECT_EQ(device("/example-device:device/name", "\"core-1\""), "<name>core-1</name>");
  EXPECT_EQ(device(kDevice, R"({"name": "core-1", "limits": {"count16": 7}})"),
            "<name>core-1</name><limits><count16>7</count16></limits>");
  EXPECT_EQ(device(std::string(kPort) + "/speed", "\"5\""),
            "<port><name>p1</name><speed>5</speed></port>");
  EXPECT_EQ(device(std::string(kLimits) + "/enabled", "true"),
            "<limits><enabled>true</enabled></limits>");
}

TEST_P(RawConvert, GivesTheKeysOfAnEntryOnce) {
  const std::string entry = "<port><name>p1</name><speed>10</speed></port>";
  EXPECT_EQ(device(kPort, R"({"speed": "10"})"), entry);
  EXPECT_EQ(device(kPort, R"({"speed": "10", "name": "p1"})"), entry);
}

TEST_P(RawConvert, PutsEntriesIntoTheirParent) {
  EXPECT_EQ(
      device("/example-device:device/port", R"([{"speed": "1", "name": "p1"}, {"name": "p2"}])"),
      "<port><name>p1</name><speed>1</speed></port><port><name>p2</name></port>");
  EXPECT_EQ(device("/example-device:device/search", R"(["b", "a"])"),
            "<search>b</search><search>a</search>");
}

TEST_P(RawConvert, DeclaresNamespacesAndPrefixes) {
  const std::string radio =
      "<port><name>p1</name><radio xmlns=\"urn:example:radio\"><channel>6</channel></radio></port>";
  EXPECT_EQ(device(kPort, R"({"example-radio:radio": {"channel": 6}})"), radio);
  EXPECT_EQ(device(std::string(kPort) + "/example-radio:radio", R"({"channel": 6})"), radio);
  EXPECT_EQ(
      device(kPort, R"({"medium": "example-types:fibre"})"),
      "<port><name>p1</name><medium xmlns:ext=\"urn:example:types\">ext:fibre</medium></port>");
}

TEST_P(RawConvert, TakesTheMembersOfAWholeTreeOneByOne) {
  EXPECT_EQ(device("/", R"({"example-device:device": {"name": "a"}})", GetParam(), nexa::REPLACE),
            "<name>a</name>");
  EXPECT_EQ(refusal("/", "[1]", nexa::REPLACE), "The whole tree is an object");
  EXPECT_EQ(refusal("/", R"({"example-device:nosuch": 1})", nexa::REPLACE),
            "No schema node for /example-device:nosuch");
}

// Why nexad does more than these calls.
TEST_P(RawConvert, ChangesSomeValues) {
  EXPECT_EQ(device(kDevice, R"({"name": "n"})").find("n</name>"), std::string::npos);
  EXPECT_EQ(device(kLimits, R"({"count32": 4294967295})"),
            GetParam() == RawConverter::kStrict
                ? "<limits><count32>2147483647</count32></limits>"
                : "<limits><count32>4.29497e+09</count32></limits>");
  EXPECT_EQ(device(kPort, R"({"name": "p2", "speed": "1"})"),
            "<port><name>p1</name><speed>1</speed></port>");
}

TEST_F(RawConvert, TheConvertersDifferInListsAndEmptyContainers) {
  const std::string list = R"({"port": [{"name": "p1"}]})";
  EXPECT_EQ(device(kDevice, list, RawConverter::kStrict), "<port><name>p1</name></port>");
  EXPECT_EQ(device(kDevice, list, RawConverter::kSimple),
            "<port><port><name>p1</name></port></port>");
  EXPECT_EQ(device("/example-device:device/debug", "{}", RawConverter::kStrict), "<debug/>");
  std::string xml = "unchanged";
  const grpc::Status verdict =
      status("/example-device:device/debug", "{}", RawConverter::kSimple, xml);
  EXPECT_EQ(verdict.error_code(), grpc::StatusCode::INTERNAL);
  EXPECT_EQ(verdict.error_message(), "/example-device:device/debug is not converted");
  EXPECT_EQ(xml, "unchanged");
}

TEST_P(RawConvert, GivesTheLibrarysVerdicts) {
  EXPECT_EQ(refusal("/example-device:device/1x", "{}"),
            "Invalid PathElement.name 1x char 1 is invalid");
  EXPECT_EQ(
      refusal("/", "{}"),
      "Invalid argument.  Path with 0 elements (xpath = \"/\") is not supported for SET and GET "
      "requests");
  EXPECT_EQ(refusal("/no-such-module:device", "{}"),
            "Unknown module [ no-such-module ] in path element [ no-such-module:device ]");
  EXPECT_EQ(refusal(std::string(kPort) + "/route", "{}"),
            "When list keys are not fully specified json_ietf val should be array ");
  EXPECT_EQ(refusal(kPort, "[{}]"),
            "When list keys are fully specified json_ietf val should NOT be array ");
  std::string xml;
  EXPECT_EQ(status("/example-device:device/port[name=*]", "{}", GetParam(), xml).error_message(),
            "Invalid key value * wild card is not supported for SET key value");
}

TEST_P(RawConvert, RefusesWhatTheLibraryWouldLose) {
  EXPECT_EQ(refusal("/device/name", "\"x\""), "No schema node for /device/name");
  EXPECT_EQ(refusal("/example-device:device/name/below", "1"),
            "No schema node for /example-device:device/name/below");
  EXPECT_EQ(refusal(kDevice, R"({"foo": 1})"), "Unknown member /example-device:device/foo");
  EXPECT_EQ(refusal(kDevice, R"({"name": {"a": 1}})"),
            "Unknown member /example-device:device/name/a");
  EXPECT_EQ(refusal(kDevice, R"({"name": "a", "name": "b"})"),
            "/example-device:device/name is given twice");
  EXPECT_EQ(refusal(kDevice, R"({"name": ["a"]})"), "/example-device:device/name takes one value");
  EXPECT_EQ(refusal(kDevice, R"({"limits": 1})"), "/example-device:device/limits takes an object");
  EXPECT_EQ(refusal(kDevice, "null"), "/example-device:device is null, which is not converted");
  EXPECT_EQ(refusal(kLimits, R"({"marker": [null]})"),
            "/example-device:device/limits/marker is null, which is not converted");
}

// An array that is empty, or in an array, would reach an assertion.
TEST_P(RawConvert, RefusesWhatWouldEndTheProcess) {
  EXPECT_EQ(refusal(kDevice, R"({"port": []})"), "/example-device:device/port is an empty array");
  EXPECT_EQ(refusal("/example-device:device/port", "[]"),
            "/example-device:device/port is an empty array");
  EXPECT_EQ(refusal(kDevice, R"({"search": [["a"]]})"),
            "/example-device:device/search holds an array in an array");
}

TEST_P(RawConvert, SaysWhereJsonIsMalformed) {
  EXPECT_EQ(refusal(kDevice, "{\n \"name\": }"),
            "Malformed JSON: expected a value at line 2, column 10");
  EXPECT_EQ(refusal(kDevice, R"({"name": "a\u0000b"})").substr(0, 16), "Malformed JSON: ");
  EXPECT_EQ(refusal(kDevice, std::string(5 << 20, '[')).substr(0, 16), "Malformed JSON: ");
}

}  // namespace
}  // namespace nexa_tool
