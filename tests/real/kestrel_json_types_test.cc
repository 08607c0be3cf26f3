// Which types mix JSON types, and what libyang's plugins make of a text with each set of hints.
#include "kestrel/json_types.h"

#include <gtest/gtest.h>
#include <libyang/libyang.h>
#include <libyang/plugins_types.h>

#include <string>

#include "kestrel/loader.h"
#include "real/temp_folder.h"

namespace nexa_test {
namespace {

using kestrel::Written;

constexpr char kModule[] = R"(module m { yang-version 1.1; namespace "urn:m"; prefix m;
    identity id;
    leaf string { type string; }
    leaf number { type int8; }
    leaf strings { type union { type string; type int64; type identityref { base id; } } }
    leaf bare { type union { type int8; type boolean; type empty; } }
    leaf number-or-string { type union { type int32; type string; } }
    leaf empty-or-enum { type union { type empty; type enumeration { enum a; } } }
    leaf boolean-or-large { type union { type boolean; type uint64; } }
    leaf nested { type union { type union { type int8; type boolean; } type decimal64 { fraction-digits 2; } } }
    leaf to-mixed { type leafref { path "/m:number-or-string"; } }
    leaf one-of { type union { type leafref { path "/m:number"; } type string; } }
    leaf-list many { type union { type uint8; type string; } } })";

const lysc_node* node(const char* name) {
  return lys_find_path(kestrel::context(), nullptr, ("/m:" + std::string(name)).c_str(), 0);
}

const lysc_type* type_of(const lysc_node* leaf) {
  return leaf->nodetype == LYS_LEAF ? reinterpret_cast<const lysc_node_leaf*>(leaf)->type
                                    : reinterpret_cast<const lysc_node_leaflist*>(leaf)->type;
}

TEST(KestrelJsonTypes, AUnionOfStringsAndOthersMixesThem) {
  ASSERT_EQ(load_module("m", kModule), "");
  for (const char* name : {"number-or-string", "empty-or-enum", "boolean-or-large", "nested",
                           "to-mixed", "one-of", "many"}) {
    EXPECT_TRUE(kestrel::mixes_json_types(type_of(node(name)))) << name;
  }
  for (const char* name : {"string", "number", "strings", "bare"}) {
    EXPECT_FALSE(kestrel::mixes_json_types(type_of(node(name)))) << name;
  }
}

// The base type of the member that takes the text; LY_TYPE_UNKNOWN when none does.
LY_DATA_TYPE member_of(const char* name, const std::string& text, Written written) {
  const lysc_node* const leaf = node(name);
  const lysc_type* const type = type_of(leaf);
  lyd_value value{};
  ly_err_item* problem = nullptr;
  const LY_ERR done =
      type->plugin->store(kestrel::context(), type, text.data(), text.size(), 0, LY_VALUE_JSON,
                          nullptr, kestrel::hints_of(written), leaf, &value, nullptr, &problem);
  ly_err_free(problem);
  if (done != LY_SUCCESS) return LY_TYPE_UNKNOWN;
  const LY_DATA_TYPE member = value.subvalue->value.realtype->basetype;
  type->plugin->free(kestrel::context(), &value);
  return member;
}

TEST(KestrelJsonTypes, HintsChooseTheMember) {
  ASSERT_EQ(load_module("m", kModule), "");
  EXPECT_EQ(member_of("number-or-string", "5", Written::kNumber), LY_TYPE_INT32);
  EXPECT_EQ(member_of("number-or-string", "5", Written::kString), LY_TYPE_STRING);
  EXPECT_EQ(member_of("number-or-string", "5", Written::kText), LY_TYPE_INT32);
  EXPECT_EQ(member_of("number-or-string", "a", Written::kNumber), LY_TYPE_UNKNOWN);
  EXPECT_EQ(member_of("boolean-or-large", "5", Written::kString), LY_TYPE_UINT64);
  EXPECT_EQ(member_of("boolean-or-large", "true", Written::kBoolean), LY_TYPE_BOOL);
  EXPECT_EQ(member_of("boolean-or-large", "true", Written::kString), LY_TYPE_UNKNOWN);
  EXPECT_EQ(member_of("empty-or-enum", "", Written::kEmpty), LY_TYPE_EMPTY);
  EXPECT_EQ(member_of("empty-or-enum", "", Written::kNull), LY_TYPE_UNKNOWN);
}

}  // namespace
}  // namespace nexa_test
