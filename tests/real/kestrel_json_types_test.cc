// Which types mix JSON types, and what libyang's plugins make of a text with each set of hints.
#include "kestrel/json_types.h"

#include <gtest/gtest.h>
#include <libyang/libyang.h>
#include <libyang/plugins_types.h>

#include <string>

#include "kestrel/loader.h"
#include "real/temp_folder.h"

namespace nexa_test {
namespace kestrel_json_types_test {

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

// Every text of up to three letters, taken from those that numbers, booleans, addresses and names
// are written with: what is called only a string is read alike with all hints, and as nothing with
// those of the other JSON types.
TEST(KestrelJsonTypes, OnlyAStringIsReadAlikeWithAllHints) {
  ASSERT_EQ(load_module("m", kModule), "");
  constexpr std::string_view kLetters = "015afxX+-. \tgt:_";
  std::vector<std::string> texts = {"",
                                    "true",
                                    "false",
                                    "True",
                                    "0x1f",
                                    "017",
                                    "10.0.0.1",
                                    "2001:db8::1",
                                    "1.5",
                                    "-1",
                                    "18446744073709551615",
                                    "one"};
  const std::size_t count = kLetters.size();
  for (std::size_t i = 0; i < count * count * count; ++i) {
    std::string text;
    for (std::size_t rest = i; rest != 0; rest /= count) text.push_back(kLetters[rest % count]);
    texts.push_back(text);
  }
  int strings = 0;
  for (const std::string& text : texts) {
    if (!kestrel::is_only_a_string(text)) continue;
    ++strings;
    for (const char* name : {"number-or-string", "boolean-or-large", "nested", "one-of"}) {
      EXPECT_EQ(member_of(name, text, Written::kText), member_of(name, text, Written::kString))
          << name << " " << text;
      for (const Written other : {Written::kNumber, Written::kBoolean, Written::kEmpty}) {
        EXPECT_EQ(member_of(name, text, other), LY_TYPE_UNKNOWN) << name << " " << text;
      }
    }
  }
  EXPECT_GT(strings, 1000);
  for (const char* text : {"", "true", "false", "0", "-1", "+1", "1.5", " 1", "0x1f", "face"}) {
    EXPECT_FALSE(kestrel::is_only_a_string(text)) << text;
  }
  for (const char* text : {"10.0.0.1", "2001:db8::1", "True", "eth0", "10/24", "1,5"}) {
    EXPECT_TRUE(kestrel::is_only_a_string(text)) << text;
  }
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

}  // namespace kestrel_json_types_test
}  // namespace nexa_test
