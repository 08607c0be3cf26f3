// nexa path: database texts to gNMI paths with their schema nodes, and back.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "real/temp_folder.h"
#include "run_program.h"

namespace path_command_test {

using nexa_test::Outcome;
using nexa_test::run_nexa;

Outcome path(std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(), {"path", "-p", NEXA_MODELS_DIR, "-m", "example-device"});
  return run_nexa(arguments);
}

void expect_answer(const Outcome& run, const std::string& text) {
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.out, text);
  EXPECT_EQ(run.err, "");
}

void expect_refused(const Outcome& run, const std::string& text) {
  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(run.out, "");
  EXPECT_EQ(run.err, text);
}

constexpr char kRoute[] =
    "/example-device:device/port[name=a]/route[metric=1][prefix=10/8]\n"
    "  example-device:device  container, config\n"
    "  example-device:port  list, config, keys: name\n"
    "  example-device:route  list, config, keys: prefix metric\n";

TEST(PathCommand, ResolvesAnXpath) {
  expect_answer(path({"/exd:device/port[name='a']/route[prefix='10/8'][metric='1']"}), kRoute);
}

TEST(PathCommand, ResolvesAKeypathWithKeysInSchemaOrder) {
  expect_answer(path({"/exd:device/port{a}/route{10/8 1}"}), kRoute);
}

TEST(PathCommand, UnderstandsModuleNames) {
  expect_answer(path({"/example-device:device/port{a}/route{10/8 1}"}), kRoute);
}

TEST(PathCommand, ResolvesAnEntryOfALeafList) {
  constexpr char kTag[] =
      "/example-device:device/port[name=a]/tag[.=x y]\n"
      "  example-device:device  container, config\n"
      "  example-device:port  list, config, keys: name\n"
      "  example-device:tag  leaf-list, config\n";
  expect_answer(path({"/exd:device/port{a}/tag{x\\ y}"}), kTag);
  expect_answer(path({"/exd:device/port[name='a']/tag[.='x y']"}), kTag);
}

TEST(PathCommand, DescribesNodesInJson) {
  const Outcome run = path({"/exd:device/port{a}", "--format", "json"});
  EXPECT_EQ(run.status, 0);
  EXPECT_NE(run.out.find("\"path\":\t\"/example-device:device/port[name=a]\""), std::string::npos);
  EXPECT_NE(run.out.find("\"key\":\t{\n\t\t\t\t\"name\":\t\"a\"\n\t\t\t}"), std::string::npos)
      << run.out;
  EXPECT_NE(run.out.find("\"prefix\":\t\"exd\""), std::string::npos);
  EXPECT_NE(run.out.find("\"kind\":\t\"list\""), std::string::npos);
  EXPECT_NE(run.out.find("\"keys\":\t[\"name\"]"), std::string::npos);
}

TEST(PathCommand, UnderstandsNamesWithoutModuleWhereTheyMeanOneNode) {
  expect_answer(path({"/device/port{a}/route{10/8 1}"}), kRoute);
  expect_answer(path({"--to-keypath", "/device/port[name=a]"}), "/exd:device/port{a}\n");
  expect_answer(path({"--to-keypath", "/exd:device/exd:port[exd:name=a]"}),
                "/exd:device/port{a}\n");
}

TEST(PathCommand, RefusesAnUnknownElementInTheMiddle) {
  expect_refused(path({"/exd:device/prt/route"}),
                 "NOT_FOUND: no node \"prt\" below \"/exd:device\"\n");
}

TEST(PathCommand, RefusesAWildcardInPlaceOfAName) {
  constexpr char kRefusal[] =
      "INVALID_ARGUMENT: A wildcard in place of a name is no node of the schema\n";
  expect_refused(path({"--to-keypath", "/example-device:device/*"}), kRefusal);
  expect_refused(path({"--to-xpath", "/example-device:device/.../name"}), kRefusal);
  expect_answer(path({"--to-keypath", "/example-device:device/port[name=*]"}),
                "/exd:device/port{*}\n");
}

TEST(PathCommand, TellsRepeatedNamesApart) {
  const nexa_test::TempFolder folder;
  folder.write("outer.yang", R"(module outer { namespace "urn:outer"; prefix o;
    container top { container x { leaf v { type string; } }
      container y { container y { leaf v { type string; } } } } })");
  folder.write("inner.yang", R"(module inner { namespace "urn:inner"; prefix i;
    import outer { prefix o; }
    augment "/o:top" { container x { leaf v { type string; } } } })");
  const auto run = [&folder](const char* text) {
    return run_nexa({"path", "-p", folder.path(), text});
  };
  constexpr char kTop[] = "  outer:top  container, config\n";
  expect_answer(run("/o:top/o:x/v"), std::string("/outer:top/x/v\n") + kTop +
                                         "  outer:x  container, config\n"
                                         "  outer:v  leaf, config\n");
  expect_answer(run("/o:top/i:x/v"), std::string("/outer:top/inner:x/v\n") + kTop +
                                         "  inner:x  container, config\n"
                                         "  inner:v  leaf, config\n");
  expect_answer(run("/o:top/y/y/v"), std::string("/outer:top/y/y/v\n") + kTop +
                                         "  outer:y  container, config\n"
                                         "  outer:y  container, config\n"
                                         "  outer:v  leaf, config\n");
}

// The database writes an identity with a prefix, clients with a module.
TEST(PathCommand, SpellsAnIdentityForItsReader) {
  const nexa_test::TempFolder folder;
  folder.write("kinds.yang", R"(module kinds { namespace "urn:k"; prefix k;
    identity kind; identity fast { base kind; }
    container top { list entry { key kind; leaf kind { type identityref { base kind; } } } } })");
  const auto run = [&folder](std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), {"path", "-p", folder.path()});
    return run_nexa(arguments);
  };
  constexpr char kEntry[] =
      "/kinds:top/entry[kind=kinds:fast]\n"
      "  kinds:top  container, config\n"
      "  kinds:entry  list, config, keys: kind\n";
  expect_answer(run({"/k:top/entry{k:fast}"}), kEntry);
  expect_answer(run({"/k:top/entry[kind='k:fast']"}), kEntry);
  for (const char* spelling : {"fast", "k:fast", "kinds:fast"}) {
    const std::string sent = "/kinds:top/entry[kind=" + std::string(spelling) + "]";
    expect_answer(run({"--to-keypath", sent}), "/k:top/entry{k:fast}\n");
    expect_answer(run({"--to-xpath", sent}), "/k:top/entry[kind='k:fast']\n");
  }
}

TEST(PathCommand, RefusesMalformedTextWithThePlace) {
  expect_refused(path({"/exd:device[name]"}),
                 "INVALID_ARGUMENT: Malformed path text \"/exd:device[name]\" at byte 16\n");
  expect_refused(path({"/exd:device/port{a"}),
                 "INVALID_ARGUMENT: Malformed path text \"/exd:device/port{a\": \"{\" without "
                 "\"}\" at byte 16\n");
}

TEST(PathCommand, RefusesKeysThatTheListDoesNotHave) {
  expect_refused(path({"/exd:device/port[id='a']"}),
                 "INVALID_ARGUMENT: \"/exd:device/port\" has no key \"id\"\n");
  expect_refused(path({"/exd:device/port{a b}"}),
                 "INVALID_ARGUMENT: Element \"port\": 2 key values given, the schema has 1\n");
}

TEST(PathCommand, WritesAKeypathWithPrefixesAndKeysInSchemaOrder) {
  expect_answer(
      path({"--to-keypath", "/example-device:device/port[name=a]/route[metric=1][prefix=10/8 x]"}),
      "/exd:device/port{a}/route{10/8\\ x 1}\n");
}

TEST(PathCommand, WritesAnXpathWithPrefixesAndKeysInSchemaOrder) {
  expect_answer(
      path({"--to-xpath", "/example-device:device/port[name=a]/route[metric=1][prefix=10/8]"}),
      "/exd:device/port[name='a']/route[prefix='10/8'][metric='1']\n");
}

TEST(PathCommand, RefusesAPathThatLacksAKey) {
  expect_refused(path({"--to-keypath", "/example-device:device/port[name=a]/route[metric=1]"}),
                 "INVALID_ARGUMENT: Element \"route\" lacks the key \"prefix\"\n");
}

TEST(PathCommand, ConvertsWithoutASchemaWithKeysSorted) {
  expect_answer(run_nexa({"path", "--to-keypath", "/m:a/b[k=x y][a=2]"}), "/m:a/b{2 x\\ y}\n");
  expect_answer(run_nexa({"path", "--to-xpath", "/m:a/b[k=it's][a=2]"}),
                "/m:a/b[a='2'][k=\"it's\"]\n");
  expect_answer(run_nexa({"path", "--to-xpath", "/"}), "/\n");
}

TEST(PathCommand, ConvertsToJson) {
  expect_answer(run_nexa({"path", "--to-keypath", "/a", "--format", "json"}),
                "{\n\t\"keypath\":\t\"/a\"\n}\n");
}

TEST(PathCommand, RefusesAValueThatAnXpathCannotHold) {
  expect_refused(run_nexa({"path", "--to-xpath", "/a[k=x\\]]"}),
                 "INVALID_ARGUMENT: Key value \"x]\" cannot stand in xpath text: it holds one of "
                 "\"=\", \"[\" and \"]\"\n");
}

TEST(PathCommand, RefusesAMalformedPathString) {
  expect_refused(run_nexa({"path", "--to-xpath", "/a[k]"}),
                 "INVALID_ARGUMENT: Malformed path: key without \"=\" at byte 2\n");
}

TEST(PathCommand, WrongOptionsAreWrongUsage) {
  EXPECT_EQ(run_nexa({"path"}).status, 2);
  EXPECT_EQ(run_nexa({"path", "/exd:device"}).err, "nexa: path: TEXT needs --yang-dir\n");
  const Outcome two = path({"/exd:device", "--to-xpath", "/a"});
  EXPECT_EQ(two.status, 2);
  EXPECT_EQ(two.err, "nexa: path: give one of TEXT, --to-keypath and --to-xpath\n");
}

}  // namespace path_command_test
