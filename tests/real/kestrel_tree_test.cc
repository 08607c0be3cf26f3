// What the records of the tree say about a module's nodes.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "real/schema_text.h"
#include "real/temp_folder.h"

namespace nexa_test {
namespace kestrel_tree_test {

using Names = std::vector<std::string>;

std::uint32_t flags_of(std::string_view path) {
  const kestrel_cs_node* const node = find_node("m", path);
  EXPECT_NE(node, nullptr) << path;
  return node == nullptr ? 0xffffffffU : node->flags;
}

TEST(KestrelTree, SiblingsStandInSchemaOrderBehindTheParent) {
  ASSERT_EQ(load_module("m", R"(module m { namespace "urn:m"; prefix m;
    container one { leaf z { type string; } container a { leaf deep { type string; } }
                    leaf y { type string; } }
    leaf two { type string; }
    container three; })"),
            "");
  EXPECT_EQ(names_from(first_root("m")), (Names{"one", "two", "three", "gnmi-model-data"}));
  kestrel_cs_node* const one = find_node("m", "one");
  EXPECT_EQ(names_from(one->children), (Names{"z", "a", "y"}));
  EXPECT_EQ(one->parent, nullptr);
  for (const kestrel_cs_node* child = one->children; child != nullptr; child = child->next) {
    EXPECT_EQ(child->parent, one);
  }
  EXPECT_EQ(find_node("m", "one/a/deep")->parent, find_node("m", "one/a"));
  EXPECT_EQ(find_node("m", "three")->children, nullptr);
  EXPECT_EQ(kestrel::node_count(), 7U);
}

TEST(KestrelTree, ChoiceAndCaseAreFlattenedAway) {
  ASSERT_EQ(load_module("m", R"(module m { namespace "urn:m"; prefix m;
    container c {
      leaf first { type string; }
      choice ch {
        case one { leaf a { type string; } leaf b { type string; } }
        case two { choice inner { leaf d { type string; } container e { leaf f { type string; } } } }
        leaf alone { type string; }
      }
      leaf last { type string; }
    }
    choice top { leaf at-top { type string; } } })"),
            "");
  EXPECT_EQ(names_from(find_node("m", "c")->children),
            (Names{"first", "a", "b", "d", "e", "alone", "last"}));
  EXPECT_EQ(find_node("m", "c/d")->parent, find_node("m", "c"));
  EXPECT_EQ(names_from(first_root("m")), (Names{"c", "at-top", "gnmi-model-data"}));
  EXPECT_EQ(kestrel_str2hash("inner"), 0U) << "a choice's name is no name of the tree";
}

TEST(KestrelTree, OperationsAndNotificationsAreLeftOut) {
  ASSERT_EQ(load_module("m", R"(module m { yang-version 1.1; namespace "urn:m"; prefix m;
    container c { leaf a { type string; } action act { input { leaf i { type string; } } }
                  notification inside { leaf n { type string; } } }
    rpc call { input { leaf i { type string; } } output { leaf o { type string; } } }
    notification event { leaf n { type string; } } })"),
            "");
  EXPECT_EQ(names_from(first_root("m")), (Names{"c", "gnmi-model-data"}));
  EXPECT_EQ(names_from(find_node("m", "c")->children), (Names{"a"}));
  for (const char* name : {"act", "inside", "call", "event", "i", "o", "n"}) {
    EXPECT_EQ(kestrel_str2hash(name), 0U) << name;
  }
}

TEST(KestrelTree, StateNodesAreInAndMarked) {
  ASSERT_EQ(load_module("m", R"(module m { namespace "urn:m"; prefix m;
    container config { leaf a { type string; } }
    container state { config false; leaf b { type string; } } })"),
            "");
  EXPECT_EQ(flags_of("config/a"), 0U);
  EXPECT_EQ(flags_of("state"), 0x40000U);
  EXPECT_EQ(flags_of("state/b"), 0x40000U);
}

TEST(KestrelTree, ListsHaveBitZeroAndTheirKeysInOrder) {
  ASSERT_EQ(load_module("m", R"(module m { namespace "urn:m"; prefix m;
    list l { key "second first"; leaf x { type string; } leaf first { type string; }
             leaf second { type string; } }
    list bare { config false; leaf v { type string; } } })"),
            "");
  const kestrel_cs_node* const list = find_node("m", "l");
  EXPECT_EQ(list->flags, 0x1U);
  EXPECT_EQ(list->shallow_type, 0U);
  EXPECT_EQ(key_names(*list), (Names{"second", "first"}));
  EXPECT_EQ(list->keys[2], 0U);
  EXPECT_EQ(names_from(list->children), (Names{"second", "first", "x"})) << "keys come first";
  EXPECT_EQ(find_node("m", "bare")->flags, 0x40001U);
  EXPECT_EQ(find_node("m", "bare")->keys, nullptr);
}

TEST(KestrelTree, LeafListsHaveBitsZeroAndThirteen) {
  ASSERT_EQ(load_module("m", R"(module m { namespace "urn:m"; prefix m;
    leaf-list ll { type uint8; }
    leaf target { type int16; }
    leaf-list refs { type leafref { path "/m:target"; } } })"),
            "");
  EXPECT_EQ(flags_of("ll"), 0x2001U);
  EXPECT_EQ(find_node("m", "ll")->shallow_type, 9U);
  EXPECT_EQ(find_node("m", "ll")->keys, nullptr);
  EXPECT_EQ(flags_of("refs"), 0x6001U);
  EXPECT_EQ(find_node("m", "refs")->shallow_type, 6U);
}

TEST(KestrelTree, PresenceContainersAreMarkedAndOthersAreNot) {
  ASSERT_EQ(load_module("m", R"yang(module m { namespace "urn:m"; prefix m;
    container p { presence "means something"; }
    container np { must "true()"; leaf a { type string; } }
    grouping g { container refined { leaf b { type string; } } }
    uses g { refine refined { presence "now it does"; } } })yang"),
            "");
  EXPECT_EQ(flags_of("p"), 0x10000U);
  EXPECT_EQ(flags_of("np"), 0U);
  EXPECT_EQ(flags_of("refined"), 0x10000U);
}

TEST(KestrelTree, AnydataAndAnyxmlAreMarkedAndNoLeaf) {
  ASSERT_EQ(load_module("m", R"(module m { yang-version 1.1; namespace "urn:m"; prefix m;
    anydata any; anyxml xml; })"),
            "");
  for (const char* name : {"any", "xml"}) {
    EXPECT_EQ(flags_of(name), 0x20000U) << name;
    EXPECT_EQ(find_node("m", name)->shallow_type, 0U) << name;
  }
}

TEST(KestrelTree, AugmentingNodesSitUnderTheirTargetWithTheirOwnNamespace) {
  const TempFolder folder;
  folder.write("base.yang", R"(module base { namespace "urn:base"; prefix b;
    container c { leaf own { type string; } } })");
  folder.write("more.yang", R"(module more { namespace "urn:more"; prefix m;
    import base { prefix base; }
    augment "/base:c" { leaf own { type string; } container added { leaf x { type string; } } } })");
  ASSERT_EQ(load_text(folder), "");
  const kestrel_cs_node* const container = find_node("base", "c");
  const std::uint32_t base = entry_of("base").hash;
  const std::uint32_t more = entry_of("more").hash;
  EXPECT_EQ(names_from(container->children), (Names{"own", "own", "added"}));
  EXPECT_EQ(container->children->ns, base);
  EXPECT_EQ(container->children->next->ns, more);
  EXPECT_EQ(find_node("base", "c/added/x")->ns, more);
  EXPECT_EQ(names_from(first_root("more")), (Names{"gnmi-model-data"}));

  // Two children of one name: the namespace tells them apart.
  const std::uint32_t own = kestrel_str2hash("own");
  EXPECT_EQ(kestrel_find_cs_node_child(container, own, base), container->children);
  EXPECT_EQ(kestrel_find_cs_node_child(container, own, more), container->children->next);
}

TEST(KestrelTree, NodesOfSubmodulesBelongToTheModule) {
  const TempFolder folder;
  folder.write("m.yang", R"(module m { namespace "urn:m"; prefix m; include part;
    container c { uses shared; } })");
  folder.write("part.yang", R"(submodule part { belongs-to m { prefix m; }
    grouping shared { leaf s { type string; } }
    container from-part { leaf p { type string; } } })");
  ASSERT_EQ(load_text(folder), "");
  EXPECT_EQ(listed_modules(), (Names{"m"}));
  EXPECT_EQ(names_from(first_root("m")), (Names{"c", "from-part", "gnmi-model-data"}));
  EXPECT_EQ(find_node("m", "from-part/p")->ns, entry_of("m").hash);
  EXPECT_NE(find_node("m", "c/s"), nullptr);
}

TEST(KestrelTree, SubmodulesMayIncludeSubmodulesThatTheModuleDoesNotName) {
  const TempFolder folder;
  folder.write("m.yang", R"(module m { namespace "urn:m"; prefix m;
    include outer;
    container c { uses inner-grouping; uses outer-grouping; } })");
  folder.write("outer.yang", R"(submodule outer { belongs-to m { prefix m; }
    include inner { revision-date 2020-02-02; }
    grouping outer-grouping { container o { uses inner-grouping; } } })");
  folder.write("inner.yang", R"(submodule inner { belongs-to m { prefix m; }
    include outer;
    revision 2020-02-02;
    grouping inner-grouping { leaf i { type string; } } })");
  ASSERT_EQ(load_text(folder), "");
  EXPECT_EQ(names_from(find_node("m", "c")->children), (Names{"i", "o"}));
  EXPECT_NE(find_node("m", "c/o/i"), nullptr);
}

TEST(KestrelTree, NodesOfDisabledFeaturesAndRemovedNodesAreOut) {
  const TempFolder folder;
  folder.write("m.yang", R"(module m { namespace "urn:m"; prefix m; feature f;
    leaf a { if-feature f; type string; } leaf b { type string; } leaf gone { type string; } })");
  folder.write("dev.yang", R"(module dev { namespace "urn:dev"; prefix d;
    import m { prefix m; } deviation "/m:gone" { deviate not-supported; } })");
  kestrel::LoadOptions options = options_for(folder);
  options.features["m"] = {};
  ASSERT_EQ(load_text(options), "");
  EXPECT_EQ(names_from(first_root("m")), (Names{"b", "gnmi-model-data"}));
}

}  // namespace kestrel_tree_test
}  // namespace nexa_test
