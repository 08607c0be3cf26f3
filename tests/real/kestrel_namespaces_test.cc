// The namespace list: which modules stand in it, with which prefix, and what each announces.
#include <gtest/gtest.h>

#include <map>
#include <set>
#include <string>
#include <vector>

#include "real/schema_text.h"
#include "real/temp_folder.h"
#include "support/log_capture.h"

namespace nexa_test {
namespace kestrel_namespaces_test {

using Names = std::vector<std::string>;
using Meta = std::map<std::string, std::string>;

std::string module_text(const std::string& name, const std::string& prefix,
                        const std::string& body = {}) {
  return "module " + name + " { namespace \"urn:" + name + "\"; prefix " + prefix + "; " + body +
         " }";
}

TEST(KestrelNamespaces, AnEntrySaysWhatTheModuleDeclares) {
  ASSERT_EQ(load_module("m", R"(module m { namespace "urn:example:m"; prefix px;
    revision 2024-05-06; revision 2020-01-01; leaf x { type string; } })"),
            "");
  const KestrelNsEntry entry = entry_of("m");
  EXPECT_STREQ(entry.uri, "urn:example:m");
  EXPECT_STREQ(entry.prefix, "px");
  EXPECT_STREQ(entry.revision, "2024-05-06");
  EXPECT_STREQ(entry.module, "m");
  EXPECT_EQ(entry.hash, kestrel_str2hash("urn:example:m"));
  EXPECT_NE(entry.hash, 0U);
}

TEST(KestrelNamespaces, AModuleWithoutRevisionHasAnEmptyOne) {
  ASSERT_EQ(load_module("m", module_text("m", "m")), "");
  EXPECT_STREQ(entry_of("m").revision, "");
  EXPECT_EQ(model_data("m").at("semver"), "");
}

TEST(KestrelNamespaces, ModulesOfLibyangItselfAreListedOnlyWhenSomebodyNeedsThem) {
  ASSERT_EQ(load_module("m", module_text("m", "m", "leaf x { type string; }")), "");
  EXPECT_EQ(listed_modules(), (Names{"m"}));
  ASSERT_EQ(load_module("m", module_text("m", "m",
                                         "import ietf-yang-types { prefix y; } "
                                         "leaf x { type y:counter32; }")),
            "");
  EXPECT_EQ(listed_modules(), (Names{"ietf-yang-types", "m"}));
  const TempFolder folder;
  ASSERT_EQ(load_text(folder, {"ietf-yang-schema-mount"}), "");
  EXPECT_EQ(first_root("ietf-yang-schema-mount")->children != nullptr, true);
}

// Values may name identities of a module that has no nodes.
TEST(KestrelNamespaces, AnImportedModuleOfDefinitionsIsListedAndImplemented) {
  const TempFolder folder;
  folder.write("types.yang",
               module_text("types", "t", "identity base; identity one { base base; }"));
  folder.write("m.yang", module_text("m", "m",
                                     "import types { prefix t; } "
                                     "leaf x { type identityref { base t:base; } }"));
  ASSERT_EQ(load_text(folder, {"m"}), "");
  EXPECT_EQ(listed_modules(), (Names{"m", "types"}));
  EXPECT_EQ(names_from(first_root("types")), (Names{"gnmi-model-data"}));
  EXPECT_EQ(model_data("types").at("module-name"), "types");
}

// Imported for a grouping: its own nodes are no part of this schema, so nothing may announce them.
TEST(KestrelNamespaces, AnImportedModuleWithNodesOfItsOwnIsNoPartOfTheSchema) {
  const TempFolder folder;
  folder.write("lib.yang", module_text("lib", "l",
                                       "grouping g { leaf y { type string; } } "
                                       "container tree { leaf z { type string; } }"));
  folder.write("m.yang",
               module_text("m", "m", "import lib { prefix l; } container c { uses l:g; }"));
  ASSERT_EQ(load_text(folder, {"m"}), "");
  EXPECT_EQ(listed_modules(), (Names{"m"}));
  EXPECT_EQ(kestrel_str2hash("tree"), 0U);
  EXPECT_NE(find_node("m", "c/y"), nullptr);
  ASSERT_EQ(load_text(folder, {"m", "lib"}), "");
  EXPECT_EQ(listed_modules(), (Names{"m", "lib"}));
}

TEST(KestrelNamespaces, TheTargetOfAnAugmentOrLeafrefIsPartOfTheSchema) {
  const TempFolder folder;
  folder.write("base.yang", module_text("base", "b", "container c { leaf t { type string; } }"));
  folder.write("other.yang", module_text("other", "o", "leaf target { type uint8; }"));
  folder.write("m.yang",
               module_text("m", "m",
                           "import base { prefix b; } import other { prefix o; } "
                           "augment /b:c { leaf x { type leafref { path /o:target; } } }"));
  ASSERT_EQ(load_text(folder, {"m"}), "");
  const Names listed = listed_modules();
  EXPECT_EQ(std::set<std::string>(listed.begin(), listed.end()),
            (std::set<std::string>{"m", "base", "other"}));
  EXPECT_NE(find_node("base", "c/x"), nullptr);
  EXPECT_EQ(find_node("base", "c/x")->shallow_type, 9U);
}

TEST(KestrelPrefixes, ALaterModuleGetsAUniquePrefixAndThatIsLogged) {
  LogCapture log(GPR_LOG_SEVERITY_INFO);
  const TempFolder folder;
  folder.write("a.yang", module_text("a", "p"));
  folder.write("b.yang", module_text("b", "p"));
  folder.write("c.yang", module_text("c", "p"));
  ASSERT_EQ(load_text(folder), "");
  EXPECT_STREQ(entry_of("a").prefix, "p");
  EXPECT_STREQ(entry_of("b").prefix, "p-2");
  EXPECT_STREQ(entry_of("c").prefix, "p-3");
  EXPECT_EQ(log.take(),
            (Lines{{GPR_LOG_SEVERITY_INFO, "platform/kestrel/src/unique_prefixes.cc",
                    "module b declares the prefix p of another module and is known as p-2"},
                   {GPR_LOG_SEVERITY_INFO, "platform/kestrel/src/unique_prefixes.cc",
                    "module c declares the prefix p of another module and is known as p-3"}}));
}

TEST(KestrelPrefixes, AnInventedPrefixNeverMeetsADeclaredOne) {
  LogCapture log(GPR_LOG_SEVERITY_INFO);
  const TempFolder folder;
  folder.write("a.yang", module_text("a", "p"));
  folder.write("b.yang", module_text("b", "p"));
  folder.write("z.yang", module_text("z", "p-2"));
  ASSERT_EQ(load_text(folder), "");
  EXPECT_STREQ(entry_of("a").prefix, "p");
  EXPECT_STREQ(entry_of("b").prefix, "p-3");
  EXPECT_STREQ(entry_of("z").prefix, "p-2");
  EXPECT_EQ(log.take().size(), 1U);
}

TEST(KestrelPrefixes, UniquePrefixesAreLeftAloneInSilence) {
  LogCapture log;
  const TempFolder folder;
  folder.write("a.yang", module_text("a", "p"));
  folder.write("b.yang", module_text("b", "q"));
  ASSERT_EQ(load_text(folder), "");
  EXPECT_STREQ(entry_of("b").prefix, "q");
  EXPECT_EQ(log.take(), Lines{});
}

TEST(KestrelModelData, StandsLastAmongTheRootsWithBitEight) {
  ASSERT_EQ(load_module("m", R"(module m { namespace "urn:m"; prefix m;
    organization "  The
      Example   Group ";
    revision 2024-05-06;
    container a; container b; })"),
            "");
  EXPECT_EQ(names_from(first_root("m")), (Names{"a", "b", "gnmi-model-data"}));
  const kestrel_cs_node* const node = find_node("m", "gnmi-model-data");
  EXPECT_EQ(node->flags, 0x100U);
  EXPECT_EQ(node->ns, entry_of("m").hash);
  EXPECT_EQ(node->parent, nullptr);
  EXPECT_EQ(node->children, nullptr);
  EXPECT_EQ(node->next, nullptr);
  EXPECT_EQ(node->keys, nullptr);
  EXPECT_EQ(model_data("m"), (Meta{{"module-name", "m"},
                                   {"organization", "The Example Group"},
                                   {"semver", "2024-05-06"}}));
  EXPECT_EQ(kestrel::node_count(), 2U);
  EXPECT_EQ(find_node("m", "a")->meta_data, nullptr);
}

TEST(KestrelModelData, TheOpenconfigVersionComesBeforeTheRevision) {
  const TempFolder folder;
  folder.write("openconfig-extensions.yang",
               module_text("openconfig-extensions", "oc-ext",
                           "extension openconfig-version { argument semver; }"));
  folder.write("m.yang", R"(module m { namespace "urn:m"; prefix m;
    import openconfig-extensions { prefix oc-ext; }
    organization "o";
    oc-ext:openconfig-version "4.3.2";
    revision 2024-05-06; })");
  ASSERT_EQ(load_text(folder, {"m"}), "");
  EXPECT_EQ(model_data("m"),
            (Meta{{"module-name", "m"}, {"organization", "o"}, {"semver", "4.3.2"}}));
}

TEST(KestrelModelData, AnExtensionOfTheSameNameOfAnotherModuleIsNoVersion) {
  const TempFolder folder;
  folder.write("ext.yang",
               module_text("ext", "e", "extension openconfig-version { argument semver; }"));
  folder.write("m.yang", R"(module m { namespace "urn:m"; prefix m; import ext { prefix e; }
    e:openconfig-version "9.9.9"; revision 2024-05-06; })");
  ASSERT_EQ(load_text(folder, {"m"}), "");
  EXPECT_EQ(model_data("m"),
            (Meta{{"module-name", "m"}, {"organization", ""}, {"semver", "2024-05-06"}}));
}

TEST(KestrelModelData, AModuleWithoutNodesCarriesIt) {
  ASSERT_EQ(load_module("m", module_text("m", "m", "typedef t { type string; }")), "");
  EXPECT_EQ(names_from(first_root("m")), (Names{"gnmi-model-data"}));
}

}  // namespace kestrel_namespaces_test
}  // namespace nexa_test
