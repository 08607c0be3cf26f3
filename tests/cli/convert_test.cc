// nexa convert: what reaches standard output, standard error and the exit status.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <fstream>

#include "real/temp_folder.h"
#include "run_program.h"

namespace nexa_test {
namespace {

using ::testing::HasSubstr;
using ::testing::StartsWith;

Outcome convert(const std::string& path, const std::string& value,
                const std::vector<std::string>& more = {}) {
  std::vector<std::string> arguments = {"convert", "--yang-dir", NEXA_MODELS_DIR, "--path", path};
  arguments.insert(arguments.end(), more.begin(), more.end());
  return run_nexa(arguments, value);
}

constexpr char kName[] =
    "<?xml version=\"1.0\"?>\n<config><device "
    "xmlns=\"urn:example:device\"><name>core-1</name></device></config>\n";

TEST(NexaConvert, WritesTheDocumentAndNothingElse) {
  const Outcome outcome = convert("/example-device:device/name", "\"core-1\"");
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.out, kName);
  EXPECT_EQ(outcome.err, "");
}

TEST(NexaConvert, KeepsTheLibrarysOutputForBooleansOutOfItsOwn) {
  const Outcome outcome =
      convert("/example-device:device/limits", R"({"enabled": true, "marker": [null]})");
  EXPECT_EQ(outcome.status, 0);
  EXPECT_THAT(outcome.out, StartsWith("<?xml version=\"1.0\"?>\n<config>"));
  EXPECT_THAT(outcome.out, ::testing::Not(HasSubstr(" false ")));
}

TEST(NexaConvert, ReadsAFileOrStandardInput) {
  char name[] = "/tmp/nexa-cli-test-XXXXXX";
  const int descriptor = mkstemp(name);
  ASSERT_GE(descriptor, 0);
  close(descriptor);
  std::ofstream(name) << "\"core-1\"";
  EXPECT_EQ(convert("/example-device:device/name", "", {name}).out, kName);
  EXPECT_EQ(convert("/example-device:device/name", "\"core-1\"", {"-"}).out, kName);
  unlink(name);
}

TEST(NexaConvert, AnswersToEveryNameOfTheFolderOption) {
  for (const std::string option : {"-p", "--yang-dir", "--searchpath"}) {
    const Outcome outcome =
        run_nexa({"convert", option, NEXA_MODELS_DIR, "--path", "/example-device:device/name"},
                 "\"core-1\"");
    EXPECT_EQ(outcome.out, kName) << option << outcome.err;
  }
}

TEST(NexaConvert, LoadsOnlyTheModulesNamed) {
  const std::string augmented = R"({"example-radio:radio": {"channel": 1}})";
  const std::string path = "/example-device:device/port[name=p]";
  EXPECT_EQ(convert(path, augmented).status, 0);
  const Outcome outcome = convert(path, augmented, {"--module", "example-device"});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_THAT(outcome.err, StartsWith("INVALID_ARGUMENT: update of /example-device:device"));
}

TEST(NexaConvert, TakesAReplaceOfTheWholeTree) {
  const std::string tree = R"({"example-device:device": {"name": "core-1"}})";
  EXPECT_EQ(convert("/", tree, {"--mode", "replace"}).out, kName);
  const Outcome outcome = convert("/", tree);
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(
      outcome.err,
      "INVALID_ARGUMENT: Invalid argument.  Path with 0 elements (xpath = \"/\") is not supported "
      "for SET and GET requests\n");
}

TEST(NexaConvert, HasBothConverters) {
  EXPECT_EQ(convert("/example-device:device/name", "\"core-1\"", {"--converter", "strict"}).out,
            kName);
  EXPECT_EQ(convert("/example-device:device/name", "\"core-1\"", {"--converter", "simple"}).out,
            kName);
}

TEST(NexaConvert, ResolvesBareNamesUnlessTheBareCompositionIsAskedFor) {
  EXPECT_EQ(convert("/device/name", "\"core-1\"").out, kName);
  EXPECT_EQ(convert("/device/name", "\"core-1\"", {"--raw"}).status, 1);
  EXPECT_EQ(convert("/example-device:device/name", "\"core-1\"", {"--raw"}).out, kName);
  EXPECT_EQ(convert("/device/name", "\"core-1\"", {"--raw", "--strict"}).status, 2);
}

TEST(NexaConvert, ExplainsWhatItDidOnStandardError) {
  const Outcome outcome =
      convert("/device/port", R"([{"speed": "1", "name": "n"}])", {"--explain"});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.err,
            "note: path element \"device\" is example-device:device\n"
            "note: member [name=n]: keys moved to the front\n"
            "note: value of name kept as it is: \"n\"\n");
}

TEST(NexaConvert, IsTolerantUnlessToldToBeStrict) {
  const std::string path = "/example-device:device/port[name=p]/speed";
  EXPECT_EQ(convert(path, "5").status, 0);
  EXPECT_EQ(
      convert(path, "5", {"--strict"}).err,
      "INVALID_ARGUMENT: update of /example-device:device/port[name=p]/speed: value 5: Invalid "
      "non-num64-encoded uint64 value \"5\". (line 1, column 1)\n");
}

TEST(NexaConvert, IndentsWithoutColourWhereNobodyWatches) {
  const std::string indented =
      "<?xml version=\"1.0\"?>\n"
      "<config>\n"
      "  <device xmlns=\"urn:example:device\">\n"
      "    <name>core-1</name>\n"
      "  </device>\n"
      "</config>\n";
  EXPECT_EQ(convert("/example-device:device/name", "\"core-1\"", {"--pretty"}).out, indented);
  const Outcome coloured =
      convert("/example-device:device/name", "\"core-1\"", {"--pretty", "--color", "always"});
  EXPECT_THAT(coloured.out, HasSubstr("\033["));
}

TEST(NexaConvert, PrintsTheCodeAndTheMessageOfARefusal) {
  const Outcome outcome = convert("/example-device:device", R"({"foo": 1})");
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.out, "");
  EXPECT_EQ(outcome.err,
            "INVALID_ARGUMENT: update of /example-device:device: member foo: no node \"foo\" below "
            "\"device\" (line 1, column 9)\n");
  EXPECT_EQ(convert("/example-device:device", R"({"foo": 1})", {"--raw"}).err,
            "INVALID_ARGUMENT: Unknown member /example-device:device/foo\n");
  EXPECT_EQ(convert("/example-device:device/port[name=*]", "{}").err,
            "UNIMPLEMENTED: Invalid key value * wild card is not supported for SET key value\n");
  EXPECT_EQ(convert("/a[k", "{}").err,
            "INVALID_ARGUMENT: Malformed path: key without \"=\" at byte 2\n");
}

TEST(NexaConvert, RefusesBadInputWithoutOutput) {
  const std::string name(100000, 'x');
  const std::vector<std::pair<std::string, std::string>> cases = {
      {"/example-device:device", ""},
      {"/example-device:device", "{"},
      {"/example-device:device", "{\"name\": \"\xFF\"}"},
      {"/example-device:device", std::string("{\"name\": \"a\0b\"}", 15)},
      {"/example-device:device", R"({"name": "a\u0000b"})"},
      {"/example-device:device", R"({"name": "a", "name": "b"})"},
      {"/example-device:device", R"({"port": []})"},
      {"/example-device:device", R"({"search": [[]]})"},
      {"/example-device:device", R"({"search": [null]})"},
      {"/example-device:device", "null"},
      {"/example-device:device", "{\"" + name + "\": 1}"},
      {"/example-device:device", "{\"name\": \"" + name + "\"}"},
      {"/example-device:device", std::string(5 << 20, '[')},
      {"/example-device:device",
       "{\"name\":" + std::string(300, '[') + std::string(300, ']') + "}"},
      {"/example-device:" + name, "{}"},
      {"/" + name + ":device", "{}"},
      {"/example-device:device/port[name=" + name + "]", "{}"},
      {"/example-device:device/port[" + name + "=1]", "{}"},
      {"/example-device:device/port[name=\xFF]", "{}"},
      {"/example-device:device/.../name", "\"x\""},
      {"/example-device:device/*", "{}"},
      {"/example-device:services/ntp", "true"},
      {"/example-device:device/name/below", "1"},
      {"/example-device:device/port[name=a]", "[]"},
      {"/example-device:device/port", "{}"},
  };
  for (const auto& [path, value] : cases) {
    for (const std::string converter : {"strict", "simple"}) {
      const Outcome outcome = convert(path, value, {"--converter", converter});
      const std::string shown = path.substr(0, 60) + " " + value.substr(0, 60);
      EXPECT_EQ(outcome.status, 1) << shown << outcome.err.substr(0, 300);
      EXPECT_EQ(outcome.out, "") << shown;
      EXPECT_THAT(outcome.err, ::testing::MatchesRegex("[A-Z_]+: .*\n")) << shown;
    }
  }
}

TEST(NexaConvert, RefusesWhatAStoreRefusesOfADocument) {
  const auto refused = [](const std::string& path, const std::string& value) {
    const Outcome outcome = convert(path, value);
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.out, "");
    return outcome.err;
  };
  EXPECT_EQ(
      refused("/example-device:device", R"({"console":true,"ssh":{"port":22}})"),
      "INVALID_ARGUMENT: update of /example-device:device: /example-device:device/ssh: data of "
      "both cases \"local\" and \"remote\"\n");
  EXPECT_EQ(refused("/example-device:device", R"({"port":[{"name":"a"},{"name":"a"}]})"),
            "INVALID_ARGUMENT: update of /example-device:device: "
            "/example-device:device/port[name='a']: duplicate \"port\"\n");
  EXPECT_THAT(refused("/example-device:device", R"({"event":[{"text":"x"}]})"),
              StartsWith("INVALID_ARGUMENT: update of /example-device:device: "));
}

TEST(NexaConvert, TellsWrongUsageFromARefusal) {
  const std::vector<std::vector<std::string>> cases = {
      {},
      {"no-such-command"},
      {"convert"},
      {"convert", "--yang-dir", NEXA_MODELS_DIR},
      {"convert", "--path", "/"},
      {"convert", "--yang-dir", "/no/such/folder", "--path", "/"},
      {"convert", "--yang-dir", NEXA_MODELS_DIR, "--path", "/", "--mode", "delete"},
      {"convert", "--yang-dir", NEXA_MODELS_DIR, "--path", "/", "--converter", "other"},
      {"convert", "--yang-dir", NEXA_MODELS_DIR, "--path", "/", "--no-such-option"},
      {"convert", "--yang-dir", NEXA_MODELS_DIR, "--path", "/", "/no/such/file"},
  };
  for (const auto& arguments : cases) {
    const Outcome outcome = run_nexa(arguments);
    EXPECT_EQ(outcome.status, 2) << outcome.err;
    EXPECT_EQ(outcome.out, "");
    EXPECT_NE(outcome.err, "");
  }
}

TEST(NexaConvert, ReportsASchemaThatDoesNotLoad) {
  char folder[] = "/tmp/nexa-cli-test-XXXXXX";
  ASSERT_NE(mkdtemp(folder), nullptr);
  const std::string file = std::string(folder) + "/broken.yang";
  std::ofstream(file)
      << "module broken {\n  namespace \"urn:b\";\n  prefix b;\n  leaf x { type nope; }\n}\n";
  const Outcome outcome = run_nexa({"convert", "-p", folder, "--path", "/broken:x"}, "1");
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.out, "");
  EXPECT_THAT(outcome.err, StartsWith("nexa: "));
  EXPECT_THAT(outcome.err, HasSubstr("broken.yang:4"));
  unlink(file.c_str());
  rmdir(folder);
}

TEST(NexaConvert, TakesTheFeaturesThatAreNamed) {
  const TempFolder folder;
  folder.write("m.yang",
               "module m { namespace \"urn:m\"; prefix m; feature f; feature g;\n"
               "  container c { leaf x { if-feature f; type string; } } }");
  std::vector<std::string> words = {"convert", "-p", folder.path(), "--path", "/m:c/x"};
  EXPECT_EQ(run_nexa(words, "\"a\"").status, 0);
  words.insert(words.end(), {"--feature", "m:g"});
  const Outcome without = run_nexa(words, "\"a\"");
  EXPECT_EQ(without.status, 1);
  EXPECT_THAT(without.err, HasSubstr("no node \"x\""));
  words.insert(words.end(), {"--feature", "m:f"});
  EXPECT_EQ(run_nexa(words, "\"a\"").status, 0);
  words.insert(words.end(), {"--feature", "f"});
  EXPECT_THAT(run_nexa(words, "\"a\"").err, HasSubstr("\"f\" is not MODULE:FEATURE"));
}

TEST(NexaConvert, AModuleWithoutANameOfAFeatureHasNone) {
  const TempFolder folder;
  folder.write("m.yang",
               "module m { yang-version 1.1; namespace \"urn:m\"; prefix m; feature f;\n"
               "  container c { leaf x { if-feature f; type string; }\n"
               "                leaf y { if-feature 'not f'; type string; } } }");
  const std::vector<std::string> words = {"convert", "-p", folder.path(), "--feature", "m:"};
  const auto convert = [&words](const char* path) {
    std::vector<std::string> all = words;
    all.insert(all.end(), {"--path", path});
    return run_nexa(all, "\"a\"");
  };
  EXPECT_THAT(convert("/m:c/x").err, HasSubstr("no node \"x\""));
  EXPECT_EQ(convert("/m:c/y").status, 0);
}

TEST(NexaConvert, FailsWhenItsOutputCannotBeWritten) {
  const std::string command = "echo '\"core-1\"' | " NEXA_PROGRAM " convert -p " NEXA_MODELS_DIR
                              " --path /example-device:device/name >/dev/full 2>/dev/null";
  EXPECT_EQ(WEXITSTATUS(std::system(command.c_str())), 1);
}

}  // namespace
}  // namespace nexa_test
