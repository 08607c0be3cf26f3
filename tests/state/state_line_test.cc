// Lines of a program that tells operational data, and how they are cut out of a pipe.
#include "feed/state_line.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "feed/line_splitter.h"
#include "translate/path_string.h"

namespace nexa::feed {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

// "path=value", "delete path", "counters path", or the fault.
std::string read(std::string_view text) {
  const text::Result<StateLine> read = read_state_line(text);
  if (!read.ok()) return read.failure().line();
  const StateLine& line = read.value();
  const std::string path = translate::format_path_string(line.path);
  switch (line.kind) {
    case StateLine::Kind::kDelete:
      return "delete " + path;
    case StateLine::Kind::kCounters:
      return "counters " + path;
    case StateLine::Kind::kValue:
      break;
  }
  return path + "=" + std::string(line.value);
}

TEST(ReadStateLine, GivesThePathAndTheValueAsItWasSent) {
  const std::pair<const char*, const char*> lines[] = {
      {R"({"path": "/a/b", "value": "12"})", R"(/a/b="12")"},
      {R"({"path": "/a/b", "value" : 1.50 })", "/a/b=1.50"},
      {R"({"path": "/a/b", "value":12345678901234567890})", "/a/b=12345678901234567890"},
      {R"({"value":true,"path":"/a/b"})", "/a/b=true"},
      {R"( { "value" : [null] , "path" : "/a" } )", "/a=[null]"},
      {R"({"value":{"x":"}\"]","y":[{}]},"path":"/a"})", R"(/a={"x":"}\"]","y":[{}]})"},
      {R"({"path":"/a[k=\"x\\]\u0041]","value":"\\"})", R"(/a[k="x\]A]="\\")"},
      {R"({"delete": "/a[k=*]/b"})", "delete /a[k=*]/b"},
      {R"({"delete": "/"})", "delete /"},
      {R"({"counters": "/a/b"})", "counters /a/b"}};
  for (const auto& [text, expected] : lines) EXPECT_EQ(read(text), expected) << text;
}

TEST(ReadStateLine, SaysWhatIsWrong) {
  constexpr char kForms[] = R"(a line has "path" and "value", or "delete" or "counters" alone)";
  const std::pair<const char*, const char*> lines[] = {
      {"[]", "a line is one object"},
      {"1", "a line is one object"},
      {"{}", kForms},
      {R"({"path":"/a"})", kForms},
      {R"({"value":1})", kForms},
      {R"({"path":"/a","value":1,"delete":"/a"})", kForms},
      {R"({"delete":"/a","value":1})", kForms},
      {R"({"delete":"/a","counters":"/a"})", kForms},
      {R"({"counters":"/a","value":1})", kForms},
      {R"({"counters":"/a","path":"/a","value":1})", kForms},
      {R"({"path":"/a","value":1,"more":1})", kForms},
      {R"({"path":1,"value":1})", "a path is a string"},
      {R"({"delete":null})", "a path is a string"}};
  for (const auto& [text, expected] : lines) EXPECT_EQ(read(text), expected) << text;
  for (const char* const text : {"", "x", "{", R"({"path":"/a","value":})", "{} {}"}) {
    EXPECT_THAT(read(text), HasSubstr(" at byte ")) << text;
  }
  EXPECT_THAT(read(R"({"delete":"/a["})"), HasSubstr("path: "));
}

// Each line that the pieces give; one that was cut ends in "...".
std::vector<std::string> split(std::size_t bound, const std::vector<std::string>& pieces) {
  LineSplitter splitter(bound);
  std::vector<std::string> lines;
  const auto take = [&](std::string_view line, bool is_whole) {
    lines.push_back(std::string(line) + (is_whole ? "" : "..."));
  };
  for (const std::string& piece : pieces) splitter.add(piece, take);
  splitter.finish(take);
  return lines;
}

TEST(LineSplitter, JoinsPiecesAndCutsLongLines) {
  EXPECT_THAT(split(9, {"a", "b\nc\r\n\n", "d", "\n", "e"}), ElementsAre("ab", "c", "d", "e"));
  EXPECT_THAT(split(3, {"abc\nabcd\n", "ab", "cd", "ef\ng\n"}),
              ElementsAre("abc", "abc...", "abc...", "g"));
}

}  // namespace
}  // namespace nexa::feed
