// gNMI path strings, both ways.
#include "translate/path_string.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace nexa::translate {
namespace path_string_test {

// "name{key=value,...} name ..." of a parsed path, or "byte N: message".
std::string outline(const std::string& text) {
  PathStringError error;
  const auto path = parse_path_string(text, &error);
  if (!path) return "byte " + std::to_string(error.offset) + ": " + error.message;
  std::string result = path->origin().empty() ? "" : path->origin() + "| ";
  for (const gnmi::PathElem& element : path->elem()) {
    result += element.name();
    for (const auto& [key, value] : element.key()) result += "{" + key + "=" + value + "}";
    result += " ";
  }
  return result;
}

struct Case {
  std::string text;
  std::string outline;
};

TEST(ParsePathString, AcceptsEveryFormOfPath) {
  const std::vector<Case> cases = {
      {"/", ""},
      {"/a", "a "},
      {"a/b", "a b "},
      {"/ietf-interfaces:interfaces/interface[name=eth0]",
       "ietf-interfaces:interfaces interface{name=eth0} "},
      {"/a[k=x/y]/b", "a{k=x/y} b "},
      {"/a[k=x[y]", "a{k=x[y} "},
      {R"(/a[k=x\]y])", "a{k=x]y} "},
      {R"(/a[k=x\\y])", R"(a{k=x\y} )"},
      {R"(/a[k=\\\]])", R"(a{k=\]} )"},
      {"/a[k=]", "a{k=} "},
      {"/a[k=v=w]", "a{k=v=w} "},
      {"/a[k= v ]", "a{k= v } "},
      {"openconfig:/a/b", "openconfig| a b "},
      {"/m:a", "m:a "},
      {"m:a/b", "m:a b "},
      {"/a[k=o:/p]", "a{k=o:/p} "},
  };
  for (const Case& item : cases) EXPECT_EQ(outline(item.text), item.outline) << item.text;
}

TEST(ParsePathString, RefusesEveryMalformedPathByByte) {
  const std::vector<Case> cases = {
      {"", R"(byte 0: empty path string; the empty path is "/")"},
      {"//", "byte 1: empty element name"},
      {"/a/", "byte 3: empty element name"},
      {"/a//b", "byte 3: empty element name"},
      {"/[k=v]", "byte 1: empty element name"},
      {"/a[k]", R"(byte 2: key without "=")"},
      {"/a[k", R"(byte 2: key without "=")"},
      {"/a[=v]", "byte 3: empty key name"},
      {"/a[k=v", R"(byte 2: key without "]")"},
      {R"(/a[k=v\)", R"(byte 2: key without "]")"},
      {"/a[k=v]b", R"(byte 7: text after "]")"},
      {"/a]b", R"(byte 2: "]" without "[")"},
      {"/a[k=v][k=w]", R"(byte 7: key "k" given twice)"},
  };
  for (const Case& item : cases) EXPECT_EQ(outline(item.text), item.outline) << item.text;
}

TEST(ParsePathString, TakesSeveralKeys) {
  PathStringError error;
  const auto path = parse_path_string("/a[x=1][y=2]", &error);
  ASSERT_TRUE(path);
  ASSERT_EQ(path->elem_size(), 1);
  EXPECT_EQ(path->elem(0).key_size(), 2);
  EXPECT_EQ(path->elem(0).key().at("x"), "1");
  EXPECT_EQ(path->elem(0).key().at("y"), "2");
}

TEST(PathStringError, NamesTheByte) {
  PathStringError error;
  EXPECT_FALSE(parse_path_string("/a/", &error));
  EXPECT_EQ(error.text(), "empty element name at byte 3");
}

TEST(FormatPathString, WritesWhatParsingReadsBack) {
  for (const std::string text :
       {"/", "/a", "/m:a/b[k=x/y]/c", R"(/a[k=x\]\\[y])", "/a[x=1][y=2]"}) {
    PathStringError error;
    const auto path = parse_path_string(text, &error);
    ASSERT_TRUE(path) << text;
    EXPECT_EQ(format_path_string(*path), text);
  }
}

}  // namespace path_string_test
}  // namespace nexa::translate
