// Problems that libyang finds after it has parsed the text, which it names by a path: the line of
// the statement is found all the same.
#include <gtest/gtest.h>

#include <string>

#include "real/temp_folder.h"

#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define NEXA_HAS_LEAK_CHECK 1
#endif
#elif defined(__SANITIZE_ADDRESS__)
#define NEXA_HAS_LEAK_CHECK 1
#endif
#ifdef NEXA_HAS_LEAK_CHECK
#include <sanitizer/lsan_interface.h>
#endif

namespace nexa_test {
namespace {

// What is allocated while this lives is not searched for leaks.
class LeakCheckOff {
 public:
#ifdef NEXA_HAS_LEAK_CHECK
  LeakCheckOff() { __lsan_disable(); }
  ~LeakCheckOff() { __lsan_enable(); }
#else
  LeakCheckOff() {}
  ~LeakCheckOff() {}
#endif
  LeakCheckOff(const LeakCheckOff&) = delete;
  LeakCheckOff& operator=(const LeakCheckOff&) = delete;
};

// "m.yang:line" of the error that the body of a module causes; the body begins on line 2.
std::string place_of(const std::string& body) {
  const TempFolder folder;
  folder.write("m.yang",
               "module m { yang-version 1.1; namespace \"urn:m\"; prefix m;\n" + body + "\n}");
  const std::optional<kestrel::LoadError> error = kestrel::load(options_for(folder));
  if (!error) return "no error";
  EXPECT_EQ(error->file, folder.file("m.yang")) << error->text();
  EXPECT_NE(error->message, "");
  return "m.yang:" + std::to_string(error->line);
}

TEST(KestrelErrorPlaces, UnknownType) {
  EXPECT_EQ(place_of("container c {\n leaf x {\n  description \"d\";\n  type nothing; } }"),
            "m.yang:5");
}

TEST(KestrelErrorPlaces, LeafrefWithoutTarget) {
  EXPECT_EQ(place_of("container c {\n leaf x { type leafref { path \"../nothing\"; } } }"),
            "m.yang:3");
}

TEST(KestrelErrorPlaces, AugmentWithoutTarget) {
  EXPECT_EQ(place_of("container c;\naugment \"/m:c/m:d\" { leaf x { type string; } }"), "m.yang:3");
}

TEST(KestrelErrorPlaces, DeviationWithoutTarget) {
  EXPECT_EQ(place_of("container c;\n\ndeviation /m:d { deviate not-supported; }"), "m.yang:4");
}

TEST(KestrelErrorPlaces, UnknownGrouping) {
  EXPECT_EQ(place_of("container c {\n uses nothing; }"), "m.yang:3");
}

TEST(KestrelErrorPlaces, AProblemInsideAGroupingNamesTheGroupingsLine) {
  EXPECT_EQ(place_of("grouping g {\n container in {\n  leaf x { type nothing; } } }\n"
                     "container c { uses g; }"),
            "m.yang:4");
}

TEST(KestrelErrorPlaces, UnknownFeatureInACondition) {
  const LeakCheckOff off;  // libyang 2.1.30 loses 17 bytes when it refuses a condition
  EXPECT_EQ(place_of("leaf x {\n if-feature nothing; type string; }"), "m.yang:3");
}

TEST(KestrelErrorPlaces, UnknownBaseOfAnIdentity) {
  EXPECT_EQ(place_of("identity a;\nidentity b {\n base nothing; }"), "m.yang:3");
}

TEST(KestrelErrorPlaces, UnknownKey) {
  EXPECT_EQ(place_of("\nlist l {\n key nothing; leaf x { type string; } }"), "m.yang:4");
}

TEST(KestrelErrorPlaces, TwoNodesOfOneName) {
  EXPECT_EQ(place_of("container c {\n leaf x { type string; }\n leaf x { type string; } }"),
            "m.yang:3");
}

TEST(KestrelErrorPlaces, DefaultOutOfRange) {
  EXPECT_EQ(place_of("leaf x {\n type int8 { range 1..5; }\n default 9; }"), "m.yang:4");
}

TEST(KestrelErrorPlaces, InsideTheCaseThatALoneNodeImplies) {
  EXPECT_EQ(place_of("choice ch {\n container c {\n  leaf x { type nothing; } } }"), "m.yang:4");
}

TEST(KestrelErrorPlaces, InsideAnAction) {
  EXPECT_EQ(place_of("container c { action a {\n input {\n leaf x { type nothing; } } } }"),
            "m.yang:4");
}

TEST(KestrelErrorPlaces, UnknownPrefixOfAnExtension) {
  EXPECT_EQ(place_of("container c;\nnothing:at-all \"x\";"), "m.yang:3");
}

TEST(KestrelErrorPlaces, UnknownExtension) {
  EXPECT_EQ(place_of("container c;\nm:nothing \"x\";"), "m.yang:3");
}

TEST(KestrelErrorPlaces, TwoFeaturesOfOneName) {
  EXPECT_EQ(place_of("container c;\nfeature f;\nfeature f;"), "m.yang:3");
}

TEST(KestrelErrorPlaces, InsideTheUseOfAnExtension) {
  EXPECT_EQ(place_of("import ietf-yang-metadata { prefix md; }\ncontainer c;\n"
                     "md:annotation a {\n type nothing; }"),
            "m.yang:5");
}

TEST(KestrelErrorPlaces, InAnAugmentOfAnotherModulesTree) {
  const TempFolder folder;
  folder.write("base.yang", R"(module base { namespace "urn:b"; prefix b; container c; })");
  folder.write("m.yang",
               "module m { namespace \"urn:m\"; prefix m; import base { prefix b; }\n"
               "augment /b:c {\n container d {\n  leaf x {\n"
               "  type leafref { path ../nothing; } } } } }");
  const std::optional<kestrel::LoadError> error = kestrel::load(options_for(folder));
  ASSERT_TRUE(error.has_value());
  EXPECT_EQ(error->file, folder.file("m.yang"));
  EXPECT_EQ(error->line, 4U) << error->text();
}

}  // namespace
}  // namespace nexa_test
