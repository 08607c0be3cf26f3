// What a refused schema says: the file, the line, the reason; and that nothing is printed
// meanwhile.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "real/schema_text.h"
#include "real/temp_folder.h"

namespace nexa_test {
namespace {

// The error of loading these files, "file:line: message" with the folder's name cut off.
std::string error_of(const std::vector<std::pair<std::string, std::string>>& files,
                     std::vector<std::string> modules = {}) {
  const TempFolder folder;
  for (const auto& [name, text] : files) folder.write(name, text);
  std::string error = load_text(folder, std::move(modules));
  const std::string prefix = folder.path() + "/";
  for (std::size_t at = error.find(prefix); at != std::string::npos; at = error.find(prefix)) {
    error.erase(at, prefix.size());
  }
  return error;
}

std::string module_m(const std::string& body) {
  return "module m {\n  namespace \"urn:m\";\n  prefix m;\n" + body + "\n}\n";
}

TEST(KestrelErrors, UnknownModule) {
  EXPECT_EQ(error_of({{"m.yang", module_m("")}}, {"n"}),
            "n: no module of this name in the search folders");
  EXPECT_EQ(error_of({{"m.yang", module_m("")}}, {"../m"}),
            "../m: no module of this name in the search folders");
  EXPECT_EQ(error_of({{"m.yang", module_m("")}}, {""}),
            "no module of this name in the search folders");
}

TEST(KestrelErrors, UnreadableFolder) {
  const TempFolder folder;
  kestrel::LoadOptions options;
  options.search_dirs = {folder.file("absent")};
  EXPECT_EQ(load_text(options), folder.file("absent") + ": No such file or directory");
  folder.write("plain", "text");
  options.search_dirs = {folder.file("plain")};
  EXPECT_EQ(load_text(options), folder.file("plain") + ": Not a directory");
}

TEST(KestrelErrors, AFolderWithoutModules) {
  const TempFolder folder;
  EXPECT_EQ(load_text(folder), folder.path() + ": no YANG modules here");
}

TEST(KestrelErrors, AFileThatCannotBeRead) {
  const TempFolder folder;
  std::filesystem::create_symlink("nowhere", folder.file("m.yang"));
  EXPECT_EQ(load_text(folder), folder.file("m.yang") + ": No such file or directory");
}

TEST(KestrelErrors, SyntaxErrorNamesTheLine) {
  EXPECT_EQ(error_of({{"m.yang", module_m("  leaf x {\n    tipe string;\n  }")}}),
            "m.yang:5: Invalid character sequence \"tipe\", expected a keyword.");
  EXPECT_EQ(error_of({{"m.yang", module_m("  leaf x { type string }")}}),
            "m.yang:4: Invalid keyword \"}\", expected \";\" or \"{\".");
}

TEST(KestrelErrors, AnErrorInAnImportNamesTheImportedFile) {
  EXPECT_EQ(error_of({{"m.yang", module_m("  import lib { prefix l; }")},
                      {"lib.yang", "module lib {\n namespace \"urn:l\";\n prefix l;\n leaf x; }"}},
                     {"m"}),
            "lib.yang:4: Missing mandatory keyword \"type\" as a child of \"leaf\".");
}

TEST(KestrelErrors, UnresolvedImportNamesTheImportStatement) {
  EXPECT_EQ(error_of({{"m.yang", module_m("  import a { prefix a; }\n"
                                          "  import nowhere { prefix n; }")},
                      {"a.yang", "module a { namespace \"urn:a\"; prefix a; }"}},
                     {"m"}),
            "m.yang:5: no module nowhere in the search folders");
}

TEST(KestrelErrors, UnresolvedImportOfAnImportNamesTheRightFile) {
  EXPECT_EQ(error_of({{"m.yang", module_m("  import lib { prefix l; }")},
                      {"lib.yang",
                       "module lib {\n namespace \"urn:l\";\n prefix l;\n\n"
                       " import nowhere { prefix n; } }"}},
                     {"m"}),
            "lib.yang:5: no module nowhere in the search folders");
}

TEST(KestrelErrors, UnresolvedIncludeNamesTheIncludeStatement) {
  EXPECT_EQ(error_of({{"m.yang", module_m("  include part;")}}),
            "m.yang:4: no submodule part in the search folders");
  EXPECT_EQ(error_of({{"m.yang", module_m("  include part { revision-date 2020-01-01; }")},
                      {"part.yang",
                       "submodule part { belongs-to m { prefix m; }\n"
                       "revision 2021-01-01; }"}}),
            "m.yang:4: no submodule part in the search folders, revision 2020-01-01");
}

TEST(KestrelErrors, ASyntaxErrorInASubmoduleNamesTheSubmodule) {
  EXPECT_EQ(
      error_of({{"m.yang", module_m("  include part;")},
                {"part.yang", "submodule part {\n  belongs-to m { prefix m; }\n  lief x; }"}}),
      "part.yang:3: Invalid character sequence \"lief\", expected a keyword.");
}

TEST(KestrelErrors, ABrokenReferenceInASubmoduleNamesTheSubmodule) {
  EXPECT_EQ(error_of({{"m.yang", module_m("  include part;\n  container other;")},
                      {"part.yang",
                       "submodule part {\n  belongs-to m { prefix m; }\n"
                       "  container c {\n    uses nothing;\n  }\n}"}}),
            "part.yang:4: Grouping \"nothing\" referenced by a uses statement not found."
            " (/m:c/{uses='nothing'})");
}

TEST(KestrelErrors, ModulesThatImportEachOther) {
  const std::string error = error_of(
      {{"m.yang", module_m("  import n { prefix n; }")},
       {"n.yang", "module n {\n namespace \"urn:n\";\n prefix n;\n import m { prefix m; } }"}},
      {"m"});
  EXPECT_EQ(error, "n.yang:4: A circular dependency (import) for module \"m\".");
}

TEST(KestrelErrors, TwoModulesOfOneNamespace) {
  const std::string error =
      error_of({{"a.yang", "module a {\n namespace \"urn:x\";\n prefix a; }"},
                {"b.yang", "module b {\n namespace \"urn:x\";\n prefix b; }"}});
  EXPECT_EQ(error,
            "b.yang:2: Two different modules (\"a\" and \"b\") have the same namespace \"urn:x\".");
}

TEST(KestrelErrors, AFileWhoseModuleHasAnotherName) {
  const std::string error =
      error_of({{"m.yang", "module other { namespace \"urn:o\"; prefix o; }"}});
  EXPECT_EQ(error.substr(0, 9), "m.yang:1:") << error;
  EXPECT_NE(error.find("\"other\""), std::string::npos) << error;
}

TEST(KestrelErrors, ASubmoduleAskedForAsAModule) {
  const std::string error =
      error_of({{"part.yang", "submodule part { belongs-to m { prefix m; } }"}}, {"part"});
  EXPECT_EQ(error.substr(0, 10), "part.yang:") << error;
}

TEST(KestrelErrors, UnknownFeature) {
  const TempFolder folder;
  folder.write("m.yang", module_m("  feature f;"));
  kestrel::LoadOptions options = options_for(folder);
  options.features["m"] = {"f", "nope"};
  EXPECT_EQ(load_text(options),
            folder.file("m.yang") + ":1: Feature \"nope\" not found in module \"m\".");
}

TEST(KestrelErrors, UnknownFeatureOfAModuleWithImports) {
  const TempFolder folder;
  folder.write("other.yang", "module other { namespace \"urn:other\"; prefix o; }");
  folder.write("m.yang", module_m("  import other { prefix o; }"));
  kestrel::LoadOptions options = options_for(folder);
  options.modules = {"m"};
  options.features["m"] = {"nope"};
  EXPECT_EQ(load_text(options),
            folder.file("m.yang") + ": Feature \"nope\" not found in module \"m\".");
}

TEST(KestrelErrors, FeaturesOfAModuleThatIsNotLoaded) {
  const TempFolder folder;
  folder.write("m.yang", module_m(""));
  kestrel::LoadOptions options = options_for(folder);
  options.features["absent"] = {"f"};
  EXPECT_EQ(load_text(options), "absent: features are named for this module, which is not loaded");
}

TEST(KestrelErrors, EmptyFile) {
  EXPECT_EQ(error_of({{"m.yang", ""}}), "m.yang:1: the file is empty");
}

TEST(KestrelErrors, OnlyBlanksOrComments) {
  for (const char* text : {" ", "\n\n", "// nothing\n", "/* nothing", "\"", "'", "\\", "\"\\"}) {
    const std::string error = error_of({{"m.yang", text}});
    EXPECT_EQ(error.substr(0, 7), "m.yang:") << error;
  }
}

TEST(KestrelErrors, BinaryGarbage) {
  std::string garbage;
  std::uint32_t state = 12345;
  for (int i = 0; i < 4096; ++i) {
    state = state * 1664525U + 1013904223U;
    garbage += static_cast<char>(state >> 24);
  }
  EXPECT_EQ(error_of({{"m.yang", "\n" + garbage}}).substr(0, 7), "m.yang:");
  for (char& c : garbage) {
    if (c == '\0') c = '\1';
  }
  const std::string error = error_of({{"m.yang", "\n" + garbage}});
  EXPECT_EQ(error.substr(0, 9), "m.yang:2:") << error;
}

TEST(KestrelErrors, ANulByteDoesNotHideTheRestOfTheFile) {
  std::string text = module_m("  leaf x { type string; }");
  text += '\0';
  text += "and more";
  EXPECT_EQ(error_of({{"m.yang", text}}), "m.yang:6: a NUL byte, so this is no YANG text");
}

TEST(KestrelErrors, StatementsNestedBeyondReason) {
  std::string text = "module m { namespace \"urn:m\"; prefix m;\n";
  for (int i = 0; i < 100000; ++i) text += "container c {\n";
  EXPECT_EQ(error_of({{"m.yang", text}}), "m.yang:201: statements are nested too deeply");
}

TEST(KestrelErrors, NothingIsEverPrinted) {
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  error_of({{"m.yang", module_m("  leaf x { tipe string; }")}});
  error_of({{"m.yang", module_m("  leaf x { type nothing; }")}});
  error_of({{"m.yang", module_m("  import nowhere { prefix n; }")}});
  // A warning: the must compares with a value that the leaf cannot have.
  EXPECT_EQ(
      error_of({{"m.yang", module_m("  leaf e { type enumeration { enum a; } }\n"
                                    "  leaf x { must \"../e = 'b'\"; type string; }\n"
                                    "  leaf y { must \"../nothing = 'b'\"; type string; }")}}),
      "");
  const std::string out = testing::internal::GetCapturedStdout();
  const std::string err = testing::internal::GetCapturedStderr();
  EXPECT_EQ(out, "");
  EXPECT_EQ(err, "");
}

TEST(KestrelErrors, TheTextLeavesOutWhatIsNotKnown) {
  EXPECT_EQ((kestrel::LoadError{"f", 3, "m"}.text()), "f:3: m");
  EXPECT_EQ((kestrel::LoadError{"f", 0, "m"}.text()), "f: m");
  EXPECT_EQ((kestrel::LoadError{"", 0, "m"}.text()), "m");
}

}  // namespace
}  // namespace nexa_test
