// Identifiers, element names, key names and key values, each judged alone.
#include <grpc/support/log.h>
#include <gtest/gtest.h>

#include <cctype>
#include <clocale>
#include <string>
#include <utility>
#include <vector>

#include "nexa/nexa_srv_rpc_msg_helpers.h"
#include "support/log_capture.h"

namespace path_validation_test {

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
constexpr RequestType kAllTypes[] = {SUBSCRIBE, GET, DELETE, UPDATE, REPLACE};

Lines masked(LogCapture& log) {
  Lines lines = log.take();
  for (Line& line : lines) line.text = nexa_test::mask_numbers(line.text);
  return lines;
}

Line error(const std::string& text) { return {GPR_LOG_SEVERITY_ERROR, kFile, text}; }

void expect_pass(const grpc::Status& status, LogCapture& log) {
  EXPECT_EQ(status.error_code(), StatusCode::OK);
  EXPECT_EQ(status.error_message(), "");
  EXPECT_EQ(log.take(), Lines{});
}

void expect_refused(const grpc::Status& status, StatusCode code, const std::string& message,
                    LogCapture& log, const Lines& lines) {
  EXPECT_EQ(status.error_code(), code);
  EXPECT_EQ(status.error_message(), message);
  EXPECT_EQ(masked(log), lines);
}

// The refusal and the log line of an identifier with a character that may not stand there.
void expect_bad_character(const grpc::Status& status, const std::string& identifier, char c,
                          LogCapture& log) {
  expect_refused(status, StatusCode::INVALID_ARGUMENT,
                 "Invalid PathElement.name " + identifier + " char " + c + " is invalid", log,
                 {error("in validate_yang_identifier at line # nodeid " + identifier + " char " +
                        c + " is NOT Valid")});
}

void expect_xml(const grpc::Status& status, const std::string& identifier, LogCapture& log) {
  expect_refused(
      status, StatusCode::INVALID_ARGUMENT,
      "Invalid PathElement.name " + identifier + " Cannot start with 'xml'", log,
      {error("in validate_yang_identifier at line # nodeid " + identifier + " is NOT Valid")});
}

TEST(RequestTypes, KeepTheirNumbers) {
  EXPECT_EQ(static_cast<int>(GET), 1);
  EXPECT_EQ(static_cast<int>(UPDATE), 3);
  EXPECT_EQ(static_cast<int>(REPLACE), 4);
}

TEST(StartsWithXml, LooksAtTheFirstThreeCharactersInAnyCase) {
  for (const char* text : {"xml", "XML", "XmLdata", "xmlns", "xMl"}) {
    EXPECT_TRUE(Helpers::starts_with_xml(text)) << text;
  }
  for (const char* text : {"", "x", "xm", "a.xml", "axml", "xnl", "xm1"}) {
    EXPECT_FALSE(Helpers::starts_with_xml(text)) << text;
  }
}

TEST(IsRecursiveWildCard, IsExactlyThreeFullStops) {
  EXPECT_TRUE(Helpers::is_recursive_wild_card("..."));
  for (const char* text : {"", ".", "..", "....", "*", "a..", " ..."}) {
    EXPECT_FALSE(Helpers::is_recursive_wild_card(text)) << text;
  }
}

TEST(ValidateYangIdentifier, PassesIdentifiers) {
  LogCapture log;
  for (const char* text :
       {"_a", "a-b.c_1", "xm", "a.xml", "A", "_", "Z9", "a...", "x", "interface"}) {
    SCOPED_TRACE(text);
    expect_pass(Helpers::validate_yang_identifier(text), log);
  }
}

TEST(ValidateYangIdentifier, PassesTheEmptyIdentifier) {
  LogCapture log;
  expect_pass(Helpers::validate_yang_identifier(""), log);
}

TEST(ValidateYangIdentifier, RefusesXmlInAnyCase) {
  LogCapture log;
  for (const char* text : {"xmlns", "XML", "Xml_a", "xml"}) {
    SCOPED_TRACE(text);
    expect_xml(Helpers::validate_yang_identifier(text), text, log);
  }
}

TEST(ValidateYangIdentifier, XmlIsReportedBeforeABadCharacter) {
  LogCapture log;
  expect_xml(Helpers::validate_yang_identifier("xml/"), "xml/", log);
}

TEST(ValidateYangIdentifier, RefusesABadFirstCharacter) {
  LogCapture log;
  for (const char* text : {"1abc", "-a", ".a", " a", "9", "$", "@x", "[", "`", "{"}) {
    SCOPED_TRACE(text);
    expect_bad_character(Helpers::validate_yang_identifier(text), text, text[0], log);
  }
}

TEST(ValidateYangIdentifier, RefusesABadLaterCharacter) {
  LogCapture log;
  const std::vector<std::pair<std::string, char>> cases = {
      {"a b", ' '}, {"a/b", '/'}, {"a*", '*'}, {"na:me", ':'}, {"a\tb", '\t'},
      {"ab@", '@'}, {"a[", '['},  {"a`", '`'}, {"a{", '{'},    {"a,", ','}};
  for (const auto& [text, bad] : cases) {
    SCOPED_TRACE(text);
    expect_bad_character(Helpers::validate_yang_identifier(text), text, bad, log);
  }
}

TEST(ValidateYangIdentifier, ReportsOnlyTheFirstBadCharacter) {
  LogCapture log;
  expect_bad_character(Helpers::validate_yang_identifier("a b/c*"), "a b/c*", ' ', log);
}

TEST(ValidateYangIdentifier, ClassifiesEveryByteAsTheCLocaleDoes) {
  ASSERT_STREQ(std::setlocale(LC_CTYPE, nullptr), "C");
  for (int byte = 1; byte < 256; ++byte) {
    SCOPED_TRACE(byte);
    const std::string first(1, static_cast<char>(byte));
    const bool letter = std::isalpha(byte) != 0 || byte == '_';
    EXPECT_EQ(Helpers::validate_yang_identifier(first).ok(), letter);
    const bool later = std::isalnum(byte) != 0 || byte == '-' || byte == '.' || byte == '_';
    EXPECT_EQ(Helpers::validate_yang_identifier("a" + first).ok(), later);
  }
}

TEST(ValidateYangIdentifier, RefusesAZeroByte) {
  LogCapture log;
  const std::string text("a\0b", 3);
  const grpc::Status status = Helpers::validate_yang_identifier(text);
  EXPECT_EQ(status.error_code(), StatusCode::INVALID_ARGUMENT);
  EXPECT_EQ(status.error_message(),
            "Invalid PathElement.name " + text + " char " + std::string(1, '\0') + " is invalid");
}

TEST(ValidateYangIdentifier, UserTextIsNeverAFormat) {
  LogCapture log;
  expect_bad_character(Helpers::validate_yang_identifier("a%s%n"), "a%s%n", '%', log);
}

TEST(ValidateElementName, WildcardsPassOutsideSet) {
  LogCapture log;
  for (const RequestType type : {SUBSCRIBE, GET, DELETE}) {
    SCOPED_TRACE(type);
    expect_pass(Helpers::validate_element_name(type, "*"), log);
    expect_pass(Helpers::validate_element_name(type, "..."), log);
  }
}

TEST(ValidateElementName, WildcardsAreNotImplementedForUpdateAndReplace) {
  LogCapture log;
  for (const RequestType type : {UPDATE, REPLACE}) {
    for (const char* name : {"*", "..."}) {
      SCOPED_TRACE(name);
      expect_refused(Helpers::validate_element_name(type, name), StatusCode::UNIMPLEMENTED,
                     "Wildcard not implemented for UPDATE nor REPLACE", log,
                     {error("Wildcard not implemented for UPDATE nor REPLACE")});
    }
  }
}

TEST(ValidateElementName, AWildcardWithMoreTextIsABadIdentifier) {
  LogCapture log;
  expect_bad_character(Helpers::validate_element_name(GET, "a*"), "a*", '*', log);
  expect_bad_character(Helpers::validate_element_name(GET, "**"), "**", '*', log);
  expect_bad_character(Helpers::validate_element_name(GET, "...."), "....", '.', log);
}

TEST(ValidateElementName, ChecksAnUnprefixedNameAsAnIdentifier) {
  LogCapture log;
  expect_pass(Helpers::validate_element_name(GET, "interfaces"), log);
  expect_bad_character(Helpers::validate_element_name(UPDATE, "1abc"), "1abc", '1', log);
}

TEST(ValidateElementName, ChecksBothHalvesOfAPrefixedName) {
  LogCapture log;
  expect_pass(Helpers::validate_element_name(GET, "pfx:name"), log);
  expect_bad_character(Helpers::validate_element_name(GET, "p x:name"), "p x", ' ', log);
  expect_bad_character(Helpers::validate_element_name(GET, "pfx:na/me"), "na/me", '/', log);
}

TEST(ValidateElementName, ThePrefixFailsFirst) {
  LogCapture log;
  expect_bad_character(Helpers::validate_element_name(GET, "1p:2n"), "1p", '1', log);
}

TEST(ValidateElementName, ASecondColonIsABadCharacterOfTheLocalName) {
  LogCapture log;
  expect_bad_character(Helpers::validate_element_name(GET, "pfx:na:me"), "na:me", ':', log);
}

TEST(ValidateElementName, RefusesAPrefixOrLocalNameThatStartsWithXml) {
  LogCapture log;
  expect_xml(Helpers::validate_element_name(GET, "xmlpfx:name"), "xmlpfx", log);
  expect_xml(Helpers::validate_element_name(GET, "pfx:XMLname"), "XMLname", log);
}

TEST(ValidateElementName, EmptyHalvesPass) {
  LogCapture log;
  for (const char* name : {"", "pfx:", ":name", ":"}) {
    SCOPED_TRACE(name);
    expect_pass(Helpers::validate_element_name(UPDATE, name), log);
  }
}

TEST(ValidateElementName, AWildcardBehindAPrefixIsABadIdentifier) {
  LogCapture log;
  expect_bad_character(Helpers::validate_element_name(GET, "pfx:*"), "*", '*', log);
}

TEST(ValidateKey, RefusesWildcardsForEveryKindOfRequest) {
  LogCapture log;
  for (const RequestType type : kAllTypes) {
    for (const std::string key : {"*", "a*", "*a", "a*b", "..."}) {
      SCOPED_TRACE(key);
      expect_refused(Helpers::validate_key(type, key), StatusCode::INVALID_ARGUMENT,
                     "Invalid path element key/name: " + key, log,
                     {error("Invalid path element key/name: " + key)});
    }
  }
}

TEST(ValidateKey, FollowsTheRulesOfElementNames) {
  LogCapture log;
  expect_pass(Helpers::validate_key(UPDATE, "name"), log);
  expect_pass(Helpers::validate_key(GET, "pfx:name"), log);
  expect_bad_character(Helpers::validate_key(GET, "pfx:na:me"), "na:me", ':', log);
  expect_xml(Helpers::validate_key(REPLACE, "xmlkey"), "xmlkey", log);
}

TEST(ValidateValue, RefusesAnAsteriskInsideAStringForEveryKindOfRequest) {
  LogCapture log;
  for (const RequestType type : kAllTypes) {
    for (const std::string value : {"ab*", "*a", "**", "a*b"}) {
      SCOPED_TRACE(value);
      const std::string message =
          "Invalid key value %s regex style wildcard not supported inside of a string " + value;
      expect_refused(Helpers::validate_value(type, value), StatusCode::INVALID_ARGUMENT, message,
                     log, {error(message)});
    }
  }
}

TEST(ValidateValue, SetRefusesTheWildcardAsUnimplemented) {
  LogCapture log;
  for (const RequestType type : {UPDATE, REPLACE}) {
    expect_refused(Helpers::validate_value(type, "*"), StatusCode::UNIMPLEMENTED,
                   "Invalid key value * wild card is not supported for SET key value", log,
                   {error("Invalid key value * wild card is not supported for SET key value")});
  }
}

TEST(ValidateValue, SetRefusesTheRecursiveWildcardWithTwoBlanks) {
  LogCapture log;
  for (const RequestType type : {UPDATE, REPLACE}) {
    expect_refused(Helpers::validate_value(type, "..."), StatusCode::INVALID_ARGUMENT,
                   "Invalid key value  ...", log, {error("Invalid key value  ...")});
  }
}

TEST(ValidateValue, GetPassesTheWildcardAndRefusesTheRecursiveOne) {
  LogCapture log;
  expect_pass(Helpers::validate_value(GET, "*"), log);
  expect_refused(Helpers::validate_value(GET, "..."), StatusCode::INVALID_ARGUMENT,
                 "Invalid key value ...", log, {error("Invalid key value ...")});
}

TEST(ValidateValue, AnyOtherTextPasses) {
  LogCapture log;
  for (const RequestType type : {GET, UPDATE, REPLACE}) {
    for (const char* value : {"", "eth0", "....", "a...", "with blank", "1/2", "xml", "a:b:c"}) {
      SCOPED_TRACE(value);
      expect_pass(Helpers::validate_value(type, value), log);
    }
  }
}

TEST(ValidateValue, OtherKindsOfRequestPassWithANotice) {
  LogCapture log;
  for (const RequestType type : {SUBSCRIBE, DELETE}) {
    for (const char* value : {"*", "...", "eth0", ""}) {
      const grpc::Status status = Helpers::validate_value(type, value);
      EXPECT_TRUE(status.ok());
      EXPECT_EQ(status.error_message(), "");
      EXPECT_EQ(log.take(), (Lines{{GPR_LOG_SEVERITY_INFO, kFile,
                                    "This function is called with the wrong transaction type " +
                                        std::to_string(static_cast<int>(type))}}));
    }
  }
}

}  // namespace path_validation_test
