// Every acting character in every state, and the order of what an assignment requires.
#include <grpc/support/log.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "nexa/xpath_parser.h"
#include "support/log_capture.h"

namespace {

using nexa::XpathParser;
using nexa_test::LogCapture;

class XpathParserState : public ::testing::Test {
 protected:
  bool parse(const std::string& text) {
    parser_.input_ = text;
    return parser_.parse();
  }

  nexa::ServiceKestrelNamespaceMapperImpl mapper_;
  std::shared_ptr<nexa::Rfc7951MapperToken> token_ = mapper_.newToken();
  XpathParser parser_{*token_};
};

constexpr int kError = -1;

struct Row {
  const char* before;  // brings the parser into the state
  int state;
  int slash, bracket, equals, end;  // the state after each character
};

constexpr Row kRows[] = {
    {"a", XpathParser::START, XpathParser::NAME, kError, kError, kError},
    {"/a", XpathParser::NAME, XpathParser::NAME, XpathParser::KEY, kError, kError},
    {"/a[k", XpathParser::KEY, kError, kError, XpathParser::VALUE, kError},
    {"/a[k='1'", XpathParser::VALUE, XpathParser::VALUE, kError, kError, XpathParser::KEY_END},
    {"/a[k='1']", XpathParser::KEY_END, XpathParser::NAME, XpathParser::KEY, kError, kError},
};

TEST_F(XpathParserState, EachCharacterActsByTheState) {
  for (const Row& row : kRows) {
    const std::string before = row.before;
    parse(before);
    EXPECT_EQ(parser_.state_, row.state) << before;
    const std::pair<char, int> expected[] = {
        {'/', row.slash}, {'[', row.bracket}, {'=', row.equals}, {']', row.end}};
    for (const auto& [character, state] : expected) {
      const std::string text = before + character + "x";
      EXPECT_EQ(parse(text), state != kError) << text;
      EXPECT_EQ(parser_.state_, state != kError ? state : row.state) << text;
      if (state == kError) {
        EXPECT_EQ(parser_.position_, before.size()) << text;
      }
    }
  }
}

TEST_F(XpathParserState, ASlashAtTheEndIsIgnoredInEveryStateWithAnElement) {
  for (const Row& row : kRows) {
    if (row.state == XpathParser::START) continue;
    EXPECT_TRUE(parse(std::string(row.before) + "/")) << row.before;
    EXPECT_EQ(parser_.state_, row.state) << row.before;
    EXPECT_EQ(parser_.gPath.elem_size(), 1) << row.before;
  }
}

TEST_F(XpathParserState, AKeyWithoutValueFailsAtItsEnd) {
  EXPECT_FALSE(parse("/a[k]"));
  EXPECT_EQ(parser_.state_, XpathParser::KEY);
  EXPECT_EQ(parser_.position_, 4u);
}

TEST_F(XpathParserState, AnEqualsSignOutsideBracketsFails) {
  EXPECT_FALSE(parse("/a=1"));
  EXPECT_EQ(parser_.state_, XpathParser::NAME);
  EXPECT_EQ(parser_.position_, 2u);
}

TEST_F(XpathParserState, TextBetweenTwoKeysIsIgnored) {
  ASSERT_TRUE(parse("/a[x='1'] and [y='2']/b"));
  ASSERT_EQ(parser_.gPath.elem_size(), 2);
  EXPECT_EQ(parser_.gPath.elem(0).name(), "a");
  EXPECT_EQ(parser_.gPath.elem(0).key().at("x"), "1");
  EXPECT_EQ(parser_.gPath.elem(0).key().at("y"), "2");
  EXPECT_EQ(parser_.gPath.elem(0).key_size(), 2);
}

TEST_F(XpathParserState, AFailureIsTracedWithoutTheExit) {
  LogCapture log;
  EXPECT_FALSE(parse("/a=1"));
  for (const std::string& text : log.take_texts()) {
    EXPECT_EQ(text.find("--> exit"), std::string::npos) << text;
  }
}

TEST_F(XpathParserState, EveryBlankOfAValueIsEscapedInAKeypath) {
  ASSERT_TRUE(parse("/a[k=' x  y ']"));
  EXPECT_EQ(parser_.gPath_2_kpath(), "/a{\\ x\\ \\ y\\ }");
}

using XpathParserStateDeathTest = XpathParserState;

TEST_F(XpathParserStateDeathTest, ThePathIsRequiredBeforeTheUpdate) {
  EXPECT_DEATH(static_cast<void>(parser_.assignPathToUpdate(nullptr)),
               "0 != gPath.elem_size\\(\\)");
}

}  // namespace
