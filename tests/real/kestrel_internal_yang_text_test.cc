// How the loader reads YANG text on its own: tokens, what it wants to know of a file, lines of
// statements.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "module_survey.h"
#include "statement_finder.h"
#include "yang_lexer.h"

namespace nexa_test {
namespace kestrel_internal_yang_text_test {

using kestrel::ModuleSurvey;
using kestrel::StatementFinder;
using kestrel::survey_module;
using kestrel::Token;
using kestrel::TokenKind;
using kestrel::YangLexer;

// Tokens in one line: words as they are, quoted strings in <>, signs as they are.
std::string tokens_of(std::string_view text) {
  YangLexer lexer(text);
  std::string result;
  for (Token token = lexer.next(); token.kind != TokenKind::kEnd; token = lexer.next()) {
    if (!result.empty()) result += ' ';
    result += token.kind == TokenKind::kQuoted ? "<" + std::string(token.text) + ">"
                                               : std::string(token.text);
  }
  return result;
}

TEST(KestrelLexer, SplitsStatements) {
  const std::pair<const char*, const char*> cases[] = {
      {"", ""},
      {"  \n\t\r ", ""},
      {"leaf x;", "leaf x ;"},
      {"a{b}", "a { b }"},
      {"a \"b c\";", "a <b c> ;"},
      {"a 'b \" c';", "a <b \" c> ;"},
      {"a \"b\" + 'c';", "a <b> + <c> ;"},
      {"a \"b\\\"c\" d", "a <b\\\"c> d"},
      {"a \"b\\\\\" d", "a <b\\\\> d"},
      {"a 'b\\' d", "a <b\\> d"},
      {"a // b { \n c", "a c"},
      {"a /* b { */ c", "a c"},
      {"a \"// b /* c\" d", "a <// b /* c> d"},
      {"http://x.y/z", "http://x.y/z"},
      {"a/*b*/c", "a c"},
      {"a /* b", "a"},
      {"a // b", "a"},
      {"a \"b", "a <b>"},
      {"a \"b\\", "a <b\\>"},
      {"a 'b", "a <b>"},
      {"\"", "<>"},
      {"+x", "+x"},
  };
  for (const auto& [text, tokens] : cases) EXPECT_EQ(tokens_of(text), tokens) << text;
}

TEST(KestrelLexer, CountsLinesFromOne) {
  EXPECT_EQ(kestrel::line_of("a\nb\nc", 0), 1U);
  EXPECT_EQ(kestrel::line_of("a\nb\nc", 2), 2U);
  EXPECT_EQ(kestrel::line_of("a\nb\nc", 4), 3U);
  EXPECT_EQ(kestrel::line_of("a\nb\nc", 99), 3U);
}

TEST(KestrelSurvey, FindsTheNewestRevisionOfTheModuleItself) {
  EXPECT_EQ(survey_module("module m { revision 2020-01-01; revision \"2022-02-02\" { } "
                          "revision 2021-01-01 { description \"revision 2030-01-01\"; } "
                          "import x { revision-date 2025-01-01; } x { revision 2029-01-01; } }")
                .newest_revision,
            "2022-02-02");
  EXPECT_EQ(survey_module("module m { prefix revision; leaf revision { } }").newest_revision, "");
}

TEST(KestrelSurvey, FindsTheIncludeStatements) {
  const std::string text =
      "module m { include a; include \"b\" { revision-date 2020-01-01; description \"}\"; }"
      " leaf include { type string; } x { include no; } }";
  const ModuleSurvey survey = survey_module(text);
  ASSERT_EQ(survey.includes.size(), 2U);
  EXPECT_EQ(survey.includes[0].submodule, "a");
  EXPECT_EQ(survey.includes[0].revision, "");
  EXPECT_EQ(
      text.substr(survey.includes[0].begin, survey.includes[0].end - survey.includes[0].begin),
      "include a;");
  EXPECT_EQ(survey.includes[1].submodule, "b");
  EXPECT_EQ(survey.includes[1].revision, "2020-01-01");
  EXPECT_EQ(
      text.substr(survey.includes[1].begin, survey.includes[1].end - survey.includes[1].begin),
      "include \"b\" { revision-date 2020-01-01; description \"}\"; }");
}

TEST(KestrelSurvey, AcceptsTextThatEndsAnywhere) {
  const std::string text = "module m { include b { revision-date 2020-01-01; } revision 2021; }";
  for (std::size_t length = 0; length <= text.size(); ++length) {
    const std::string part = text.substr(0, length);
    const ModuleSurvey survey = survey_module(part);
    for (const kestrel::IncludeStatement& include : survey.includes) {
      EXPECT_LE(include.begin, include.end) << part;
      EXPECT_LE(include.end, part.size()) << part;
    }
  }
}

TEST(KestrelSurvey, NoticesNestingBeyondReason) {
  std::string text;
  for (int i = 0; i < 200; ++i) text += "c {";
  EXPECT_EQ(survey_module(text).too_deep, std::string::npos);
  text += "c \"{\" // {\n";
  EXPECT_EQ(survey_module(text).too_deep, std::string::npos);
  const std::size_t expected = text.size();
  EXPECT_EQ(survey_module(text + "{{{").too_deep, expected);
}

TEST(KestrelSurvey, KnowsTheFirstKeyword) {
  EXPECT_EQ(kestrel::first_keyword("/* x */ // y\n submodule s {"), "submodule");
  EXPECT_EQ(kestrel::first_keyword("module"), "module");
  EXPECT_EQ(kestrel::first_keyword("\"module\""), "");
  EXPECT_EQ(kestrel::first_keyword(""), "");
}

constexpr char kModule[] = R"(module m {
  grouping g {
    leaf from-g { type string; }
    uses h;
  }
  grouping h { leaf from-h { type string; } }
  container c {
    leaf x {
      type wrong;
    }
    uses p:g { refine from-g { description "d"; } }
    choice ch { leaf y { type string; } }
  }
  augment "/q:a" +
          "/q:b" { leaf z { type string; } }
})";

std::uint32_t line_of_steps(const std::vector<kestrel::PathStep>& steps, const char* hint = "") {
  return StatementFinder(kModule).find(steps, hint).line;
}

TEST(KestrelStatementFinder, FollowsSchemaNodesAndStatements) {
  EXPECT_EQ(line_of_steps({{"", "c"}}), 7U);
  EXPECT_EQ(line_of_steps({{"", "c"}, {"", "x"}}), 8U);
  EXPECT_EQ(line_of_steps({{"", "c"}, {"", "x"}}, "wrong"), 9U);
  EXPECT_EQ(line_of_steps({{"", "c"}, {"uses", "p:g"}}), 11U);
  EXPECT_EQ(line_of_steps({{"augment", "/q:a/q:b"}}), 14U);
  EXPECT_EQ(line_of_steps({{"augment", "/q:a/q:b"}, {"", "z"}}), 15U);
}

TEST(KestrelStatementFinder, LooksIntoGroupings) {
  EXPECT_EQ(line_of_steps({{"", "c"}, {"uses", "p:g"}, {"", "from-g"}}), 3U);
  EXPECT_EQ(line_of_steps({{"", "c"}, {"", "from-g"}}), 3U);
  EXPECT_EQ(line_of_steps({{"", "c"}, {"", "from-h"}}), 6U);
}

TEST(KestrelStatementFinder, PassesOverStepsThatAreInNoText) {
  EXPECT_EQ(line_of_steps({{"", "c"}, {"", "ch"}, {"", "y"}, {"", "y"}}), 12U);
  EXPECT_EQ(line_of_steps({{"", "c"}, {"", "nothing"}}), 7U);
  EXPECT_EQ(line_of_steps({{"", "nothing"}}), 0U);
}

TEST(KestrelStatementFinder, FindsStepsInsideAnyAugment) {
  EXPECT_EQ(StatementFinder(kModule).find_in_augments({{"", "z"}}, "").line, 15U);
  EXPECT_EQ(StatementFinder(kModule).find_in_augments({{"", "x"}}, "").line, 0U);
}

TEST(KestrelStatementFinder, EndsOnGroupingsThatUseThemselves) {
  const StatementFinder finder(
      "module m { grouping g { uses g; uses g; } container c { uses g; } }");
  EXPECT_EQ(finder.find({{"", "c"}, {"", "x"}}, "").matched, 1U);
}

TEST(KestrelStatementFinder, ReadsTextThatEndsAnywhere) {
  const std::string text = kModule;
  for (std::size_t length = 0; length <= text.size(); ++length) {
    const std::string part = text.substr(0, length);
    const StatementFinder finder(part);
    const auto place = finder.find({{"", "c"}, {"", "x"}}, "wrong");
    EXPECT_LE(place.line, 16U) << part;
  }
}

}  // namespace kestrel_internal_yang_text_test
}  // namespace nexa_test
