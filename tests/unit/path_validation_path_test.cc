// Whole paths: the order of the checks and what is logged on the way, the empty path, wildcard
// counting.
#include <grpc/support/log.h>
#include <gtest/gtest.h>

#include <map>
#include <string>

#include "nexa/nexa_srv_rpc_msg_helpers.h"
#include "support/log_capture.h"

namespace path_validation_path_test {

using grpc::StatusCode;
using nexa::DELETE;
using nexa::GET;
using nexa::REPLACE;
using nexa::RequestType;
using nexa::SUBSCRIBE;
using nexa::UPDATE;
using nexa_test::Line;
using nexa_test::Lines;
using nexa_test::LogCapture;
using Helpers = nexa::ServiceRpcMsgHelpers;

constexpr char kFile[] = "nexa_srv_rpc_msg_helpers/path_validation.cc";
constexpr char kEmptyPathText[] =
    "Invalid argument.  Path with 0 elements (xpath = \"/\") is not supported for SET and GET "
    "requests";

Line debug(const std::string& text) { return {GPR_LOG_SEVERITY_DEBUG, kFile, text}; }
Line error(const std::string& text) { return {GPR_LOG_SEVERITY_ERROR, kFile, text}; }

Lines masked(LogCapture& log) {
  Lines lines = log.take();
  for (Line& line : lines) line.text = nexa_test::mask_numbers(line.text);
  return lines;
}

void add(gnmi::Path& path, const std::string& name,
         const std::map<std::string, std::string>& keys = {}) {
  gnmi::PathElem* element = path.add_elem();
  element->set_name(name);
  element->mutable_key()->insert(keys.begin(), keys.end());
}

// Through reflection, since the generated accessor warns about the field.
void add_deprecated_element(gnmi::Path& path, const std::string& text) {
  const google::protobuf::FieldDescriptor* field = path.GetDescriptor()->FindFieldByName("element");
  path.GetReflection()->AddString(&path, field, text);
}

void expect_pass(const grpc::Status& status) {
  EXPECT_EQ(status.error_code(), StatusCode::OK);
  EXPECT_EQ(status.error_message(), "");
}

void expect_refused(const grpc::Status& status, StatusCode code, const std::string& message) {
  EXPECT_EQ(status.error_code(), code);
  EXPECT_EQ(status.error_message(), message);
}

TEST(ValidatePathOfRequest, PassesAndTracesEnterAndExit) {
  LogCapture log;
  gnmi::Path path;
  add(path, "oc-if:interfaces");
  add(path, "interface", {{"name", "eth0"}, {"oc-if:id", "1/2"}});
  expect_pass(Helpers::validate_Path(UPDATE, path));
  EXPECT_EQ(log.take(), (Lines{debug("validate_Path --> enter"), debug("validate_Path --> EXIT")}));
}

TEST(ValidatePathOfRequest, PassesAPathWithoutElements) {
  LogCapture log;
  for (const RequestType type : {SUBSCRIBE, GET, DELETE, UPDATE, REPLACE}) {
    expect_pass(Helpers::validate_Path(type, gnmi::Path()));
    EXPECT_EQ(log.take(),
              (Lines{debug("validate_Path --> enter"), debug("validate_Path --> EXIT")}));
  }
}

TEST(ValidatePathOfRequest, LooksAtNothingButTheElements) {
  gnmi::Path path;
  path.set_origin("a b/*");
  path.set_target("*");
  add_deprecated_element(path, "xml bad *");
  add(path, "a");
  expect_pass(Helpers::validate_Path(UPDATE, path));
}

TEST(ValidatePathOfRequest, RefusesABadElementName) {
  LogCapture log;
  gnmi::Path path;
  add(path, "a");
  add(path, "b c");
  expect_refused(Helpers::validate_Path(GET, path), StatusCode::INVALID_ARGUMENT,
                 "Invalid PathElement.name b c char   is invalid");
  EXPECT_EQ(masked(log),
            (Lines{debug("validate_Path --> enter"),
                   error("in validate_yang_identifier at line # nodeid b c char   is NOT Valid"),
                   error("ele.name = b c is invalid")}));
}

TEST(ValidatePathOfRequest, RefusesABadKeyName) {
  LogCapture log;
  gnmi::Path path;
  add(path, "a", {{"*", "1"}});
  expect_refused(Helpers::validate_Path(GET, path), StatusCode::INVALID_ARGUMENT,
                 "Invalid path element key/name: *");
  EXPECT_EQ(log.take(),
            (Lines{debug("validate_Path --> enter"), error("Invalid path element key/name: *"),
                   error("ele.name.key * is invalid")}));
}

TEST(ValidatePathOfRequest, RefusesABadKeyValue) {
  LogCapture log;
  gnmi::Path path;
  add(path, "a", {{"k", "*"}});
  expect_refused(Helpers::validate_Path(REPLACE, path), StatusCode::UNIMPLEMENTED,
                 "Invalid key value * wild card is not supported for SET key value");
  EXPECT_EQ(log.take(),
            (Lines{debug("validate_Path --> enter"),
                   error("Invalid key value * wild card is not supported for SET key value"),
                   error("ele.name.key_val * is invalid")}));
}

TEST(ValidatePathOfRequest, TheElementNameIsCheckedBeforeItsKeys) {
  LogCapture log(GPR_LOG_SEVERITY_ERROR);
  gnmi::Path path;
  add(path, "1", {{"*", "..."}});
  expect_refused(Helpers::validate_Path(GET, path), StatusCode::INVALID_ARGUMENT,
                 "Invalid PathElement.name 1 char 1 is invalid");
  EXPECT_EQ(log.take().back(), error("ele.name = 1 is invalid"));
}

TEST(ValidatePathOfRequest, TheKeyNameIsCheckedBeforeItsValue) {
  gnmi::Path path;
  add(path, "a", {{"*", "..."}});
  expect_refused(Helpers::validate_Path(GET, path), StatusCode::INVALID_ARGUMENT,
                 "Invalid path element key/name: *");
}

TEST(ValidatePathOfRequest, TheFirstFailureWins) {
  LogCapture log(GPR_LOG_SEVERITY_ERROR);
  gnmi::Path path;
  add(path, "a", {{"k", "x*"}});
  add(path, "1");
  expect_refused(Helpers::validate_Path(GET, path), StatusCode::INVALID_ARGUMENT,
                 "Invalid key value %s regex style wildcard not supported inside of a string x*");
  EXPECT_EQ(log.take(),
            (Lines{error("Invalid key value %s regex style wildcard not supported inside of a "
                         "string x*"),
                   error("ele.name.key_val x* is invalid")}));
}

// Which one is first is the map's choice and differs from map to map.
TEST(ValidatePathOfRequest, ReportsOneOfSeveralBadKeys) {
  LogCapture log(GPR_LOG_SEVERITY_ERROR);
  gnmi::Path path;
  add(path, "a", {{"1", "v"}, {"2", "v"}, {"3", "v"}});
  const std::string message = Helpers::validate_Path(GET, path).error_message();
  const std::string name = message.substr(std::string("Invalid PathElement.name ").size(), 1);
  EXPECT_NE(std::string("123").find(name), std::string::npos);
  EXPECT_EQ(message, "Invalid PathElement.name " + name + " char " + name + " is invalid");
  const Lines lines = log.take();
  ASSERT_EQ(lines.size(), 2U);
  EXPECT_EQ(lines.back(), error("ele.name.key " + name + " is invalid"));
}

TEST(ValidatePathOfRequest, WildcardsOfAGet) {
  gnmi::Path path;
  add(path, "...");
  add(path, "*", {{"k", "*"}});
  expect_pass(Helpers::validate_Path(GET, path));
  gnmi::Path recursive_value;
  add(recursive_value, "a", {{"k", "..."}});
  expect_refused(Helpers::validate_Path(GET, recursive_value), StatusCode::INVALID_ARGUMENT,
                 "Invalid key value ...");
}

TEST(ValidatePathOfRequest, WildcardElementsOfASetAreNotImplemented) {
  for (const RequestType type : {UPDATE, REPLACE}) {
    for (const char* name : {"*", "..."}) {
      LogCapture log;
      gnmi::Path path;
      add(path, name);
      expect_refused(Helpers::validate_Path(type, path), StatusCode::UNIMPLEMENTED,
                     "Wildcard not implemented for UPDATE nor REPLACE");
      EXPECT_EQ(log.take(), (Lines{debug("validate_Path --> enter"),
                                   error("Wildcard not implemented for UPDATE nor REPLACE"),
                                   error(std::string("ele.name = ") + name + " is invalid")}));
    }
  }
}

TEST(ValidatePathOfRequest, SubscribeKeyValuesPassWithTheNotice) {
  LogCapture log;
  gnmi::Path path;
  add(path, "a", {{"k", "..."}});
  expect_pass(Helpers::validate_Path(SUBSCRIBE, path));
  EXPECT_EQ(log.take(), (Lines{debug("validate_Path --> enter"),
                               {GPR_LOG_SEVERITY_INFO, kFile,
                                "This function is called with the wrong transaction type 0"},
                               debug("validate_Path --> EXIT")}));
}

TEST(Check0ElementPath, RefusesTheEmptyPathOfGetAndUpdate) {
  for (const RequestType type : {GET, UPDATE}) {
    LogCapture log;
    expect_refused(Helpers::check_0_element_path(type, gnmi::Path()), StatusCode::INVALID_ARGUMENT,
                   kEmptyPathText);
    EXPECT_EQ(log.take(), (Lines{debug("Number of elements: 0"), error(kEmptyPathText)}));
  }
}

TEST(Check0ElementPath, PassesTheEmptyPathOfReplaceAndTheOthers) {
  for (const RequestType type : {REPLACE, SUBSCRIBE, DELETE}) {
    LogCapture log;
    expect_pass(Helpers::check_0_element_path(type, gnmi::Path()));
    EXPECT_EQ(log.take(), (Lines{debug("Number of elements: 0")}));
  }
}

TEST(Check0ElementPath, PassesAPathWithElementsAndLogsTheirNumber) {
  gnmi::Path path;
  add(path, "a");
  add(path, "b");
  for (const RequestType type : {SUBSCRIBE, GET, DELETE, UPDATE, REPLACE}) {
    LogCapture log;
    expect_pass(Helpers::check_0_element_path(type, path));
    EXPECT_EQ(log.take(), (Lines{debug("Number of elements: 2")}));
  }
}

TEST(Check0ElementPath, TheDeprecatedElementListDoesNotCount) {
  gnmi::Path path;
  add_deprecated_element(path, "a");
  expect_refused(Helpers::check_0_element_path(GET, path), StatusCode::INVALID_ARGUMENT,
                 kEmptyPathText);
}

TEST(NumWildcardsInPath, AnEmptyPathHasNone) {
  EXPECT_EQ(Helpers::num_wildcards_in_path(gnmi::Path()), 0);
}

TEST(NumWildcardsInPath, CountsNamesAndKeyValuesButNotKeyNames) {
  gnmi::Path path;
  add(path, "*", {{"a", "*"}, {"b", "*"}, {"c", "x*"}});
  add(path, "b*", {{"*", "1"}});
  add(path, "c", {{"k", "*"}, {"l", "..."}, {"m", ""}});
  EXPECT_EQ(Helpers::num_wildcards_in_path(path), 4);
}

TEST(NumWildcardsInPath, ARecursiveWildcardMakesItMinusOne) {
  gnmi::Path path;
  add(path, "*");
  add(path, "...");
  add(path, "*");
  EXPECT_EQ(Helpers::num_wildcards_in_path(path), -1);
}

TEST(ValidatePathOfUpdate, PassesAnUpdateWithAPath) {
  LogCapture log;
  gnmi::Update update;
  update.mutable_path();
  expect_pass(Helpers::validate_path(update));
  EXPECT_EQ(log.take(), Lines{});
}

TEST(ValidatePathOfUpdate, RefusesAnUpdateWithoutAPath) {
  LogCapture log;
  expect_refused(Helpers::validate_path(gnmi::Update()), StatusCode::INVALID_ARGUMENT,
                 "No path field provided");
  EXPECT_EQ(log.take(), (Lines{error("No path field provided")}));
}

}  // namespace path_validation_path_test
