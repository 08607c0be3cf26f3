// Which source of a setting counts, and that every error names the flag, variable or line at fault.
#include "invocation.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cstddef>
#include <filesystem>
#include <fstream>
#include <limits>
#include <sstream>
#include <string>
#include <vector>

#include "settings.h"
#include "support/results.h"

namespace {

using namespace nexad;
using Words = std::vector<std::string>;

const Words kEnough{"--yang-dir", "yang", "--data", "data", "--insecure"};

Words with(Words more) {
  Words all = kEnough;
  all.insert(all.end(), more.begin(), more.end());
  return all;
}

ServerConfig config_of(const Words& arguments, const Environment& environment = {}) {
  return nexa_test::value_of(parse_invocation(arguments, environment)).config;
}

std::string error_of(const Words& arguments, const Environment& environment = {}) {
  const auto invocation = parse_invocation(arguments, environment);
  EXPECT_FALSE(invocation.ok());
  return nexa_test::line_of(invocation);
}

class ConfigFile : public testing::Test {
 protected:
  ConfigFile() { std::filesystem::create_directory(folder_); }
  ~ConfigFile() override { std::filesystem::remove_all(folder_); }

  Words file(const std::string& text) const {
    std::ofstream(path_) << text;
    return {"--config", path_};
  }

  const std::string folder_ = testing::TempDir() + "nexad_config_" + std::to_string(getpid());
  const std::string path_ = folder_ + "/nexad.toml";
};

TEST(Invocation, FlagsGiveEverySetting) {
  const ServerConfig config = config_of({"--yang-dir",
                                         "a",
                                         "--yang-dir",
                                         "b",
                                         "--module",
                                         "m",
                                         "--module",
                                         "n",
                                         "--feature",
                                         "m:f",
                                         "--feature",
                                         "m:g",
                                         "--data",
                                         "d",
                                         "--listen",
                                         "[::1]:0",
                                         "--tls-cert",
                                         "c.pem",
                                         "--tls-key",
                                         "k.pem",
                                         "--tls-ca",
                                         "ca.pem",
                                         "--users",
                                         "u",
                                         "--hook",
                                         "apply 'a b'",
                                         "--hook-timeout-ms",
                                         "5",
                                         "--hook-at-start",
                                         "--metrics",
                                         "off",
                                         "--reflection",
                                         "--strict",
                                         "--log-level",
                                         "debug",
                                         "--max-connections",
                                         "7"});
  EXPECT_EQ(config.yang_dirs, (Words{"a", "b"}));
  EXPECT_EQ(config.modules, (Words{"m", "n"}));
  EXPECT_EQ(config.features.at("m"), (Words{"f", "g"}));
  EXPECT_EQ(config.data, "d");
  EXPECT_EQ(config.listen, "[::1]:0");
  EXPECT_EQ(config.tls_ca, "ca.pem");
  EXPECT_EQ(config.hook, (Words{"apply", "a b"}));
  EXPECT_EQ(config.hook_timeout_ms, 5U);
  EXPECT_TRUE(config.hook_at_start);
  EXPECT_EQ(config.metrics, "off");
  EXPECT_TRUE(config.reflection);
  EXPECT_TRUE(config.strict);
  EXPECT_EQ(config.log_level, "debug");
  EXPECT_EQ(config.max_connections, 7U);
}

TEST(Invocation, TakesTheShortNamesOfTheTool) {
  const ServerConfig config = config_of(
      {"-p", "a", "--searchpath", "b", "--yang-dir", "c", "-m", "x", "--data", "d", "--insecure"});
  EXPECT_EQ(config.yang_dirs, (Words{"a", "b", "c"}));
  EXPECT_EQ(config.modules, (Words{"x"}));
  EXPECT_TRUE(config.given("yang-dir"));
}

TEST_F(ConfigFile, AModuleAloneHasNoFeatures) {
  using Features = std::map<std::string, Words>;
  const Features expected{{"m", {}}, {"n", {"f"}}};
  EXPECT_EQ(config_of(with({"--feature", "m:", "--feature", "n:f"})).features, expected);
  EXPECT_EQ(config_of(kEnough, {{"NEXAD_FEATURE", "m:,n:f"}}).features, expected);
  EXPECT_EQ(config_of(with(file("feature = ['m:', 'n:f']\n"))).features, expected);
  EXPECT_EQ(config_of(with({"--feature", "n:", "--feature", "n:f", "--feature", "m:"})).features,
            expected);
  EXPECT_EQ(error_of(with({"--feature", ":f"})),
            "--feature: \":f\" is not MODULE:FEATURE or MODULE:");
}

TEST(Invocation, DefaultsAreSafe) {
  const ServerConfig config = config_of(kEnough);
  EXPECT_EQ(config.listen, "127.0.0.1:9339");
  EXPECT_EQ(config.metrics, "127.0.0.1:9340");
  EXPECT_EQ(config.max_message_bytes, 16777216U);
  EXPECT_FALSE(config.reflection);
  EXPECT_FALSE(config.given("metrics"));
}

TEST_F(ConfigFile, FlagsCountMoreThanVariablesAndThoseMoreThanTheFile) {
  const Words arguments =
      with(file("listen = '127.0.0.1:1'\nusers = 'f'\nlog-level = 'error'\n"
                "module = ['x', 'y']\nmax-paths = 3\n"));
  Words flags = arguments;
  flags.insert(flags.end(), {"--listen", "127.0.0.1:3", "--module", "z"});
  const Environment environment{{"NEXAD_LISTEN", "127.0.0.1:2"}, {"NEXAD_USERS", "e"}};
  const ServerConfig config = config_of(flags, environment);
  EXPECT_EQ(config.listen, "127.0.0.1:3");
  EXPECT_EQ(config.users, "e");
  EXPECT_EQ(config.log_level, "error");
  EXPECT_EQ(config.modules, Words{"z"});
  EXPECT_EQ(config.max_paths, 3U);
  EXPECT_EQ(config.origin("listen"), "--listen");
  EXPECT_EQ(config.origin("users"), "NEXAD_USERS");
  EXPECT_EQ(config.origin("max-paths"), path_ + ":5: max-paths");
}

TEST_F(ConfigFile, ASwitchOfTheFileCanBeTakenBack) {
  const Words arguments = file("yang-dir = 'y'\ndata = 'd'\ninsecure = true\nreflection = true\n");
  EXPECT_TRUE(config_of(arguments).reflection);
  EXPECT_FALSE(config_of(arguments, {{"NEXAD_REFLECTION", "false"}}).reflection);
  Words flags = arguments;
  flags.push_back("--reflection=false");
  EXPECT_FALSE(config_of(flags).reflection);
}

TEST_F(ConfigFile, TheFileCanBeNamedByAVariable) {
  file("yang-dir = ['y']\ndata = 'd'\ninsecure = true\n");
  EXPECT_EQ(config_of({}, {{"NEXAD_CONFIG", path_}}).data, "d");
}

TEST(Invocation, ListsInVariablesAreSeparatedByCommas) {
  const ServerConfig config = config_of(
      kEnough,
      {{"NEXAD_MODULE", "a,b"}, {"NEXAD_FEATURE", "a:f,b:g"}, {"NEXAD_SERVICE_HOST", "10.0.0.1"}});
  EXPECT_EQ(config.modules, (Words{"a", "b"}));
  EXPECT_EQ(config.features.at("b"), Words{"g"});
}

TEST(Invocation, NamesTheFlagAtFault) {
  EXPECT_EQ(error_of(with({"--max-connections", "many"})),
            "--max-connections: \"many\" is not a whole number from 1 to 1000000000");
  EXPECT_EQ(error_of(with({"--max-connections", "0"})),
            "--max-connections: \"0\" is not a whole number from 1 to 1000000000");
  EXPECT_EQ(error_of(with({"--listen", "here"})),
            "--listen: \"here\" is not HOST:PORT, [IPV6]:PORT or :PORT");
  EXPECT_EQ(error_of(with({"--listen", "127.0.0.1:65536"})),
            "--listen: \"127.0.0.1:65536\" is not HOST:PORT, [IPV6]:PORT or :PORT");
  EXPECT_EQ(error_of(with({"--metrics", "on"})),
            "--metrics: \"on\" is not HOST:PORT, [IPV6]:PORT, :PORT or \"off\"");
  EXPECT_EQ(error_of(with({"--metrics", "0.0.0.0:9340"})),
            "--metrics: other machines can reach 0.0.0.0:9340: --metrics-public allows that");
  EXPECT_TRUE(config_of(with({"--metrics", "0.0.0.0:1", "--metrics-public"})).metrics_public);
  EXPECT_EQ(error_of(with({"--feature", "f"})),
            "--feature: \"f\" is not MODULE:FEATURE or MODULE:");
  EXPECT_EQ(error_of(with({"--hook", "a 'b"})), "--hook: a quote is not closed");
  EXPECT_EQ(error_of(with({"--log-level", "loud"})),
            "--log-level: \"loud\" is none of debug, info, warning, error");
  EXPECT_EQ(error_of(with({"--data", "other"})), "--data is given more than once");
  EXPECT_EQ(error_of(with({"--hook-at-start"})),
            "--hook-at-start needs a program: --hook is missing");
  EXPECT_NE(error_of(with({"--lisen", "x"})).find("--lisen"), std::string::npos);
}

// On 32 bits a larger number would be cut to one that nobody asked for, 4294967296 to 0.
TEST(Invocation, TakesNoNumberThatTheMachineCannotCountWith) {
  const std::string most = std::to_string(std::numeric_limits<std::ptrdiff_t>::max());
  const std::string beyond = sizeof(void*) == 4 ? "4294967296" : "9223372036854775808";
  for (const char* const flag :
       {"--max-set-nodes", "--max-set-bytes", "--unread-answer-bytes", "--rpc-memory-bytes"}) {
    const std::string error = error_of(with({flag, beyond}));
    EXPECT_EQ(error.find(std::string(flag) + ": \"" + beyond + "\" is not a whole number from "),
              0U)
        << error;
    EXPECT_TRUE(error.ends_with(" to " + most)) << error;
  }
  EXPECT_EQ(std::to_string(config_of(with({"--max-set-bytes", most})).max_set_bytes), most);
}

TEST(Invocation, NamesTheVariableAtFault) {
  EXPECT_EQ(error_of(kEnough, {{"NEXAD_STRICT", "yes"}}),
            "NEXAD_STRICT: \"yes\" is neither true nor false");
  EXPECT_EQ(error_of(kEnough, {{"NEXAD_TLS_CERT", "c"}}),
            "--insecure and NEXAD_TLS_CERT contradict each other: connections are encrypted or "
            "they are not");
}

TEST_F(ConfigFile, NamesTheLineAtFault) {
  EXPECT_EQ(error_of(with(file("\nlisen = 'x'\n"))), path_ + ":2: there is no setting \"lisen\"");
  EXPECT_EQ(error_of(with(file("[limits]\nmax-paths = 1\n"))),
            path_ + ":1: there is no setting \"limits\"");
  EXPECT_EQ(error_of(with(file("max-paths = '1'\n"))),
            path_ + ":1: max-paths: the value has to be a whole number");
  EXPECT_EQ(error_of(with(file("# limits\nmax-paths = -1\n"))),
            path_ + ":2: max-paths: \"-1\" is not a whole number from 1 to 1000000000");
  EXPECT_EQ(error_of(with(file("module = [1]\n"))),
            path_ + ":1: module: the value has to be a list of strings");
  EXPECT_EQ(error_of(with(file("reflection = 'true'\n"))),
            path_ + ":1: reflection: the value has to be true or false");
  EXPECT_EQ(error_of(with(file("tls-ca = 'ca'\n"))),
            "--insecure and " + path_ +
                ":1: tls-ca contradict each other: connections are encrypted or they are not");
  const std::string syntax = error_of(with(file("listen = 'a'\nusers = \n")));
  EXPECT_EQ(syntax.substr(0, path_.size() + 3), path_ + ":2:");
}

TEST_F(ConfigFile, SaysWhyItCannotBeRead) {
  const Words words = file("listen = 'a'\n");
  rlimit before{};
  getrlimit(RLIMIT_NOFILE, &before);
  const rlimit none{0, before.rlim_max};
  setrlimit(RLIMIT_NOFILE, &none);
  const std::string error = error_of(words);
  setrlimit(RLIMIT_NOFILE, &before);
  EXPECT_EQ(error, path_ + ": cannot be read: Too many open files");
}

TEST(Invocation, NamesAFileThatIsNotThere) {
  EXPECT_EQ(error_of(with({"--config", "no/such.toml"})),
            "no/such.toml: cannot be read: No such file or directory");
}

TEST(Invocation, SaysWhatIsMissing) {
  EXPECT_EQ(error_of({"--data", "d", "--insecure"}),
            "--yang-dir is missing: without YANG modules there is nothing to serve");
  EXPECT_EQ(error_of({"--yang-dir", "y", "--insecure"}),
            "--data is missing: the configuration is kept in that folder");
  EXPECT_EQ(error_of({"--yang-dir", "y", "--data", "d"}),
            "--tls-cert and --tls-key are missing: connections are encrypted unless --insecure is "
            "given");
  EXPECT_EQ(error_of({"--yang-dir", "y", "--data", "d", "--tls-cert", "c"}),
            "--tls-key is missing: the certificate has no private key");
  EXPECT_EQ(error_of({"--yang-dir", "y", "--data", "d", "--tls-key", "k"}),
            "--tls-cert is missing: the private key has no certificate");
  EXPECT_EQ(error_of({"--yang-dir", "y", "--data", "d", "--tls-cert", "c", "--tls-key", "k",
                      "--client-crl", "r"}),
            "--tls-ca is missing: the lists of --client-crl are of its authorities");
}

TEST(Invocation, KnowsItsActions) {
  const auto action = [](const Words& arguments) {
    return nexa_test::value_of(parse_invocation(arguments, {})).action;
  };
  EXPECT_EQ(action(kEnough), Action::kServe);
  EXPECT_EQ(action(with({"--check-config"})), Action::kCheckConfig);
  EXPECT_EQ(action({"hash-password"}), Action::kHashPassword);
  EXPECT_EQ(action({"--hash-password"}), Action::kHashPassword);
  EXPECT_EQ(action({"--help"}), Action::kShow);
  EXPECT_EQ(action({"--version"}), Action::kShow);
}

TEST(Invocation, HelpFitsATerminalOf80Columns) {
  const Invocation invocation = nexa_test::value_of(parse_invocation({"--help"}, {}));
  std::istringstream help(invocation.text);
  int lines = 0;
  for (std::string line; std::getline(help, line); ++lines) EXPECT_LE(line.size(), 80U) << line;
  EXPECT_GT(lines, 60);
  const std::string broken =
      "  --users FILE                Users, one a line: name:role:hash. Without it\n"
      "                              everybody who can connect may read and write\n";
  EXPECT_NE(invocation.text.find(broken), std::string::npos) << invocation.text;
}

TEST(Invocation, AWordThatIsNotKnownIsNamed) {
  EXPECT_EQ(error_of(with({"--colour"})),
            "The following argument was not expected: --colour; nexad --help shows what there is");
}

TEST(SplitWords, KeepsQuotedWordsTogether) {
  const auto words = [](const char* text) {
    Words result;
    EXPECT_TRUE(split_words(text, result)) << text;
    return result;
  };
  EXPECT_EQ(words("  a  b\t"), (Words{"a", "b"}));
  EXPECT_EQ(words("a 'b c' \"d 'e\""), (Words{"a", "b c", "d 'e"}));
  EXPECT_EQ(words("a''b ''"), (Words{"ab", ""}));
  EXPECT_EQ(words(""), Words{});
}

// The example shows every setting, commented out, with the value that holds without it.
TEST_F(ConfigFile, TheExampleListsEverySettingWithItsDefault) {
  std::ifstream example(NEXA_SOURCE_DIR "/apps/nexad/nexad.toml.example");
  ASSERT_TRUE(example);
  std::string text;
  for (std::string line; std::getline(example, line);) {
    if (line.starts_with("#") && !line.starts_with("# ") && line.size() > 1) line.erase(0, 1);
    text += line + "\n";
  }
  const ServerConfig config = config_of(file(text));
  const ServerConfig defaults;
  for (const Setting& setting : settings()) {
    EXPECT_TRUE(config.given(setting.name)) << setting.name;
    if (const auto* number = std::get_if<Number>(&setting.kind)) {
      EXPECT_EQ(config.*number->member, defaults.*number->member) << setting.name;
    }
    const std::string usual = setting.default_text();
    const auto* word = std::get_if<Text>(&setting.kind);
    if (word != nullptr && !usual.empty()) {
      EXPECT_EQ(config.*word->member, usual) << setting.name;
    }
  }
}

}  // namespace
