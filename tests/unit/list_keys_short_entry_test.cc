// Entries that lack the place for a key, and elements of an array that are no entries: what is
// compared and moved, and what is passed over.
#include <cjson/cJSON.h>
#include <gtest/gtest.h>

#include <memory>

#include "nexa/cjson_csnode.h"
#include "support/fake_schema.h"
#include "support/log_capture.h"

namespace nexa_test {
namespace list_keys_short_entry_test {

using Tree = std::unique_ptr<cJSON, void (*)(cJSON*)>;
using Names = std::vector<std::string>;

Names masked(LogCapture& log) {
  Names texts = log.take_texts();
  for (std::string& text : texts) text = mask_numbers(text);
  return texts;
}

class ListKeysShortEntryTest : public testing::Test {
 protected:
  static Tree parse(const std::string& json) { return {cJSON_Parse(json.c_str()), &cJSON_Delete}; }
  static std::string print(const cJSON* tree) {
    const std::unique_ptr<char, decltype(&cJSON_free)> text(cJSON_PrintUnformatted(tree),
                                                            &cJSON_free);
    return text.get();
  }

  FakeSchema schema_;
  FakeModule& module_ = schema_.module("mod", "m", "urn:m");
  FakeNode list_ = module_.list("list", {"a", "b"});
};

TEST_F(ListKeysShortEntryTest, AKeyWithoutAPlaceIsComparedAndNotMoved) {
  const Tree tree = parse(R"({"b":1})");
  nexa::cJsonCsnode binding(tree.get(), list_);
  LogCapture log;
  binding.reorder_cjson_object_according_to_keys();
  const std::string in = "in reorder_cjson_object_according_to_keys";
  EXPECT_EQ(
      masked(log),
      (Names{in + " at #", in + " at # object name is \"(null)\" ordering key a of 2 keys",
             in + " at # child b of singleton object \"(null)\" key is a ",
             in + " comparing b with a",
             in + " at # object name is \"(null)\" ordering key b of 2 keys",
             in + " at # child b of singleton object \"(null)\" key is b ",
             in + " comparing b with b", "Exiting reorder_cjson_object_according_to_keys at #"}));
  EXPECT_EQ(print(tree.get()), R"({"b":1})");
}

TEST_F(ListKeysShortEntryTest, TheScanGoesOnWhereAKeyHasNoPlace) {
  const FakeNode wide = module_.list("wide", {"x", "y", "c"});
  const Tree tree = parse(R"({"c":1,"d":2})");
  nexa::cJsonCsnode binding(tree.get(), wide);
  LogCapture log;
  binding.reorder_cjson_object_according_to_keys();
  const Names texts = masked(log);
  ASSERT_GE(texts.size(), 3u);
  EXPECT_EQ(texts[texts.size() - 3],
            "in reorder_cjson_object_according_to_keys comparing c with c");
  EXPECT_EQ(texts[texts.size() - 2],
            "in reorder_cjson_object_according_to_keys comparing d with c");
}

TEST_F(ListKeysShortEntryTest, ElementsThatAreNoObjectsAreNotTraced) {
  const Tree tree = parse(R"([7,"s",null,[{"b":1,"a":2}]])");
  nexa::cJsonCsnode binding(tree.get(), list_);
  LogCapture log;
  binding.reorder_cjson_according_to_keys();
  EXPECT_EQ(masked(log), (Names{"in reorder_cjson_according_to_keys at #",
                                "Exiting reorder_cjson_according_to_keys at #"}));
  EXPECT_EQ(print(tree.get()), R"([7,"s",null,[{"b":1,"a":2}]])");
}

TEST_F(ListKeysShortEntryTest, WithoutKeysNothingIsCompared) {
  const Tree tree = parse(R"({"b":1,"a":2})");
  nexa::cJsonCsnode binding(tree.get(), module_.list("keyless", {}));
  LogCapture log;
  binding.reorder_cjson_object_according_to_keys();
  EXPECT_EQ(masked(log), (Names{"in reorder_cjson_object_according_to_keys at #",
                                "Exiting reorder_cjson_object_according_to_keys at #"}));
}

}  // namespace list_keys_short_entry_test
}  // namespace nexa_test
