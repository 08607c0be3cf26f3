// What is one JSON document, and where it goes wrong.
#include "translate/bare/json_text.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace nexa::host::bare {
namespace {

std::string verdict(const std::string& text) {
  const auto error = check_json_text(text);
  return error ? error->text() : "ok";
}

TEST(CheckJsonText, AcceptsEveryKindOfValue) {
  for (const std::string text :
       {R"({})", R"([])", R"("")", "0", "-0", "10", "1.5", "-1.5e+10", "1E9", "true", "false",
        "null", R"( { "a" : [ 1 , { "b" : null } ] } )", R"("\"\\\/\b\f\n\r\t\u0041")",
        "\"\xC3\xA9\"", "\"\xE2\x82\xAC\"", "\"\xF0\x9F\x98\x80\"", R"("\ud83d\ude00")",
        "[[],{},[{}]]"}) {
    EXPECT_EQ(verdict(text), "ok") << text;
  }
}

TEST(CheckJsonText, NamesByteLineAndColumn) {
  EXPECT_EQ(verdict("{\n  \"a\": 1,\n  \"b\" 2\n}"),
            R"(expected ":" after a member name at byte 18 (line 3, column 7))");
}

struct Case {
  std::string text;
  std::string start;  // of the verdict
};

TEST(CheckJsonText, RefusesWhatIsNotJson) {
  const std::vector<Case> cases = {
      {"", "JSON ends too early at byte 0"},
      {"  ", "JSON ends too early at byte 2"},
      {"{", "expected a member name in double quotes at byte 1"},
      {"[", "JSON ends too early at byte 1"},
      {"[1", "expected \",\" or \"]\" in a JSON array at byte 2"},
      {"[1,]", "expected a JSON value at byte 3"},
      {R"({"a":1,})", "expected a member name in double quotes at byte 7"},
      {R"({"a":1 "b":2})", "expected \",\" or \"}\" in a JSON object at byte 7"},
      {R"({"a":1])", "expected \",\" or \"}\" in a JSON object at byte 6"},
      {"{a:1}", "expected a member name in double quotes at byte 1"},
      {"tru", "expected a JSON value at byte 0"},
      {"nul", "expected a JSON value at byte 0"},
      {"'a'", "expected a JSON value at byte 0"},
      {"1 2", "text after the end of the JSON value at byte 2"},
      {"{} x", "text after the end of the JSON value at byte 3"},
      {"01", "JSON number with a leading zero at byte 1"},
      {"1.", "malformed JSON number at byte 2"},
      {".5", "expected a JSON value at byte 0"},
      {"+1", "expected a JSON value at byte 0"},
      {"-", "malformed JSON number at byte 1"},
      {"1e", "malformed JSON number at byte 2"},
      {"\"a", "JSON string without an end at byte 2"},
      {"\"\n\"", "control character in a JSON string at byte 1"},
      {R"("\x")", "unknown escape in a JSON string at byte 1"},
      {R"("\u12G4")", "malformed Unicode escape in a JSON string at byte 1"},
      {R"("\u0000")", "NUL character in a JSON string at byte 1"},
      {R"("\ud83d")", "lone surrogate in a JSON string at byte 1"},
      {R"("\ude00")", "lone surrogate in a JSON string at byte 1"},
      {std::string("\"a\0b\"", 5), "control character in a JSON string at byte 2"},
      {std::string("1\0", 2), "text after the end of the JSON value at byte 1"},
  };
  for (const Case& item : cases) {
    EXPECT_EQ(verdict(item.text).substr(0, item.start.size()), item.start) << item.text;
  }
}

TEST(CheckJsonText, RefusesInvalidUtf8) {
  for (const std::string bytes :
       {"\x80", "\xC0\x80", "\xC1\xBF", "\xE0\x80\x80", "\xED\xA0\x80", "\xF0\x80\x80\x80",
        "\xF4\x90\x80\x80", "\xF5\x80\x80\x80", "\xFF", "\xC3", "\xE2\x82"}) {
    EXPECT_EQ(verdict("\"" + bytes + "\"").substr(0, 22), "invalid UTF-8 at byte ");
  }
}

TEST(CheckJsonText, StopsAtTheDepthLimit) {
  const std::string open(256, '[');
  EXPECT_EQ(verdict(open + std::string(256, ']')), "ok");
  EXPECT_EQ(verdict(open + "[" + std::string(257, ']')).substr(0, 44),
            "JSON nested deeper than 256 levels at byte 2");
  EXPECT_EQ(verdict(std::string(5 << 20, '[')).substr(0, 34), "JSON nested deeper than 256 levels");
}

}  // namespace
}  // namespace nexa::host::bare
