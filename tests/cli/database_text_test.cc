// Keypath and xpath texts: agreement with the library's own functions, and what cannot be written.
#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "nexa/nexa_srv_rpc_msg_helpers.h"
#include "nexa/xpath_parser.h"
#include "translate/database_text.h"

namespace {

using nexa::translate::OrderedElement;
using nexa::translate::OrderedPath;
using nexa::translate::PathStringError;

OrderedElement element(const std::string& name, const std::vector<std::string>& values = {}) {
  OrderedElement made;
  made.name = name;
  for (const std::string& value : values) made.keys.emplace_back("", value);
  return made;
}

std::string dump(const OrderedPath& path) {
  std::string text;
  for (const OrderedElement& part : path) {
    text += "|" + part.name;
    for (const auto& [key, value] : part.keys) text += "{" + key + value + "}";
  }
  return text;
}

std::string parsed(const std::string& text) {
  PathStringError error;
  const auto path = nexa::translate::parse_keypath(text, &error);
  return path ? dump(*path) : error.text();
}

TEST(IsKeypath, IsDecidedByTheFirstBraceOrBracket) {
  EXPECT_TRUE(nexa::translate::is_keypath("/a{b}"));
  EXPECT_TRUE(nexa::translate::is_keypath("/a{b[1]}"));
  EXPECT_FALSE(nexa::translate::is_keypath("/a[k='{']"));
  EXPECT_FALSE(nexa::translate::is_keypath("/a/b"));
}

TEST(ParseKeypath, ReadsElementsAndKeyValues) {
  EXPECT_EQ(parsed("/"), "");
  EXPECT_EQ(parsed("/a"), "|a");
  EXPECT_EQ(parsed("/a/"), "|a");
  EXPECT_EQ(parsed("/p:a/b{1}/c"), "|p:a|b{1}|c");
  EXPECT_EQ(parsed("/b{one two\\ words}"), "|b{one}{two words}");
  EXPECT_EQ(parsed("/b{}"), "|b{}");
  EXPECT_EQ(parsed("/b{ x}"), "|b{}{x}");
  EXPECT_EQ(parsed("/b{1/2}/c"), "|b{1/2}|c");
  EXPECT_EQ(parsed("/b{x}y}"), "|b{x}y}");
  EXPECT_EQ(parsed("/b{a\\b}"), "|b{a\\b}");
}

TEST(ParseKeypath, RefusesMalformedTextWithThePlace) {
  EXPECT_EQ(parsed(""), "a keypath begins with \"/\" at byte 0");
  EXPECT_EQ(parsed("a"), "a keypath begins with \"/\" at byte 0");
  EXPECT_EQ(parsed("//a"), "empty element name at byte 1");
  EXPECT_EQ(parsed("/a/{1}"), "empty element name at byte 3");
  EXPECT_EQ(parsed("/a{1"), "\"{\" without \"}\" at byte 2");
  EXPECT_EQ(parsed("/a}"), "\"}\" without \"{\" at byte 2");
}

TEST(FormatKeypath, KeepsTheOrderOfTheKeys) {
  EXPECT_EQ(nexa::translate::format_keypath({}), "/");
  EXPECT_EQ(nexa::translate::format_keypath({element("l", {"two words", "", "one"})}),
            "/l{two\\ words  one}");
}

TEST(FormatXpath, KeepsTheOrderOfTheKeys) {
  OrderedElement list = element("l");
  list.keys = {{"b", "2"}, {"a", "1"}};
  std::string text;
  EXPECT_TRUE(nexa::translate::format_xpath({list}, text).ok());
  EXPECT_EQ(text, "/l[b='2'][a='1']");
}

TEST(FormatXpath, RefusesValuesThatDoNotReadBack) {
  for (const char* value : {"a=b", "[", "]"}) {
    OrderedElement list = element("l");
    list.keys = {{"k", value}};
    std::string text;
    const grpc::Status status = nexa::translate::format_xpath({list}, text);
    EXPECT_EQ(status.error_code(), grpc::StatusCode::INVALID_ARGUMENT);
    EXPECT_EQ(status.error_message(), "Key value \"" + std::string(value) +
                                          "\" cannot stand in xpath text: it holds one of \"=\", "
                                          "\"[\" and \"]\"");
  }
}

TEST(InByteOrder, SortsTheKeysOfEachElement) {
  gnmi::Path path;
  gnmi::PathElem* list = path.add_elem();
  list->set_name("l");
  for (const char* key : {"b", "c", "a", "B"}) (*list->mutable_key())[key] = "1";
  EXPECT_EQ(dump(nexa::translate::in_byte_order(path)), "|l{B1}{a1}{b1}{c1}");
}

// With at most one key in an element, map order is no matter.
gnmi::Path arbitrary_path(const std::string& alphabet) {
  gnmi::Path path;
  const auto text = rc::gen::container<std::string>(rc::gen::elementOf(alphabet));
  for (const std::string& name : *rc::gen::container<std::vector<std::string>>(
           rc::gen::elementOf(std::vector<std::string>{"a", "p:b", "*", "...", "long-name"}))) {
    gnmi::PathElem* added = path.add_elem();
    added->set_name(name);
    if (*rc::gen::arbitrary<bool>()) (*added->mutable_key())["key"] = *text;
  }
  return path;
}

RC_GTEST_PROP(DatabaseTextProperty, AgreesWithTheLibrary, ()) {
  const gnmi::Path path = arbitrary_path("ab *./\\{}\"");
  const OrderedPath ordered = nexa::translate::in_byte_order(path);
  std::string xpath;
  RC_ASSERT(nexa::translate::format_xpath(ordered, xpath).ok());
  RC_ASSERT(xpath == nexa::ServiceRpcMsgHelpers::build_path_str(path, nullptr));

  nexa::ServiceKestrelNamespaceMapperImpl mapper;
  const auto token = mapper.newToken();
  nexa::XpathParser parser(*token);
  parser.gPath = path;
  RC_ASSERT(nexa::translate::format_keypath(ordered) == parser.gPath_2_kpath());
}

RC_GTEST_PROP(DatabaseTextProperty, AKeypathReadsBack, ()) {
  OrderedPath path;
  const auto value = rc::gen::container<std::string>(rc::gen::elementOf(std::string("ab /1.[]='")));
  for (const auto& values : *rc::gen::container<std::vector<std::vector<std::string>>>(
           rc::gen::container<std::vector<std::string>>(value))) {
    path.push_back(element("name", values));
  }
  PathStringError error;
  const auto again = nexa::translate::parse_keypath(nexa::translate::format_keypath(path), &error);
  RC_ASSERT(again.has_value());
  RC_ASSERT(dump(*again) == dump(path));
}

}  // namespace
