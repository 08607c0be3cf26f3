// Which file a module comes from when there are several, and which features it gets.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "real/schema_text.h"
#include "real/temp_folder.h"

namespace nexa_test {
namespace kestrel_folders_test {

using Names = std::vector<std::string>;

// A module whose only leaf tells which file it is.
std::string marked(const std::string& revision, const std::string& leaf) {
  const std::string statement = revision.empty() ? "" : "revision " + revision + "; ";
  return "module m { namespace \"urn:m\"; prefix m; " + statement + "leaf " + leaf +
         " { type string; } }";
}

std::string loaded_leaf() { return names_from(first_root("m")).front(); }

TEST(KestrelFolders, TheNewestRevisionOfAFolderCounts) {
  const TempFolder folder;
  folder.write("m@2020-01-01.yang", marked("2020-01-01", "older"));
  folder.write("m@2022-02-02.yang", marked("2022-02-02", "newest"));
  folder.write("m.yang", marked("2021-01-01", "plain-name"));
  ASSERT_EQ(load_text(folder), "");
  EXPECT_EQ(loaded_leaf(), "newest");
  folder.write("m.yang", marked("2023-01-01", "plain-name"));
  ASSERT_EQ(load_text(folder), "");
  EXPECT_EQ(loaded_leaf(), "plain-name") << "the date stands in the file, not in its name";
}

TEST(KestrelFolders, TheFirstFolderThatHasANameWins) {
  const TempFolder preferred;
  const TempFolder other;
  preferred.write("m@2020-01-01.yang", marked("2020-01-01", "preferred"));
  other.write("m@2022-02-02.yang", marked("2022-02-02", "newer"));
  other.write("extra.yang", R"(module extra { namespace "urn:extra"; prefix e; container e; })");
  kestrel::LoadOptions options;
  options.search_dirs = {preferred.path(), other.path()};
  ASSERT_EQ(load_text(options), "");
  EXPECT_EQ(loaded_leaf(), "preferred");
  EXPECT_EQ(listed_modules(), (Names{"extra", "m"}));
  options.search_dirs = {other.path(), preferred.path()};
  ASSERT_EQ(load_text(options), "");
  EXPECT_EQ(loaded_leaf(), "newer");
}

TEST(KestrelFolders, AnImportFollowsTheSameRule) {
  const TempFolder preferred;
  const TempFolder other;
  preferred.write("m@2020-01-01.yang", marked("2020-01-01", "preferred"));
  other.write("m@2022-02-02.yang", marked("2022-02-02", "newer"));
  other.write("user.yang", R"(module user { namespace "urn:user"; prefix u; import m { prefix m; }
    leaf x { type leafref { path "/m:preferred"; } } })");
  kestrel::LoadOptions options;
  options.search_dirs = {preferred.path(), other.path()};
  options.modules = {"user"};
  ASSERT_EQ(load_text(options), "");
  EXPECT_EQ(loaded_leaf(), "preferred");
}

TEST(KestrelFolders, AnImportOfARevisionGetsThatRevision) {
  const TempFolder preferred;
  const TempFolder other;
  preferred.write("lib@2022-02-02.yang", R"(module lib { namespace "urn:lib"; prefix l;
    revision 2022-02-02; grouping g { leaf newer { type string; } } })");
  other.write("lib.yang", R"(module lib { namespace "urn:lib"; prefix l;
    revision 2020-01-01; grouping g { leaf older { type string; } } })");
  preferred.write("m.yang", R"(module m { namespace "urn:m"; prefix m;
    import lib { prefix l; revision-date 2020-01-01; } uses l:g; })");
  kestrel::LoadOptions options;
  options.search_dirs = {preferred.path(), other.path()};
  options.modules = {"m"};
  ASSERT_EQ(load_text(options), "");
  EXPECT_EQ(loaded_leaf(), "older");
}

TEST(KestrelFolders, ASubmoduleComesFromTheFolderOfItsModuleFirst) {
  const TempFolder first;
  const TempFolder second;
  first.write("part@2024-01-01.yang", R"(submodule part { belongs-to m { prefix m; }
    revision 2024-01-01; leaf of-first { type string; } })");
  second.write("part@2020-01-01.yang", R"(submodule part { belongs-to m { prefix m; }
    revision 2020-01-01; leaf of-second { type string; } })");
  second.write("m.yang", R"(module m { namespace "urn:m"; prefix m; include part; })");
  kestrel::LoadOptions options;
  options.search_dirs = {first.path(), second.path()};
  options.modules = {"m"};
  ASSERT_EQ(load_text(options), "");
  EXPECT_EQ(loaded_leaf(), "of-second");
}

TEST(KestrelFolders, SubmodulesAndOtherFilesAreNotLoadedOnTheirOwn) {
  const TempFolder folder;
  folder.write("m.yang", marked("", "x"));
  folder.write("part.yang", R"(/* a comment first */ // another
    submodule part { belongs-to nobody { prefix n; } })");
  folder.write("notes.txt", "not YANG");
  folder.write("m.yang.bak", "not YANG");
  ASSERT_EQ(load_text(folder), "");
  EXPECT_EQ(listed_modules(), (Names{"m"}));
}

TEST(KestrelFolders, FoldersInsideAreNotSearched) {
  const TempFolder folder;
  folder.write("m.yang", R"(module m { namespace "urn:m"; prefix m; include part; })");
  std::filesystem::create_directory(folder.file("inside"));
  folder.write("inside/part.yang", "submodule part { belongs-to m { prefix m; } }");
  folder.write("inside/other.yang", "module other { namespace \"urn:o\"; prefix o; }");
  std::filesystem::create_directory(folder.file("folder.yang"));
  EXPECT_EQ(load_text(folder),
            folder.file("m.yang") + ":1: no submodule part in the search folders");
  EXPECT_EQ(load_text(folder, {"other"}), "other: no module of this name in the search folders");
}

TEST(KestrelFolders, TheWorkingDirectoryIsNotSearched) {
  const TempFolder folder;
  const TempFolder working;
  working.write("lib.yang", R"(module lib { namespace "urn:lib"; prefix l; })");
  folder.write("m.yang", R"(module m { namespace "urn:m"; prefix m; import lib { prefix l; } })");
  const std::filesystem::path before = std::filesystem::current_path();
  std::filesystem::current_path(working.path());
  const std::string error = load_text(folder);
  std::filesystem::current_path(before);
  EXPECT_EQ(error.substr(0, error.rfind(": ")), folder.file("m.yang") + ":1");
}

constexpr char kFeatures[] = R"(module m { namespace "urn:m"; prefix m;
  feature f; feature g;
  leaf plain { type string; }
  leaf with-f { if-feature f; type string; }
  leaf with-g { if-feature g; type string; } })";

TEST(KestrelFeatures, AllAreEnabledUnlessTheModuleIsNamed) {
  ASSERT_EQ(load_module("m", kFeatures), "");
  EXPECT_EQ(names_from(first_root("m")), (Names{"plain", "with-f", "with-g", "gnmi-model-data"}));
}

TEST(KestrelFeatures, OfANamedModuleOnlyTheNamedOnesAreEnabled) {
  const TempFolder folder;
  folder.write("m.yang", kFeatures);
  kestrel::LoadOptions options = options_for(folder);
  options.features["m"] = {"g"};
  ASSERT_EQ(load_text(options), "");
  EXPECT_EQ(names_from(first_root("m")), (Names{"plain", "with-g", "gnmi-model-data"}));
  options.features["m"] = {};
  ASSERT_EQ(load_text(options), "");
  EXPECT_EQ(names_from(first_root("m")), (Names{"plain", "gnmi-model-data"}));
}

// m comes in as the target of an augment, of a leafref, or of a must: always after the fact.
TEST(KestrelFeatures, HoldForModulesThatOthersPullIn) {
  const TempFolder folder;
  folder.write("m.yang", R"(module m { namespace "urn:m"; prefix m; feature f;
    container c { leaf t { type string; } leaf with-f { if-feature f; type string; } } })");
  folder.write("augment.yang", R"(module augment { namespace "urn:a"; prefix a;
    import m { prefix m; } augment /m:c { leaf x { type string; } } })");
  folder.write("leafref.yang", R"(module leafref { namespace "urn:l"; prefix l;
    import m { prefix m; } leaf x { type leafref { path /m:c/m:t; } } })");
  folder.write("must.yang", R"(module must { namespace "urn:u"; prefix u;
    import m { prefix m; } container x { must "/m:c/m:t = 'a'"; } })");
  for (const char* name : {"augment", "leafref", "must"}) {
    kestrel::LoadOptions options = options_for(folder, {name});
    ASSERT_EQ(load_text(options), "") << name;
    EXPECT_NE(find_node("m", "c/with-f"), nullptr) << name;
    options.features["m"] = {};
    ASSERT_EQ(load_text(options), "") << name;
    EXPECT_NE(find_node("m", "c/t"), nullptr) << name;
    EXPECT_EQ(find_node("m", "c/with-f"), nullptr) << name;
  }
}

TEST(KestrelFeatures, HoldWhicheverModuleComesFirst) {
  const TempFolder folder;
  folder.write("m.yang", R"(module m { namespace "urn:m"; prefix m; feature f; feature g;
    container c { leaf with-f { if-feature f; type string; }
                  leaf with-g { if-feature g; type string; } } })");
  folder.write("a.yang", R"(module a { namespace "urn:a"; prefix a;
    import m { prefix m; } augment /m:c { leaf x { type string; } } })");
  for (const Names& modules : {Names{"m", "a"}, Names{"a", "m"}, Names{}}) {
    kestrel::LoadOptions options = options_for(folder, modules);
    options.features["m"] = {"g"};
    ASSERT_EQ(load_text(options), "");
    EXPECT_EQ(names_from(find_node("m", "c")->children), (Names{"with-g", "x"}));
  }
}

TEST(KestrelFeatures, ADefinitionModuleCanBeNamedToo) {
  const TempFolder folder;
  folder.write("types.yang", R"(module types { yang-version 1.1; namespace "urn:t"; prefix t;
    feature f; identity base; identity one { if-feature f; base base; } })");
  folder.write("m.yang", R"(module m { namespace "urn:m"; prefix m; import types { prefix t; }
    leaf x { type identityref { base t:base; } } })");
  kestrel::LoadOptions options = options_for(folder, {"m"});
  options.features["types"] = {};
  EXPECT_EQ(load_text(options), "");
  EXPECT_EQ(listed_modules(), (Names{"m", "types"}));
}

}  // namespace kestrel_folders_test
}  // namespace nexa_test
