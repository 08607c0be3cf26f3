// The grammar of the database's path texts: what each text gives, what is refused and what is
// traced.
#include <grpc/support/log.h>
#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <string>

#include "nexa/xpath_parser.h"
#include "support/log_capture.h"

namespace xpath_parser_test {

using nexa::XpathParser;
using nexa_test::Line;
using nexa_test::Lines;
using nexa_test::LogCapture;

constexpr char kFile[] = "nexa_srv_rpc_msg_helpers/xpath_parser.cc";

// One line for a path: elements between bars, keys by name in braces.
std::string dump(const gnmi::Path& path) {
  std::string text;
  for (const gnmi::PathElem& element : path.elem()) {
    text += "|" + element.name();
    const std::map<std::string, std::string> keys(element.key().begin(), element.key().end());
    for (const auto& [key, value] : keys) text += "{" + key + "=" + value + "}";
  }
  return text;
}

class ParserOfText {
 public:
  ParserOfText() : token_(mapper_.newToken()), parser_(*token_) {}
  bool parse(const std::string& text) {
    parser_.input_ = text;
    return parser_.parse();
  }
  std::string path() const { return dump(parser_.gPath); }
  XpathParser& operator*() { return parser_; }
  XpathParser* operator->() { return &parser_; }

 private:
  nexa::ServiceKestrelNamespaceMapperImpl mapper_;
  std::shared_ptr<nexa::Rfc7951MapperToken> token_;
  XpathParser parser_;
};

struct Case {
  const char* text;
  const char* path;
};

TEST(XpathParserGrammar, AcceptsPaths) {
  constexpr Case kCases[] = {
      {"", ""},
      {"/", ""},
      {"/a", "|a"},
      {"/a/", "|a"},
      {"/a/b", "|a|b"},
      {"a/b", "|b"},
      {"text before/b", "|b"},
      {"/oc-if:interfaces/interface", "|oc-if:interfaces|interface"},
      {"/interfaces/interface[name='eth0']/config", "|interfaces|interface{name=eth0}|config"},
      {"/a[x='1'][y='2']", "|a{x=1}{y=2}"},
      {"/a[x='1'][x='2']", "|a{x=2}"},
      {"/a[x='1'][y='2']/b[z='3']/", "|a{x=1}{y=2}|b{z=3}"},
      {"/a[k='x/y']", "|a{k=x/y}"},
      {"/a[k='x/y/']/b", "|a{k=x/y/}|b"},
      {"/a[k='one two']", "|a{k=one two}"},
      {"/a[k=\"1\"]", "|a{k=1}"},
      {"/a[k=x1x]", "|a{k=1}"},
      {"/a[k='it's']", "|a{k=it's}"},
      {"/a[oc:k='1']", "|a{oc:k=1}"},
      {"//a", "||a"},
      {"/a//b", "|a||b"},
      {"//", "|"},
  };
  ParserOfText parser;
  for (const Case& test : kCases) {
    SCOPED_TRACE(test.text);
    EXPECT_TRUE(parser.parse(test.text));
    EXPECT_EQ(parser.path(), test.path);
  }
}

TEST(XpathParserGrammar, WithoutALeadingSlashTheFirstNameIsIgnored) {
  ParserOfText parser;
  EXPECT_TRUE(parser.parse("a/b"));
  EXPECT_EQ(parser.path(), "|b");
}

TEST(XpathParserGrammar, ATrailingSlashIsIgnored) {
  ParserOfText parser;
  EXPECT_TRUE(parser.parse("/a/"));
  EXPECT_EQ(parser.path(), "|a");
  EXPECT_TRUE(parser.parse("/"));
  EXPECT_EQ(parser.path(), "");
}

TEST(XpathParserGrammar, ASlashMayStandInAKeyValue) {
  ParserOfText parser;
  EXPECT_TRUE(parser.parse("/a[k='x/y']"));
  EXPECT_EQ(parser.path(), "|a{k=x/y}");
}

TEST(XpathParserGrammar, TextBetweenBracketAndSlashIsIgnored) {
  ParserOfText parser;
  EXPECT_TRUE(parser.parse("/a[k='1']b/c"));
  EXPECT_EQ(parser.path(), "|a{k=1}|c");
}

TEST(XpathParserGrammar, AValueShorterThanItsQuotesIsEmpty) {
  ParserOfText parser;
  for (const char* text : {"/a[k=]", "/a[k=']", "/a[k='']"}) {
    SCOPED_TRACE(text);
    EXPECT_TRUE(parser.parse(text));
    EXPECT_EQ(parser.path(), "|a{k=}");
  }
}

TEST(XpathParserGrammar, RemainingTextNamesTheCurrentElement) {
  constexpr Case kCases[] = {
      {"/a[k='1']b", "|b{k=1}"}, {"/a[k='1", "|'1"}, {"/a[k", "|k"},      {"/a[", "|a"},
      {"/a[k=", "|a"},           {"/a[k/", "|k"},    {"/a[k='x/", "|'x"}, {"/a[k='1']/", "|a{k=1}"},
  };
  ParserOfText parser;
  for (const Case& test : kCases) {
    SCOPED_TRACE(test.text);
    EXPECT_TRUE(parser.parse(test.text));
    EXPECT_EQ(parser.path(), test.path);
  }
}

TEST(XpathParserGrammar, RefusesMalformedTextAndKeepsWhatWasBuilt) {
  constexpr Case kCases[] = {
      {"[", ""},
      {"=", ""},
      {"]", ""},
      {"a[k='1']", ""},
      {"/a=1", "|"},
      {"/a]", "|"},
      {"/a/b]", "|a|"},
      {"/a[k]", "|a"},
      {"/a[k/b", "|a"},
      {"/a[[", "|a"},
      {"/a[k='1=2']", "|a"},
      {"/a[k='[1]']", "|a"},
      {"/a[k='x]y']", "|a{k=}"},
      {"/a[k='1']]", "|a{k=1}"},
      {"/a[k='1']=", "|a{k=1}"},
      {"/a[x='1' and y='2']", "|a"},
  };
  ParserOfText parser;
  for (const Case& test : kCases) {
    SCOPED_TRACE(test.text);
    LogCapture log(GPR_LOG_SEVERITY_ERROR);
    EXPECT_FALSE(parser.parse(test.text));
    const Lines lines = log.take();
    EXPECT_EQ(parser.path(), test.path);
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_EQ(lines[0].file, kFile);
    EXPECT_EQ(nexa_test::mask_numbers(lines[0].text), "IN PARSER:  at line #");
  }
}

TEST(XpathParserGrammar, RefusesTextWithoutASlash) {
  ParserOfText parser;
  for (const char* text : {"a", "abc/", " "}) {
    SCOPED_TRACE(text);
    LogCapture log;
    EXPECT_FALSE(parser.parse(text));
    EXPECT_EQ(parser.path(), "");
    const Lines lines = log.take();
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_EQ(lines[0].severity, GPR_LOG_SEVERITY_ERROR);
    EXPECT_EQ(nexa_test::mask_numbers(lines[0].text), "IN PARSER:  at line #");
  }
}

// The token start of an earlier input may lie beyond a shorter one, and its element is gone.
TEST(XpathParserReuse, ALaterShorterInputIsJudgedAsByANewParser) {
  ParserOfText parser;
  ASSERT_TRUE(parser.parse("/a-long-name/another-long-name[key='a value']"));
  for (const char* text : {"a", "abc/", "[", "=", "]"}) {
    SCOPED_TRACE(text);
    EXPECT_FALSE(parser.parse(text));
    EXPECT_EQ(parser->element_, nullptr);
    EXPECT_EQ(parser.path(), "");
  }
  EXPECT_TRUE(parser.parse(""));
  EXPECT_TRUE(parser.parse("/"));
  EXPECT_EQ(parser.path(), "");
}

TEST(XpathParserReuse, AnInputAfterARefusedOneStartsAfresh) {
  ParserOfText parser;
  EXPECT_FALSE(
      parser.parse("/a[k"
                   "]"));
  EXPECT_TRUE(parser.parse("/b[x='1']"));
  EXPECT_EQ(parser.path(), "|b{x=1}");
}

TEST(XpathParserReuse, TheTokenStartSurvivesUntilTheNextSlash) {
  ParserOfText parser;
  ASSERT_TRUE(parser.parse("/a/bc"));
  EXPECT_EQ(parser->token_start_, 3U);
  ASSERT_TRUE(parser.parse(""));
  EXPECT_EQ(parser->token_start_, 3U);
  ASSERT_TRUE(parser.parse("/x"));
  EXPECT_EQ(parser->token_start_, 1U);
}

TEST(XpathParserTrace, TracesNamesKeysAndStates) {
  LogCapture log;
  ParserOfText parser;
  ASSERT_TRUE(parser.parse("/a/l[k='v w'][m='x']/leaf"));
  Lines lines = log.take();
  for (Line& line : lines) line.text = nexa_test::mask_numbers(line.text);
  const auto debug = [](const char* text) { return Line{GPR_LOG_SEVERITY_DEBUG, kFile, text}; };
  EXPECT_EQ(lines, (Lines{debug(">>>IN PARSER:  at line #, elem name: l"),
                          debug(">>>IN PARSER:  at line #, cur_key: k"),
                          debug(">>>IN PARSER:  at line #, state = 3"),
                          debug(">>>IN PARSER:  at line #, cur_key: m"),
                          debug(">>>IN PARSER:  at line #, state = 3"),
                          debug(">>>IN PARSER:  at line #, elem name: leaf"),
                          debug("XpathParser::parse --> exit")}));
}

TEST(XpathParserTrace, TheStateIsTracedBeforeABracketIsRefused) {
  LogCapture log;
  ParserOfText parser;
  EXPECT_FALSE(parser.parse("/a[k]"));
  Lines lines = log.take();
  for (Line& line : lines) line.text = nexa_test::mask_numbers(line.text);
  EXPECT_EQ(lines, (Lines{{GPR_LOG_SEVERITY_DEBUG, kFile, ">>>IN PARSER:  at line #, elem name: a"},
                          {GPR_LOG_SEVERITY_DEBUG, kFile, ">>>IN PARSER:  at line #, state = 2"},
                          {GPR_LOG_SEVERITY_ERROR, kFile, "IN PARSER:  at line #"}}));
  EXPECT_FALSE(parser.parse("/a=1"));
  EXPECT_EQ(log.take().size(), 1U);
  EXPECT_EQ(parser->state_, XpathParser::NAME);
}

TEST(XpathParserTrace, AnEmptyInputTracesTheExitOnly) {
  LogCapture log;
  ParserOfText parser;
  EXPECT_TRUE(parser.parse(""));
  EXPECT_EQ(log.take(), (Lines{{GPR_LOG_SEVERITY_DEBUG, kFile, "XpathParser::parse --> exit"}}));
}

TEST(XpathParserStates, HaveTheNumbersThatTheLogShows) {
  EXPECT_EQ(static_cast<int>(XpathParser::START), 0);
  EXPECT_EQ(static_cast<int>(XpathParser::NAME), 1);
  EXPECT_EQ(static_cast<int>(XpathParser::KEY), 2);
  EXPECT_EQ(static_cast<int>(XpathParser::VALUE), 3);
  EXPECT_EQ(static_cast<int>(XpathParser::KEY_END), 4);
}

TEST(XpathParserStates, EndWhereTheTextEnds) {
  ParserOfText parser;
  ASSERT_TRUE(parser.parse("/a[k='1']"));
  EXPECT_EQ(parser->state_, XpathParser::KEY_END);
  EXPECT_EQ(parser->position_, 9U);
  EXPECT_EQ(parser->element_, &parser->gPath.elem(0));
}

}  // namespace xpath_parser_test
