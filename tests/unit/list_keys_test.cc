// Swapping of contents, and the order that it brings to the members of list entries.
#include <cjson/cJSON.h>
#include <gtest/gtest.h>

#include <memory>

#include "nexa/cjson_csnode.h"
#include "support/fake_schema.h"
#include "support/log_capture.h"

namespace nexa_test {
namespace list_keys_test {

using nexa::cJsonCsnode;
using Tree = std::unique_ptr<cJSON, void (*)(cJSON*)>;
using Names = std::vector<std::string>;

Tree parse(const std::string& json) { return {cJSON_Parse(json.c_str()), &cJSON_Delete}; }

std::string print(const cJSON* tree) {
  const std::unique_ptr<char, decltype(&cJSON_free)> text(cJSON_PrintUnformatted(tree),
                                                          &cJSON_free);
  return text.get();
}

TEST(ListKeysSwap, ExchangesContentsAndLeavesPlaces) {
  const Tree tree = parse(R"({"a":{"in":[1]},"b":"text","c":7.5})");
  cJSON* a = tree->child;
  cJSON* b = a->next;
  cJSON* c = b->next;
  cJsonCsnode::swap_cjson_contents(a, c);
  EXPECT_EQ(print(tree.get()), R"({"c":7.5,"b":"text","a":{"in":[1]}})");
  EXPECT_EQ(a->valueint, 7);
  cJsonCsnode::swap_cjson_contents(b, a);
  EXPECT_EQ(print(tree.get()), R"({"b":"text","c":7.5,"a":{"in":[1]}})");
  EXPECT_EQ(tree->child, a);
  EXPECT_EQ(a->next, b);
  EXPECT_EQ(b->next, c);
  EXPECT_EQ(c->next, nullptr);
  EXPECT_EQ(c->prev, b);
  EXPECT_EQ(b->prev, a);
  EXPECT_EQ(a->prev, c);
}

TEST(ListKeysSwap, EqualItemsStayAsTheyAre) {
  const Tree tree = parse(R"({"a":{"in":1}})");
  cJsonCsnode::swap_cjson_contents(tree->child, tree->child);
  EXPECT_EQ(print(tree.get()), R"({"a":{"in":1}})");
}

TEST(ListKeysSwapDeathTest, NullItemStopsTheProcess) {
  const Tree tree = parse("1");
  EXPECT_DEATH(cJsonCsnode::swap_cjson_contents(nullptr, tree.get()),
               "Assertion `first && second' failed");
  EXPECT_DEATH(cJsonCsnode::swap_cjson_contents(tree.get(), nullptr),
               "Assertion `first && second' failed");
}

class ListKeysTest : public testing::Test {
 protected:
  // The members' names after ordering one entry.
  std::string ordered(const std::string& json, const Names& keys) {
    const Tree tree = parse(json);
    cJsonCsnode binding(tree.get(), list(keys));
    binding.reorder_cjson_object_according_to_keys();
    return print(tree.get());
  }
  FakeNode list(const Names& keys) { return module_.list("list", keys); }

  FakeSchema schema_;
  FakeModule& module_ = schema_.module("mod", "m", "urn:m");
};

TEST_F(ListKeysTest, KeysComeFirstInSchemaOrder) {
  EXPECT_EQ(ordered(R"({"b":1,"x":2,"a":3})", {"a", "b"}), R"({"a":3,"b":1,"x":2})");
  EXPECT_EQ(ordered(R"({"a":1,"b":2,"x":3})", {"a", "b"}), R"({"a":1,"b":2,"x":3})");
  EXPECT_EQ(ordered(R"({"c":1,"b":2,"a":3})", {"a", "b", "c"}), R"({"a":3,"b":2,"c":1})");
}

TEST_F(ListKeysTest, OtherMembersMoveWhereTheSwapsPutThem) {
  EXPECT_EQ(ordered(R"({"x":1,"y":2,"z":3,"a":4})", {"a"}), R"({"a":4,"y":2,"z":3,"x":1})");
  EXPECT_EQ(ordered(R"({"x":1,"y":2,"b":3,"a":4})", {"a", "b"}), R"({"a":4,"b":3,"y":2,"x":1})");
}

TEST_F(ListKeysTest, PrefixedKeyMemberIsFound) {
  EXPECT_EQ(ordered(R"({"x":1,"mod:a":2})", {"a"}), R"({"mod:a":2,"x":1})");
  EXPECT_EQ(ordered(R"({"x":1,"unknown:a":2})", {"a"}), R"({"unknown:a":2,"x":1})");
}

TEST_F(ListKeysTest, KeyNamesAreComparedWholeAndExactly) {
  for (const char* json : {R"({"x":1,"A":2})", R"({"x":1,"aa":2})", R"({"x":1,"m:ba":2})",
                           R"({"x":1,"m:n:a":2})", R"({"x":1,"a:b":2})", R"({"x":1,"":2})"}) {
    EXPECT_EQ(ordered(json, {"a"}), json);
  }
}

TEST_F(ListKeysTest, MissingKeyLeavesItsPlaceToOthers) {
  EXPECT_EQ(ordered(R"({"x":1,"y":2,"b":3})", {"a", "b"}), R"({"x":1,"b":3,"y":2})");
  EXPECT_EQ(ordered(R"({"b":1,"x":2})", {"a", "b"}), R"({"x":2,"b":1})");
}

TEST_F(ListKeysTest, EntryWithFewerMembersThanKeysSkipsTheSwap) {
  EXPECT_EQ(ordered(R"({"b":1})", {"a", "b"}), R"({"b":1})");
  EXPECT_EQ(ordered(R"({"c":1,"a":2})", {"a", "b", "c"}), R"({"a":2,"c":1})");
  EXPECT_EQ(ordered("{}", {"a", "b"}), "{}");
}

TEST_F(ListKeysTest, ScanGoesOnAfterASwap) {
  EXPECT_EQ(ordered(R"({"x":0,"a":1,"m:a":2})", {"a"}), R"({"m:a":2,"x":0,"a":1})");
}

TEST_F(ListKeysTest, NullKeyAndNamelessMembersAreLeftAlone) {
  const Tree tree = parse(R"([1,2])");
  cJsonCsnode binding(tree.get(), list({"a"}));
  binding.keys.push_back(nullptr);
  binding.reorder_cjson_object_according_to_keys();
  EXPECT_EQ(print(tree.get()), "[1,2]");
}

TEST_F(ListKeysTest, EveryEntryOfAnArrayIsOrdered) {
  const Tree tree = parse(R"([{"x":1,"a":2},{"a":3},7,[{"x":1,"a":2}],{"y":4,"m:a":5}])");
  cJsonCsnode binding(tree.get(), list({"a"}));
  binding.reorder_cjson_according_to_keys();
  EXPECT_EQ(print(tree.get()), R"([{"a":2,"x":1},{"a":3},7,[{"x":1,"a":2}],{"m:a":5,"y":4}])");
}

TEST_F(ListKeysTest, LinesOfOrderingAnEntry) {
  const Tree tree = parse(R"({"e":{"x":1,"m:b":2,"a":3}})");
  cJsonCsnode binding(tree->child, list({"a", "b"}));
  LogCapture log;
  binding.reorder_cjson_object_according_to_keys();
  const std::string in = "in reorder_cjson_object_according_to_keys";
  const auto child = [&](const char* name, const char* key) {
    return in + " at # child " + name + " of singleton object \"e\" key is " + key + " ";
  };
  const Names expected = {in + " at #",
                          in + " at # object name is \"e\" ordering key a of 2 keys",
                          child("x", "a"),
                          child("m:b", "a"),
                          child("a", "a"),
                          in + " comparing x with a",
                          in + " comparing m:b with a",
                          in + " comparing a with a",
                          "SWAPING a and x",
                          in + " at # object name is \"e\" ordering key b of 2 keys",
                          child("a", "b"),
                          child("m:b", "b"),
                          child("x", "b"),
                          in + " comparing a with b",
                          in + " comparing m:b with b",
                          "SWAPING m:b and m:b",
                          in + " comparing x with b",
                          "Exiting reorder_cjson_object_according_to_keys at #"};
  Names texts;
  for (const Line& line : log.take()) {
    EXPECT_EQ(line.severity, GPR_LOG_SEVERITY_DEBUG);
    EXPECT_EQ(line.file, "nexa_srv_rpc_msg_helpers/list_keys.cc");
    texts.push_back(mask_numbers(line.text));
  }
  EXPECT_EQ(texts, expected);
}

TEST_F(ListKeysTest, OrderingAnArrayIsTracedUnderItsOwnName) {
  const Tree tree = parse(R"([{"a":1}])");
  cJsonCsnode binding(tree.get(), list({"a"}));
  LogCapture log;
  binding.reorder_cjson_according_to_keys();
  Names texts = log.take_texts();
  for (std::string& text : texts) text = mask_numbers(text);
  const std::string in = "in reorder_cjson_according_to_keys";
  EXPECT_EQ(texts,
            (Names{in + " at #", in + " at # object name is \"(null)\" ordering key a of 1 keys",
                   in + " at # child a of singleton object \"(null)\" key is a ",
                   in + " comparing a with a", "SWAPING a and a",
                   "Exiting reorder_cjson_according_to_keys at #"}));
}

}  // namespace list_keys_test
}  // namespace nexa_test
