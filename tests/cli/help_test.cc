// What the tool says about itself, and nexa capabilities.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "run_program.h"

namespace nexa_test {
namespace {

using ::testing::HasSubstr;
using ::testing::StartsWith;

TEST(NexaHelp, NamesEveryCommand) {
  const Outcome outcome = run_nexa({"--help"});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.err, "");
  for (const char* text : {"convert", "capabilities", "--version", "EXAMPLE"}) {
    EXPECT_THAT(outcome.out, HasSubstr(text));
  }
}

TEST(NexaHelp, FitsATerminalOf80Columns) {
  for (const char* command : {"", "capabilities", "check", "convert", "history", "init", "path",
                              "rollback", "set", "verify"}) {
    std::vector<std::string> words{command, "--help"};
    if (words.front().empty()) words.erase(words.begin());
    const Outcome outcome = run_nexa(words);
    EXPECT_EQ(outcome.status, 0);
    std::istringstream lines(outcome.out);
    int many = 0;
    for (std::string line; std::getline(lines, line); ++many) EXPECT_LE(line.size(), 80U) << line;
    EXPECT_GT(many, 10) << command;
  }
}

TEST(NexaHelp, ACommandThatIsNotThereIsNamed) {
  const Outcome outcome = run_nexa({"covert", "--path", "/"});
  EXPECT_EQ(outcome.status, 2);
  EXPECT_EQ(outcome.out, "");
  EXPECT_EQ(outcome.err, "nexa: there is no command \"covert\"; nexa --help lists them\n");
}

TEST(NexaHelp, PrintsTheVersion) {
  const Outcome outcome = run_nexa({"--version"});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_THAT(outcome.out, ::testing::MatchesRegex("nexa [0-9]+\\.[0-9]+\\.[0-9]+\n"));
}

TEST(NexaHelp, ExplainsEveryOptionOfConvert) {
  const Outcome outcome = run_nexa({"convert", "--help"});
  EXPECT_EQ(outcome.status, 0);
  for (const char* text : {"--yang-dir", "--searchpath", "--module", "--path", "--mode",
                           "--converter", "--pretty", "FILE", "EXAMPLES", "EXIT STATUS"}) {
    EXPECT_THAT(outcome.out, HasSubstr(text));
  }
}

TEST(NexaCapabilities, ListsTheModels) {
  const Outcome outcome = run_nexa({"capabilities", "-p", NEXA_MODELS_DIR});
  EXPECT_EQ(outcome.status, 0) << outcome.err;
  EXPECT_THAT(outcome.out, StartsWith("MODEL"));
  EXPECT_THAT(outcome.out, HasSubstr("example-device  2026-11-21  Nexa examples\n"));
  EXPECT_THAT(outcome.out, HasSubstr("encodings: JSON, JSON_IETF\ngNMI version: "));
}

TEST(NexaCapabilities, WritesJson) {
  const Outcome outcome =
      run_nexa({"capabilities", "-p", NEXA_MODELS_DIR, "-m", "example-types", "--format", "json"});
  EXPECT_EQ(outcome.status, 0) << outcome.err;
  EXPECT_THAT(outcome.out, StartsWith("{\n \"supported_models\": [\n"));
  EXPECT_THAT(outcome.out, HasSubstr("\"name\": \"example-types\""));
  EXPECT_THAT(outcome.out, HasSubstr("\"organization\": \"Nexa examples\""));
  EXPECT_THAT(outcome.out, HasSubstr("\"version\": \"2026-11-21\""));
  EXPECT_THAT(outcome.out, HasSubstr("\"JSON_IETF\""));
}

}  // namespace
}  // namespace nexa_test
