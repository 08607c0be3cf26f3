// The value type code of every YANG type. The numbers are an interface: they are typed out here.
#include <gtest/gtest.h>
#include <libyang/libyang.h>

#include <set>
#include <string>

#include "kestrel/loader.h"
#include "real/schema_text.h"
#include "real/temp_folder.h"

namespace nexa_test {
namespace {

// Whether readers of the schema take a code for a leaf's.
bool counts_as_leaf(std::uint32_t code) {
  return (code >= 4 && code <= 20) || code == 23 || (code >= 27 && code <= 30) || code == 35 ||
         (code >= 39 && code <= 44) || (code >= 46 && code <= 50);
}

std::uint32_t code_of(std::string_view leaf) {
  const kestrel_cs_node* const node = find_node("m", leaf);
  EXPECT_NE(node, nullptr) << leaf;
  return node == nullptr ? 0 : node->shallow_type;
}

TEST(KestrelTypes, EveryBuiltInTypeHasItsCode) {
  ASSERT_EQ(load_module("m", R"(module m { yang-version 1.1; namespace "urn:m"; prefix m;
    identity base-id;
    leaf string { type string; }
    leaf int8 { type int8; }
    leaf int16 { type int16; }
    leaf int32 { type int32; }
    leaf int64 { type int64; }
    leaf uint8 { type uint8; }
    leaf uint16 { type uint16; }
    leaf uint32 { type uint32; }
    leaf uint64 { type uint64; }
    leaf decimal64 { type decimal64 { fraction-digits 2; } }
    leaf boolean { type boolean; }
    leaf enumeration { type enumeration { enum a; } }
    leaf bits { type bits { bit a; } }
    leaf binary { type binary; }
    leaf empty { type empty; }
    leaf union { type union { type string; type int8; } }
    leaf instance-identifier { type instance-identifier; }
    leaf identityref { type identityref { base base-id; } } })"),
            "");
  const std::pair<const char*, std::uint32_t> expected[] = {
      {"string", 4},
      {"int8", 5},
      {"int16", 6},
      {"int32", 7},
      {"int64", 8},
      {"uint8", 9},
      {"uint16", 10},
      {"uint32", 11},
      {"uint64", 12},
      {"decimal64", 13},
      {"boolean", 14},
      {"enumeration", 15},
      {"bits", 16},
      {"binary", 17},
      {"empty", 18},
      {"union", 19},
      {"instance-identifier", 20},
      {"identityref", 44},
  };
  std::set<std::uint32_t> codes;
  for (const auto& [leaf, code] : expected) {
    EXPECT_EQ(code_of(leaf), code) << leaf;
    EXPECT_TRUE(counts_as_leaf(code)) << leaf;
    EXPECT_TRUE(codes.insert(code).second) << leaf;
    EXPECT_EQ(find_node("m", leaf)->flags, 0U) << leaf;
  }
}

TEST(KestrelTypes, DerivedTypesWithValuesOfTheirOwnHaveACode) {
  ASSERT_EQ(load_module("m", R"(module m { namespace "urn:m"; prefix m;
    import ietf-inet-types { prefix inet; }
    import ietf-yang-types { prefix yang; }
    typedef mine { type inet:ipv4-prefix; }
    leaf time { type yang:date-and-time; }
    leaf v4 { type inet:ipv4-address; }
    leaf v6 { type inet:ipv6-address; }
    leaf p4 { type inet:ipv4-prefix; }
    leaf p6 { type inet:ipv6-prefix; }
    leaf n4 { type inet:ipv4-address-no-zone; }
    leaf n6 { type inet:ipv6-address-no-zone; }
    leaf xpath { type yang:xpath1.0; }
    leaf of-mine { type mine; }
    leaf mac { type yang:mac-address; }
    leaf any-address { type inet:ip-address; } })"),
            "");
  const std::pair<const char*, std::uint32_t> expected[] = {
      {"time", 23},
      {"v4", 27},
      {"v6", 28},
      {"p4", 29},
      {"p6", 30},
      {"n4", 39},
      {"n6", 40},
      {"xpath", 35},
      {"of-mine", 29},
      // Types whose values libyang does not tell from those of their base: a string, a union.
      {"mac", 4},
      {"any-address", 19},
  };
  for (const auto& [leaf, code] : expected) {
    EXPECT_EQ(code_of(leaf), code) << leaf;
    EXPECT_TRUE(counts_as_leaf(code)) << leaf;
  }
}

TEST(KestrelTypes, ALeafrefHasBitFourteenAndTheCodeAtTheEndOfItsChain) {
  ASSERT_EQ(load_module("m", R"(module m { namespace "urn:m"; prefix m;
    identity base-id;
    leaf number { type uint32; }
    leaf id { type identityref { base base-id; } }
    leaf to-number { type leafref { path "/m:number"; } }
    leaf to-leafref { type leafref { path "/m:to-number"; } }
    leaf to-id { type leafref { path "/m:id"; } }
    leaf one-of { type union { type leafref { path "/m:number"; } type string; } } })"),
            "");
  EXPECT_EQ(find_node("m", "to-number")->flags, 0x4000U);
  EXPECT_EQ(code_of("to-number"), 11U);
  EXPECT_EQ(find_node("m", "to-leafref")->flags, 0x4000U);
  EXPECT_EQ(code_of("to-leafref"), 11U);
  EXPECT_EQ(find_node("m", "to-id")->flags, 0x4000U);
  EXPECT_EQ(code_of("to-id"), 44U);
  EXPECT_EQ(find_node("m", "one-of")->flags, 0U) << "a union is no leafref, whatever its members";
  EXPECT_EQ(code_of("one-of"), 19U);
}

TEST(KestrelTypes, InteriorNodesHaveNoLeafCode) {
  ASSERT_EQ(load_module("m", R"(module m { namespace "urn:m"; prefix m;
    container c { leaf x { type string; } }
    list l { key k; leaf k { type string; } } })"),
            "");
  EXPECT_EQ(code_of("c"), 0U);
  EXPECT_EQ(code_of("l"), 0U);
  EXPECT_EQ(code_of("gnmi-model-data"), 0U);
  EXPECT_FALSE(counts_as_leaf(0));
}

// A text has a length and no end.
TEST(KestrelTypes, ADateWithAZeroByteIsRefused) {
  ASSERT_EQ(load_module("d", R"(module d { yang-version 1.1; namespace "urn:d"; prefix d;
    import ietf-yang-types { prefix yang; }
    leaf time { type yang:date-and-time; } })"),
            "");
  const lysc_node* const leaf = lys_find_path(kestrel::context(), nullptr, "/d:time", 0);
  ASSERT_NE(leaf, nullptr);
  std::string text = "2026-11-22T10:00:00Z";
  const auto verdict = [&] {
    return lyd_value_validate(kestrel::context(), leaf, text.data(), text.size(), nullptr, nullptr,
                              nullptr);
  };
  EXPECT_EQ(verdict(), LY_SUCCESS);
  for (const std::size_t at : {std::size_t{0}, std::size_t{4}, text.size() - 1}) {
    text = "2026-11-22T10:00:00Z";
    text[at] = '\0';
    EXPECT_NE(verdict(), LY_SUCCESS) << at;
  }
}

}  // namespace
}  // namespace nexa_test
